#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures what the library costs beside the raw things that it wraps. Run it through ./dev bench.
# usage: bench.sh [--report] [FILTER]: FILTER is a regular expression of names; --report also writes
# the tables and plots of docs/performance.md
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

report=()
if [[ ${1:-} == --report ]]; then report=(--report); shift; fi
[[ $# -le 1 ]] || die "usage: ./dev bench [--report] [FILTER]"
folder=build/host/bench

# As the tests run: the library's real paths are empty, writable, private and in memory.
run() {
  bwrap --dev-bind / / --dev /dev --tmpfs /mnt --dir /mnt/vendor/persist/security \
    --dir /dev/socket --die-with-parent "$@"
}

install_packages libbenchmark-dev libp11-kit-dev gnuplot-nox
# Without SoftHSM2 the rest is measured all the same.
(install_packages softhsm2) || true
build host orx_bench orx_bench_count
step "Counting allocations and copied bytes"
run $folder/orx_bench_count --benchmark_filter="${1:-.}" --benchmark_min_time=0 \
  --benchmark_out=$folder/counts.json >$folder/counts.log
step "Measuring"
run $folder/orx_bench --benchmark_filter="${1:-.}" --benchmark_min_time=0.05 \
  --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true \
  --benchmark_out=$folder/times.json >$folder/times.log
exec scripts/bench_report.py "${report[@]}" $folder
