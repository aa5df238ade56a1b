#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks that programs and shared libraries are hardened and can be moved: no path of the machine
# that built them is inside, and their run path starts at their own place.
# usage: check_hardening.sh SOURCE_FOLDER BUILD_FOLDER SYSTEM_LIBRARY_FOLDER BINARY...
set -euo pipefail
source=$1 build=$2 system=$3
shift 3
failures=0

# check TEXT COMMAND...: the command must succeed on its input.
check() {
  local text=$1
  shift
  "$@" >/dev/null && return
  printf 'FAILED: %s: %s\n' "${binary##*/}" "$text"
  failures=$((failures + 1))
}
lacks() { ! grep "$@"; }

for binary in "$@"; do
  [[ -f $binary ]] || { echo "FAILED: $binary is not there"; exit 1; }
  segments=$(readelf -Wl "$binary")
  dynamic=$(readelf -Wd "$binary")
  imports=$(nm -D --undefined-only "$binary")
  check "RELRO: no segment" grep -q GNU_RELRO <<<"$segments"
  check "RELRO: symbols are bound lazily" grep -q BIND_NOW <<<"$dynamic"
  check "the stack's mode is not declared" grep -q GNU_STACK <<<"$segments"
  check "executable stack" lacks -qE 'GNU_STACK.* RWE' <<<"$segments"
  check "writable code" lacks -qE 'LOAD.* RWE' <<<"$segments"
  check "text relocations" lacks -q TEXTREL <<<"$dynamic"
  check "no stack protector" grep -qw __stack_chk_fail <<<"$imports"
  check "no FORTIFY" grep -qE '__\w*(printf|mem\w*|str\w*|fdelt|read|realpath)_chk' <<<"$imports"
  if grep -qw INTERP <<<"$segments"; then
    check "not position-independent" grep -qE 'FLAGS_1.*\bPIE\b' <<<"$dynamic"
  fi
  run_path=$(sed -nE 's/.*\((RUNPATH|RPATH)\).*\[(.*)\]/\2/p' <<<"$dynamic" | tr ':' '\n')
  check "run path with a fixed place: $run_path" lacks -qvE "^(\\\$ORIGIN(/.*)?|$system|)\$" <<<"$run_path"
  check "a path of the machine that built it" lacks -qF -e "$source/" -e "$build/" < <(strings -d "$binary")
done

printf '%d check(s) failed\n' "$failures"
[[ $failures -eq 0 ]]
