#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Takes the project into another one with add_subdirectory(): its tests must not come along, and its
# log lines must name the source as ever.
# usage: check_subproject.sh SOURCE_FOLDER
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

cat >"$work/CMakeLists.txt" <<TEXT
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES C)
add_subdirectory($1 liborx)
TEXT
cmake -S "$work" -B "$work/build" -G Ninja >"$work/log" || { cat "$work/log"; fail "cmake"; }
ninja -C "$work/build" -t targets all >"$work/targets"
grep -q 'bin/orx-sim:' "$work/targets" || fail "orx-sim is not built"
grep -q '_test' "$work/targets" && fail "tests are built: $(grep -m1 '_test' "$work/targets")"

object=liborx/src/CMakeFiles/orx_objects.dir/ORX_HASH.cpp.o
mkdir -p "$work/build/${object%/*}"
compile=$(ninja -C "$work/build" -t commands -s "$object" | sed '/^ninja: /d')
# ccache takes the object of another path map for the same.
(cd "$work/build" && CCACHE_DISABLE=1 bash -euc "$compile") >"$work/log" 2>&1 ||
  { cat "$work/log"; fail "the library's source"; }
strings -n 5 "$work/build/$object" | grep -qx 'src/ORX_HASH.cpp' || fail "another path in log lines"
echo "the project builds as a part of another"
