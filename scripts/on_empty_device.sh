#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs a command where the library's real paths are empty, writable, private and in memory, as the
# tests run. The tree stays in sight, also where it lies below /mnt.
# usage: on_empty_device.sh COMMAND...
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
exec bwrap --dev-bind / / --dev /dev --tmpfs /mnt --dir /mnt/vendor/persist/security \
  --dir /dev/socket --bind "$top" "$top" --die-with-parent "$@"
