#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the README's commands about the client and the simulated device exactly as written, in a
# folder that looks like a fresh clone that ./dev build was run in. What the client prints must be
# what the openssl command makes of the same key, IV and text.
# usage: check_readme.sh SOURCE_FOLDER BUILD_FOLDER [COMPILER_OPTION...]
set -euo pipefail
source=$1 build=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

mkdir "$work/build"
ln -s "$build" "$work/build/host"
ln -s "$source/include" "$work/include"
sed -n '/^```c$/,/^```$/p' "$source/README.md" | sed '1d;$d' >"$work/client.c"
lines=$(wc -l <"$work/client.c")
((lines > 10 && lines <= 25)) || fail "the README's client has $lines lines"

# ./dev build was run; the client is compiled as strictly and with the sanitizers of this build.
{
  echo "cc() { command cc -std=c11 -Wall -Wextra -Wpedantic -Werror $* \"\$@\"; }"
  sed -n '/^## A client/,/^## The tool/p' "$source/README.md" |
    sed -n '/^```c$/,/^```$/d; s/^    //p' |
    grep -v '^\./dev '
} >"$work/commands"
(($(wc -l <"$work/commands") >= 10)) || fail "the README has fewer commands than it had"
(cd "$work" && bash -eux commands) >"$work/output" 2>"$work/errors" ||
  { cat "$work/output" "$work/errors"; fail "a command of the README"; }

text='two blocks of 16 bytes each ...'
expected=$(printf '%s\0' "$text" | openssl enc -aes-128-cbc -nopad -iv 0 \
  -K "$(printf 'a 16-byte secret' | od -An -tx1 | tr -d ' \n')" 2>/dev/null | od -An -tx1 -v | tr -d ' \n')
# Thrown away, first, and again; the outdated key, which is not imported again, prints nothing.
printed=$(grep -c "^$expected$" "$work/output") || true
[[ $printed == 3 ]] || { cat "$work/output" "$work/errors"; fail "$printed answers, not 3"; }
grep -q '^nothing was stored$' "$work/output" || fail "a full disk went unnoticed"
grep -q 'never showed' "$work/errors" && { cat "$work/errors"; fail "a fault never showed"; }
echo "the README's commands work as printed"
