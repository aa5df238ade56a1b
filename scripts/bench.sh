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
folder=build/host/bench filter=${1:-.}

# measure PROGRAM NAME OPTION...: writes NAME.json.
measure() {
  local program=$folder/$1 log=$folder/$2.log out=$folder/$2.json
  shift 2
  scripts/on_empty_device.sh "$program" --benchmark_filter="$filter" --benchmark_out="$out" "$@" \
    >"$log" 2>&1 || { cat "$log"; die "a benchmark failed"; }
}

install_packages libbenchmark-dev libp11-kit-dev gnuplot-nox
# Without SoftHSM2 the rest is measured all the same.
(install_packages softhsm2) || true
build host orx_bench orx_bench_count
step "Counting allocations and copied bytes"
measure orx_bench_count counts --benchmark_min_time=0
step "Measuring"
measure orx_bench times --benchmark_min_time=0.05 --benchmark_repetitions=9 \
  --benchmark_enable_random_interleaving=true
grep SoftHSM2 $folder/times.log || true
exec scripts/bench_report.py "${report[@]}" $folder
