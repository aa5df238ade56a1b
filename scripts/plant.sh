#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Plants a fault in a copy of the tree and tells which test notices it. Run it through ./dev plant.
# usage: plant.sh FILE SED_EXPRESSION [CTEST_OPTION...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

[[ $# -ge 2 ]] || die "usage: ./dev plant FILE SED_EXPRESSION [CTEST_OPTION...]"
file=$1 expression=$2
shift 2
copy=build/planted
mkdir -p "$copy"
# Only what differs is copied, so that a second fault builds little.
git ls-files -co --exclude-standard -z | rsync -a --checksum --from0 --files-from=- ./ "$copy/"
sed -i -E -e "$expression" "$copy/$file"
if cmp -s "$file" "$copy/$file"; then die "the expression changes nothing in $file"; fi
diff -u0 "$file" "$copy/$file" | tail -n +3 || true

cd "$copy"
cmake --preset host -Wno-dev >/dev/null
cmake --build --preset host >build.log 2>&1 || { tail -n 20 build.log; die "the fault does not build"; }
if ctest --preset host --parallel "$(nproc)" --stop-on-failure "$@" >ctest.log 2>&1; then
  echo "SURVIVES: no test notices"
  exit 1
fi
sed -nE 's/^.*Test +#[0-9]+: ([^ ]+) .*\*\*\*.*/caught by \1/p' ctest.log
