#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs the kit as the README says, and uses it as a stranger would: its examples are built and
# run against it, it is moved, its manual is read and its completion tried.
# usage: check_install.sh SOURCE_FOLDER BUILD_FOLDER
set -euo pipefail
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; exit 1; }
run() {  # run TITLE COMMAND...: shows what it printed only when it fails
  local title=$1
  shift
  "$@" >"$work/log" 2>&1 || { cat "$work/log"; fail "$title"; }
  echo "ok  $title"
}

mkdir "$work/clone" "$work/clone/build" "$work/bwrap"
ln -s "$build" "$work/clone/build/host"
cp -R "$source/examples" "$work/clone/examples"
unset CMAKE_PREFIX_PATH PKG_CONFIG_PATH LD_LIBRARY_PATH
export HOME=$work CMAKE_GENERATOR=Ninja
sed -n '/^## Install/,/^## /s/^    //p' "$source/README.md" >"$work/commands"
(($(wc -l <"$work/commands") == 5)) || fail "the README's commands were not found"
run "the README's commands" bash -euxc "cd '$work/clone' && . '$work/commands'"
grep -qx verified "$work/log" || fail "the signer verified nothing"

PATH=$work/orx/bin:$PATH
run "the daemon under faults" \
  "$source/examples/sealed_secret/test.sh" "$work/clone/build/examples/sealed_secret"
kit=$work/moved
mv "$work/orx" "$kit"
hash -r
export PATH=$kit/bin:$PATH PKG_CONFIG_PATH=$kit/lib/pkgconfig
examples=$kit/share/doc/orx/examples
found=$(grep -rlF -e "$source/" -e "$(readlink -f "$build")/" -e "$work/" "$kit") &&
  fail "a path of this machine: $found"

printf '#!/bin/sh\necho "No permissions to create new namespace" >&2\nexit 1\n' >"$work/bwrap/bwrap"
chmod +x "$work/bwrap/bwrap"
run "the pipeline, without namespaces" \
  env PATH="$work/bwrap:$PATH" "$examples/ci/pipeline.sh" "$work/results"

station() {  # station EXIT_CODE VERDICT COMMAND...: as a unit of its own
  local code=0 expected=$1 verdict=$2
  shift 2
  "$examples/station/check_station.sh" "unit$expected" "$work/reports" "$@" >"$work/log" 2>&1 ||
    code=$?
  [[ $code -eq $expected ]] && grep -qF "unit$expected  $verdict" "$work/log" ||
    { cat "$work/log"; fail "station: $code, not $expected"; }
}
station 0 PASS orx-sim run -q -- orx
station 1 FAIL orx-sim run -q --profile swapped-strongbox -- orx
station 4 'NOT TESTED' orx-sim run -q --fault service:default:absent -- orx
station 6 'NO REPORT' false
[[ $(cat "$work"/reports/unit*.json | jq -s 'map(.exit_code) == [0, 1, 4]') == true ]] ||
  fail "the station's reports"
cmp "$kit/share/orx/answer.schema.json" <(orx --schema) || fail "the schema"

for page in "$kit"/share/man/man?/*.gz; do
  [[ -L $page || -z $(zcat "$page" | groff -man -Tutf8 -ww -z 2>&1) ]] || fail "$page"
done
for name in $(nm -D --defined-only "$kit/lib/liborx.so" | grep -o 'ORX_\w*$' | grep -v '^_'); do
  [[ $name == ORX_* && -e $kit/share/man/man3/$name.3.gz ]] || fail "no page of $name"
done
# The pages' maker refuses a call without a comment, and one that is told of and gone.
for change in '/^ \* ORX_HASH_Begin starts/d' 's/ORX_HASH_Begin(/ORX_HASH_Start(/'; do
  rm -rf "$work/include"
  cp -R "$source/include" "$work/include"
  sed -i "$change" "$work/include/orx/hash.h"
  python3 -B "$source/packaging/manual_headers.py" "$work/include" "$kit/lib/liborx.so" 1 \
    "$work/man" 2>"$work/log" && fail "the manual's maker took: $change"
  grep -q ORX_HASH_Begin "$work/log" || { cat "$work/log"; fail "the maker names nothing"; }
done
echo "ok  the manual"

completes() {  # completes "COMMAND LINE" EXPECTED: what bash offers for its last word
  local offered
  offered=$(bash -c '. "$1"; compopt() { :; }; read -ra COMP_WORDS <<<"$2"
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); "_${COMP_WORDS[0]//-/_}" "${COMP_WORDS[0]}"
    echo "${COMPREPLY[*]}"' _ \
    "$kit/share/bash-completion/completions/${1%% *}" "$1")
  [[ $offered == "$2" ]] || fail "completion of \"$1\": \"$offered\""
}
completes 'orx che' check
completes 'orx --json check ro' root-of-trust
completes 'orx encrypt --input x 5' '50 51 52'
completes 'orx sign --format b' base64
completes 'orx-sim run --profile d' dual-sim
completes 'orx-sim run --log-' --log-on-failure
zsh_offers() {  # zsh_offers "COMMAND LINE" PATTERN: what zsh would be told
  zsh -fc '_arguments() { print -rl -- "$@"; }; _describe() { print -rl -- $found; }
    _normal() { print -r -- "$words[1], word $CURRENT"; }
    words=(${(s: :)2} ""); CURRENT=$#words; . "$1"' _ \
    "$kit/share/zsh/vendor-completions/_${1%% *}" "$1" >"$work/log"
  grep -q -- "$2" "$work/log" || { cat "$work/log"; fail "zsh's completion of \"$1\""; }
}
zsh_offers orx '^doctor:'
zsh_offers 'orx --json key' '^import:'
zsh_offers 'orx key import' '^--aes\[.*:_files$'
zsh_offers 'orx-sim run -q -- orx' '^orx, word 2$'
zsh_offers 'orx-sim run' '^--device\[.*:_files -/$'
echo "ok  completion"
