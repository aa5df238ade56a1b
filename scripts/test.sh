#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Everything that must pass before a change is handed on, or with --changed the tests of the rooms
# that differ from the last commit. Run it through ./dev test.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

passed=0
failed=0

run_tests() {  # run_tests PRESET [CTEST_OPTION...]: adds its counts to passed and failed
  local preset=$1 log=build/$1/ctest.log total bad
  shift
  step "Testing ($preset)"
  # Some tests wait for a time-out, others have the processor meanwhile.
  ctest --preset "$preset" --parallel "$((2 * $(nproc)))" --progress "$@" 2>&1 | tee "$log" || true
  read -r bad total < <(sed -nE \
    's/.* tests passed, ([0-9]+) tests failed out of ([0-9]+).*/\1 \2/p' "$log") ||
    die "no test ran in preset $preset"
  passed=$((passed + total - bad))
  failed=$((failed + bad))
}

verdict() {
  printf '\n%d passed, %d failed\n' "$passed" "$failed"
  [[ $failed -eq 0 ]]
}

# The test programs of the rooms in which a file differs from the last commit.
changed_rooms() {
  { git diff --name-only HEAD; git ls-files -o --exclude-standard; } | sed -nE '
    s#^(tests/)?(src|include|common)/.*#src_test#p
    s#^(tests/)?host/.*#host_test#p
    s#^(tests/)?sim/(tool|channel|modem)/.*#sim_tool_test#p
    s#^(tests/)?sim/.*#sim_test#p
    s#^(tests/)?tools/.*#tools_test#p' | sort -u
}

test_changed() {
  local rooms
  mapfile -t rooms < <(changed_rooms)
  [[ ${#rooms[@]} -gt 0 ]] || { echo "no room differs from the last commit"; exit 0; }
  # A changed source is compiled alone.
  cmake --preset host --log-level=WARNING -DCMAKE_UNITY_BUILD=OFF >/dev/null
  # ctest asks every test program for its cases, so all must be there.
  if [[ ! -e build/host/.built ]]; then build host && touch build/host/.built; fi
  build host "${rooms[@]}"
  run_tests host -L "^($(IFS='|'; echo "${rooms[*]}"))$"
  verdict
}

test_all() {
  install_packages
  check_format
  build host
  run_tests host
  build asan
  run_tests asan
  step "Linting what changed last"
  scripts/lint.py --seconds 20
  verdict
}

case ${1:-} in
  '') test_all ;;
  --changed) test_changed ;;
  --arch) exec scripts/test_arch.sh "${2:-}" ;;
  *) die "usage: ./dev test [--changed | --arch arm64 | --arch armhf]" ;;
esac
