#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks the finished liborx.so: that it exports what its version script names, that it carries the
# version of orx.h, and that its log lines carry paths from the project root.
# usage: check_library.sh LIBRARY SOURCE_FOLDER
set -euo pipefail
library=$1 source=$2
failures=0

fail() { printf 'FAILED: %s\n' "$*"; failures=$((failures + 1)); }

# What is exported is compared with the headers when the manual is made (packaging/), and with the
# record of the binary interface (abi/). The version script has no more than is there.
diff <(grep -oE 'ORX_\w+;' "$source/src/liborx.map" | tr -d ';' | sort) \
  <(nm -D --defined-only "$library" | grep -oE '\bORX_\w+$' | sort) ||
  fail "version script (<) and exported (>) differ"

version() { sed -n "s/^#define ORX_VERSION_$1 //p" "$source/include/orx/orx.h"; }

dynamic=$(readelf -Wd "$library")
grep -q "soname: \[liborx.so.$(version MAJOR)\]" <<<"$dynamic" || fail "not named by its major version"
[[ $(readlink -f "$library") == *.so.$(version MAJOR).$(version MINOR).$(version PATCH) ]] ||
  fail "the file does not carry the version of orx.h"

paths=$(strings -a "$library" | grep -E '\.(cpp|h)$' || true)
grep -qx 'src/keymint/ORX_SYM.cpp' <<<"$paths" || fail "no source path from the project root"
grep -qx 'include/keymint/ORX_KEYMINT.h' <<<"$paths" || fail "the header's path is not from the root"

# The library knows only Android: what its sources include is the same on the device.
if grep -rnE '#include [<"](android_host|sim)/|__ANDROID__|__linux__|__GLIBC__' \
  "$source/include" "$source/src"; then
  fail "host knowledge in the library's sources"
fi

printf '%d check(s) failed\n' "$failures"
[[ $failures -eq 0 ]]
