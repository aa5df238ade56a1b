# SPDX-License-Identifier: Apache-2.0
# What ./dev and the scripts beside this one share. Sourced from the top of the tree.

step() { printf '\n== %s\n' "$*"; }
die() { printf 'dev: %s\n' "$*" >&2; exit 1; }

# Runs a command as root; dies with what to run instead where that cannot be.
as_root() {
  if [[ $EUID -eq 0 ]]; then
    "$@"
  elif command -v sudo >/dev/null && { sudo -n true 2>/dev/null || [[ -t 0 ]]; }; then
    sudo "$@"
  else
    die "packages are missing; as root run: apt-get update && apt-get install -y ${missing% }"
  fi
}

# install_packages [PACKAGE...]: installs what packages.txt lists and what is named, where missing.
install_packages() {
  local missing='' package
  command -v dpkg-query >/dev/null || die "needs Debian 12: dpkg-query is not here"
  while read -r package; do
    [[ -z $package || $package == \#* ]] && continue
    dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed ||
      missing+="$package "
  done < <(cat packages.txt; printf '%s\n' "$@")
  [[ -z $missing ]] && return
  step "Installing ${missing% }"
  as_root apt-get update -q
  # shellcheck disable=SC2086  # one word a package
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends $missing
}

# build PRESET [TARGET...]. What is built for the first time goes through the compiler many sources
# as one, in half of its time, but for what ships; './dev test --changed' takes each on its own.
build() {
  local preset=$1 at_once=()
  shift
  step "Building ($preset)"
  [[ $preset == release || -e build/$preset/CMakeCache.txt ]] || at_once=(-DCMAKE_UNITY_BUILD=ON)
  cmake --preset "$preset" --log-level=WARNING "${at_once[@]}" >/dev/null
  cmake --build --preset "$preset" ${1:+--target "$@"}
}

sources() { git ls-files -co --exclude-standard -- '*.cpp' '*.h' '*.c'; }

check_format() {
  step "Checking the format"
  sources | xargs clang-format --dry-run -Werror
}
