#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The binary interface of liborx.so, recorded for each architecture beside this file.
#   abi.sh record LIBRARY     records an intended change, as ./dev abi-update does; a record of the
#                             same interface stays as it is, whatever order its types have
#   abi.sh check LIBRARY      fails when the interface is not the recorded one
#   abi.sh self-test LIBRARY  shows that damages to the interface are found
# The records pin the widths of all arguments and results together: size_t is another name for
# uint64_t on 64 bits, and for uint32_t on 32.
set -euo pipefail
folder=$(dirname "$(readlink -f "$0")")
mode=$1 library=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

machine=$(readelf -h "$library" | sed -n 's/^ *Machine: *//p')
case $machine in
  *X86-64) record=$folder/liborx-x86_64.abi ;;
  AArch64) record=$folder/liborx-arm64.abi ;;
  ARM) record=$folder/liborx-armhf.abi ;;
  *) echo "abi.sh: no record for $machine" >&2; exit 2 ;;
esac

# Without where it was built, and without what it links: neither is a caller's business.
dump() {
  abidw --exported-interfaces-only --drop-private-types --drop-undefined-syms --no-corpus-path \
    --no-comp-dir-path --no-show-locs "$library" |
    sed -e "s| path='$(dirname "$folder")/| path='|" -e '/<elf-needed>/,/<\/elf-needed>/d'
}

same_interface() { abidiff "$record" "$1"; }

# damaged NAME SED_EXPRESSION: the library with this change to its interface must not pass.
damaged() {
  sed -E "$2" "$work/now" >"$work/damaged"
  if cmp -s "$work/now" "$work/damaged" || same_interface "$work/damaged" >/dev/null; then
    echo "FAILED: not found: $1"
    failed=1
  fi
}

case $mode in
  record)
    dump >"$work/now"
    same_interface "$work/now" || mv "$work/now" "$record"
    ;;
  check)
    dump >"$work/now"
    same_interface "$work/now" || {
      echo "FAILED: not as $(basename "$record") says; if that is intended: ./dev abi-update"
      exit 1
    }
    ;;
  self-test)
    dump >"$work/now"
    failed=0
    other=$(sed -nE "s/.*<type-decl name='bool'.* id='([^']*)'.*/\1/p" "$work/now" | head -1)
    damaged "a function is gone" \
      "/elf-symbol name='ORX_HASH'/d; /function-decl name='ORX_HASH'/,/<.function-decl>/d"
    damaged "a parameter has another type" \
      "/function-decl name='ORX_STORE_Delete'/,/<.function-decl>/s/(parameter type-id=)'[^']*'/\1'$other'/"
    damaged "a result has another type" \
      "/function-decl name='ORX_STORE_Delete'/,/<.function-decl>/s/(return type-id=)'[^']*'/\1'$other'/"
    damaged "a class has another size" \
      "s/(class-decl name='KeyMintService' size-in-bits=)'[0-9]+'/\1'8192'/"
    damaged "the name to link with is another" "s/soname='[^']*'/soname='liborx.so.99'/"
    exit "$failed"
    ;;
  *) echo "usage: abi.sh record|check|self-test LIBRARY" >&2; exit 2 ;;
esac
