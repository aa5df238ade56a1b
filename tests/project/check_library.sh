#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks the finished liborx.so: that it exports what the headers declare and nothing else, that it
# carries the version of orx.h, and that its log lines carry paths from the project root.
# usage: check_library.sh LIBRARY SOURCE_FOLDER
set -euo pipefail
library=$1 source=$2
failures=0

fail() { printf 'FAILED: %s\n' "$*"; failures=$((failures + 1)); }

exported() { nm -D --defined-only "$library" | awk '{print $3}'; }

flat_declared=$(cat "$source"/include/orx/*.h | grep -v '^ *[/*]' | tr '\n' ' ' |
  grep -oE 'ORX_EXPORT [^;{]*\(' | grep -oE 'ORX_\w+ *\($' | tr -d ' (' | sort -u)
flat_exported=$(exported | grep -E '^ORX_' | sort)
flat_mapped=$(grep -oE '^ *ORX_\w+;' "$source/src/liborx.map" | tr -d ' ;' | sort)

[[ $(wc -l <<<"$flat_declared") -gt 50 ]] || fail "the headers' declarations were not recognised"
diff <(echo "$flat_declared") <(echo "$flat_exported") || fail "declared (<) and exported (>) differ"
diff <(echo "$flat_mapped") <(echo "$flat_exported") || fail "version script (<) and exported (>) differ"

others=$(exported | grep -vE '^ORX_' | c++filt |
  grep -vE '^android::hardware::keymint::ORX::(AuthorizationSet|AuthorizationSetBuilder|KeyMintService)::' |
  grep -vE '^android::hardware::keymint::ORX::(load|store)_key_blob\(' || true)
[[ -z $others ]] || fail "exported beside the interface: $others"

classes=$(exported | c++filt)
for member in 'KeyMintService::KeyMintService(bool)' 'KeyMintService::GetReturnErrorCode' \
  'KeyMintService::GenerateKey' 'KeyMintService::ImportKey' 'KeyMintService::UpgradeKey' \
  'KeyMintService::DeleteKey' 'KeyMintService::Begin' 'KeyMintService::Update' \
  'KeyMintService::Finish' 'AuthorizationSet::Deduplicate' 'AuthorizationSetBuilder::RsaKey' \
  'ORX::load_key_blob(int)' 'ORX::store_key_blob(int'; do
  grep -qF "$member" <<<"$classes" || fail "not exported: $member"
done

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
