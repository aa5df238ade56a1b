#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds for another of the device's architectures, compares the library's binary interface with its
# record, and runs the tests there with qemu-user. Run it through ./dev test --arch arm64 or armhf.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

architecture=${1:-}
[[ $architecture == arm64 || $architecture == armhf ]] || die "usage: ./dev test --arch arm64|armhf"
folder=build/$architecture

# Programs that others start: the kernel does not know their architecture, so that each becomes a
# script that has the emulator run it.
emulated() {
  local program emulator
  emulator="$(command -v "$1") -L $PWD/build/sysroot/$architecture/root"
  shift
  for program in "$@"; do
    [[ $(head -c 2 "$program") == '#!' ]] && continue
    mv "$program" "$program.elf"
    printf '#!/bin/sh\nexec %s -0 "$0" "$0.elf" "$@"\n' "$emulator" >"$program"
    chmod +x "$program"
  done
}

# What qemu-user cannot do, as extended regular expressions of test names, with the reason.
left_out=(
  '\.SecretsTest\.'
  'it hides the memory of a process from the process, in which they look for secrets'
  'FaultsOfFilesShowInThePersistFolderAlone'
  'it has no seccomp_unotify(2), with which file calls are made to fail'
  'WorksWhereThereIsNoMntAtAll'
  'it shows the folder of the libraries in the place of /'
  'ExplainTakesEveryLineOfAFailure'
  'it makes a file call fail, see above'
  'ReadSocket\.GivesUpAtTheTenthEmptyReceive'
  'it wants room for all that a receive without a limit could take'
  'CheckCommandTest\.(Identifiers|TheModemIsWaitedForOnce)'
  'it is slower than the limits of less than a second under which they judge'
  'AnyByteDamaged'
  'it signs and verifies by the thousand, which takes it ten minutes'
)

install_packages lld qemu-user
step "Fetching the libraries of $architecture"
scripts/sysroot.sh "$architecture" "build/sysroot/$architecture"
build "$architecture" orx orx_tool orx-sim src_test host_test sim_test sim_tool_test tools_test \
  agreement_test c_api_test
case $architecture in arm64) emulator=qemu-aarch64 ;; armhf) emulator=qemu-arm ;; esac
emulated "$emulator" "$folder"/{bin/orx,bin/orx-sim,lib/orx-sim/orx-sim-enter,tests/sim_probe}

step "Testing ($architecture)"
abi/abi.sh check "$folder/lib/liborx.so"
pattern=''
for ((i = 0; i < ${#left_out[@]}; i += 2)); do
  pattern+="${pattern:+|}${left_out[i]}"
  printf 'left out under the emulator: %s: %s\n' "${left_out[i]}" "${left_out[i + 1]}"
done
ctest --preset "$architecture" --parallel "$(nproc)" --progress -L '_test$' -E "$pattern"
