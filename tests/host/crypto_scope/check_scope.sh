#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks that shared libraries neither need the crypto library nor leave a name of it to the dynamic
# linker, nor export one.
# usage: check_scope.sh CRYPTO_LIBRARY LIBRARY...
set -euo pipefail
export LC_ALL=C
crypto=$1
shift
failures=0

names() { nm -D "$@" | awk '{print $NF}' | sort -u; }

for library in "$@"; do
  shared=$(join <(names --defined-only "$crypto") <(names "$library"))
  needed=$(readelf -d "$library" | grep 'NEEDED.*libcrypto' || true)
  [[ -z $shared$needed ]] && continue
  printf 'FAILED: %s: %s\n' "${library##*/}" "${shared//$'\n'/ } $needed"
  failures=$((failures + 1))
done
[[ $failures -eq 0 ]]
