#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the Debian packages and uses them as somebody else would: lintian looks at them, and in a
# fresh Debian they are installed and the examples built and run. Run it through ./dev package.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

build=build/release
# What callers load is small; the limit leaves room for a function or two.
most_library_bytes=$((180 * 1024))

check_library() {
  step "Checking the library as it is packaged"
  # Link-time optimisation must leave exports and hardening as they are, and still nothing unwinds.
  ctest --preset release --no-tests=error -R '^(liborx.exports|binaries.hardening|faults|c_api_test)$'
  local bytes
  rm -rf "$build/kit"
  cmake --install "$build" --strip --prefix "$build/kit" >/dev/null
  bytes=$(stat -Lc %s "$build"/kit/lib/*/liborx.so)
  echo "liborx.so: $bytes bytes, at most $most_library_bytes"
  ((bytes <= most_library_bytes)) || die "liborx.so is too large"
}

make_packages() {
  step "Packaging"
  rm -rf "$build/packages"
  (cd "$build" && cpack >packages.log 2>&1) || { cat "$build/packages.log"; die "cpack failed"; }
  ls -l "$build"/packages/*.deb
  lintian --allow-root --tag-display-limit 0 --fail-on error,warning "$build"/packages/*.deb
}

# In a Debian with nothing but what the packages ask for and a compiler.
try_packages() {
  step "Installing the packages in a fresh Debian and building the examples there"
  local suite examples=/usr/share/doc/liborx-dev/examples
  suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
  mmdebstrap --quiet --variant=apt --format=null \
    --include=g++,cmake,make,pkg-config,libssl-dev,jq,bubblewrap,proot \
    --customize-hook='mkdir "$1/packages"' \
    --customize-hook="cp $PWD/$build/packages/*.deb \"\$1/packages\"" \
    --customize-hook='chroot "$1" sh -c "apt-get install -qy --no-install-recommends /packages/*.deb"' \
    --customize-hook="chroot \"\$1\" sh -euxc '
      cmake -S $examples -B /tmp/build && cmake --build /tmp/build
      orx-sim run -- /tmp/build/signer text
      $examples/sealed_secret/test.sh /tmp/build/sealed_secret
      $examples/ci/pipeline.sh /tmp/results
      $examples/station/check_station.sh unit /tmp/reports orx-sim run -q -- orx'" \
    "$suite"
}

install_packages dpkg-dev file lintian mmdebstrap uidmap
build release orx_tool orx-sim orx_manual_of_programs orx_manual_of_headers orx_completion \
  orx_schema orx_debian orx_faults c_api_test
check_library
make_packages
try_packages
step "Made"
ls "$build"/packages/*.deb
