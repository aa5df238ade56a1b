#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Fails every call that is made for the library, one after the other, in the sequences of
# tests/faults/sequences.cpp or only in those named; what came of it is also in build/faults.json.
# usage: faults.sh [SEQUENCE...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

exec scripts/on_empty_device.sh build/host/tests/orx_faults --json=build/faults.json "$@"
