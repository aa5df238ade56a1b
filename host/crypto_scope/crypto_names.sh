#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Writes the header that names the crypto library and those of its functions that objects call.
# usage: crypto_names.sh NM READELF CRYPTO_LIBRARY HEADER OBJECT...
set -euo pipefail
export LC_ALL=C
nm=$1 readelf=$2 library=$3 header=$4
shift 4

# Lines NAME TYPE of what the library exports and the objects do not define.
used=$(join <("$nm" -D --defined-only "$library" | awk '{print $3, $2}' | sort) \
  <("$nm" --undefined-only "$@" | awk '$1 == "U" {print $2}' | sort -u))
data=$(awk '$2 != "T" {print $1}' <<<"$used")
if [[ -z $used || -n $data ]]; then
  echo "crypto_names.sh: ${data:-no function of $library} cannot be called through a stub" >&2
  exit 1
fi
soname=$("$readelf" -d "$library" | sed -nE 's/.*\(SONAME\).*\[(.*)\]/\1/p')
{
  echo "#define CRYPTO_LIBRARY \"$soname\""
  echo "#define CRYPTO_NAMES(NAME) \\"
  awk '{print "  NAME(" $1 ") \\"}' <<<"$used"
  echo
} >"$header"
