#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the README's client as the README says and runs it inside a simulated device: its output
# must be what the openssl command makes of the same key, IV and text.
# usage: check_readme.sh SOURCE_FOLDER BUILD_FOLDER [COMPILER_OPTION...]
set -euo pipefail
source=$1 build=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sed -n '/^```c$/,/^```$/p' "$source/README.md" | sed '1d;$d' >"$work/client.c"
lines=$(wc -l <"$work/client.c")
((lines > 10 && lines <= 25)) || { echo "FAILED: the README's client has $lines lines"; exit 1; }
cc -std=c11 -Wall -Wextra -Wpedantic -Werror "$@" "$work/client.c" -I"$source/include" \
  -L"$build/lib" -lorx -Wl,-rpath,"$build/lib" -o "$work/client"

text='two blocks of 16 bytes each ...'
expected=$(printf '%s\0' "$text" | openssl enc -aes-128-cbc -nopad -iv 0 \
  -K "$(printf 'a 16-byte secret' | od -An -tx1 | tr -d ' \n')" 2>/dev/null | od -An -tx1 -v | tr -d ' \n')
actual=$("$build/bin/orx-sim" run -q -- "$work/client")
[[ $actual == "$expected" ]] || { echo "FAILED: the client printed $actual, not $expected"; exit 1; }
echo "the README's client works as printed"
