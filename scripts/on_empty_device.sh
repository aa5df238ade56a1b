#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Runs a command where the library's real paths are empty, writable, private and in memory, as each
# test case does. The tree stays in sight, also where it lies below /mnt. Temporary files lie there,
# too: what is synced to a disk is waited for.
# usage: on_empty_device.sh COMMAND...
set -eu
top=$(cd "${0%/*}/.." && pwd)
exec bwrap --dev-bind / / --dev /dev --tmpfs /mnt --dir /mnt/vendor/persist/security \
  --dir /mnt/tmp --setenv TMPDIR /mnt/tmp --dir /dev/socket --bind "$top" "$top" \
  --die-with-parent "$@"
