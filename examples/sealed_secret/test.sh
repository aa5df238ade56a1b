#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Tests the daemon on a simulated device: across restarts, and under faults of hardware and storage.
# usage: test.sh PROGRAM
set -euo pipefail
program=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
orx-sim new "$work/device"
files=$work/device/persist

# on_device COMMAND [FAULT...]: runs the daemon; its output is in $output, its exit code in $code.
on_device() {
  local command=$1 fault
  local -a faults=()
  shift
  for fault in "$@"; do faults+=(--fault "$fault"); done
  code=0
  output=$(orx-sim run -q --device "$work/device" "${faults[@]}" -- "$program" "$command" \
    2>"$work/errors") || code=$?
}

# expect CODE OUTPUT TITLE
expect() {
  if [[ $code != "$1" || $output != "$2" ]] || grep -q 'never showed' "$work/errors"; then
    echo "FAILED: $3: exit code $code, \"$output\""
    cat "$work/errors"
    exit 1
  fi
  echo "ok  $3"
}

on_device provision write:ENOSPC@2; expect 74 '' 'a full file system: no secret'
[[ -z $(find "$files" -name '1*.bin') ]] || { echo "FAILED: a copy is left"; exit 1; }
on_device provision; expect 0 '' 'a secret is made'
on_device show; id=$output
expect 0 "$id" 'it opens'
[[ $id =~ ^[0-9a-f]{16}$ ]] || { echo "FAILED: no id"; exit 1; }
on_device provision; expect 73 '' 'a second one is refused'

on_device show begin:-31@1; expect 0 "$id" 'too many operations once: begun again'
on_device show finish:dead-object@1; expect 0 "$id" 'the operation dies: begun again'
on_device show service:default:absent; expect 75 '' 'no KeyMint'
on_device show read:EIO; expect 74 '' 'no file can be read'
on_device show; expect 0 "$id" 'and again after that'

printf x | dd of="$files/100.bin" bs=1 seek=20 conv=notrunc status=none
on_device show open:EROFS; expect 0 "$id" 'a damaged copy that cannot be replaced'
on_device show; expect 0 "$id" 'a damaged copy is replaced'
cmp "$files/100.bin" "$files/101.bin"
printf x | dd of="$files/100.bin" bs=1 seek=20 conv=notrunc status=none
cp "$files/100.bin" "$files/101.bin"
on_device show; expect 65 '' 'two damaged copies are no secret'
rm "$files/zol_key_user0"
on_device show; expect 74 '' 'no key'
rm "$files"/10?.bin

on_device provision; expect 0 '' 'a new secret'
orx-sim run -q --device "$work/device" -- "$program" serve >"$work/id" &
daemon=$!
until [[ -s $work/id ]]; do sleep 0.1; done
kill "$daemon"
code=0; wait "$daemon" || code=$?; output=''
expect 0 '' 'serve ends in order'
on_device show; expect 0 "$(cat "$work/id")" 'what was served is what is shown'
