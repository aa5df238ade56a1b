#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Records the library's binary interface, for each architecture, after an intended change. Run it
# through ./dev abi-update.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

install_packages lld
for preset in host arm64 armhf; do
  [[ $preset == host ]] || scripts/sysroot.sh "$preset" "build/sysroot/$preset"
  build "$preset" orx
  abi/abi.sh record "build/$preset/lib/liborx.so"
done
