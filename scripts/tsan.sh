#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Uses every family of the library on a thread of its own, under the thread sanitizer. Run it
# through ./dev tsan.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# The sanitizer knows only the usual places of a process's memory.
exec setarch -R scripts/on_empty_device.sh build/tsan/tests/orx_threads 3 | tail -n 1
