#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Shows the main job on a simulated device. Run it through ./dev demo.
set -euo pipefail

bin=$PWD/${1:?usage: tools/demo.sh BUILD_FOLDER}/bin
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
device=$work/device
summary=()
count=0

title() { printf '\n\033[1m%s\033[0m\n' "$*"; }

# Shows a command as the user would type it, then runs it.
show() {
  printf '$ %s\n' "$(sed "s#$bin/##g; s#$work/##g" <<<"$*")"
  "$@"
}

on_device() { show "$bin/orx-sim" run -q --device "$device" -- "$bin/orx" "$@"; }

proved() {
  count=$((count + 1))
  summary+=("$*")
  printf '=> %s\n' "$*"
}

same_or_die() {
  cmp "$1" "$2" || { printf 'demo: %s and %s differ\n' "$1" "$2" >&2; exit 1; }
}

# Runs a command that must fail with the given exit code.
fails_with() {
  local expected=$1 code=0
  shift
  "$@" || code=$?
  [[ $code -eq $expected ]] || { printf 'demo: exit code %d, expected %d\n' "$code" "$expected" >&2; exit 1; }
}

symmetric_keys() {
  title "AES key in the secure hardware: encrypt, restart, decrypt"
  (umask 077; head -c 16 /dev/urandom >"$work/key.bin")
  head -c 100000000 /dev/urandom >"$work/big.bin"
  on_device key import 50 --aes "$work/key.bin"
  on_device key list
  on_device encrypt 50 -i README.md -o "$work/readme.enc"
  on_device encrypt 50 -i "$work/big.bin" -o "$work/big.enc"
  on_device decrypt 50 -i "$work/readme.enc" -o "$work/readme.dec"
  on_device decrypt 50 -i "$work/big.enc" -o "$work/big.dec"
  same_or_die README.md "$work/readme.dec"
  same_or_die "$work/big.bin" "$work/big.dec"
  proved "README.md and a 100 MB file came back the same from another process"

  title "The ciphertext is plain AES-128-CBC: the openssl command decrypts it"
  local key iv
  key=$(od -An -tx1 -v "$work/key.bin" | tr -d ' \n')
  iv=$(head -c 16 "$work/big.enc" | od -An -tx1 -v | tr -d ' \n')
  printf '$ tail -c +17 big.enc | openssl enc -d -aes-128-cbc -K KEY -iv FIRST_16_BYTES\n'
  tail -c +17 "$work/big.enc" | openssl enc -d -aes-128-cbc -K "$key" -iv "$iv" >"$work/big.openssl"
  same_or_die "$work/big.bin" "$work/big.openssl"
  proved "openssl decrypts the device's ciphertext under the same key and IV"
}

failures() {
  title "What failures look like"
  fails_with 4 on_device encrypt 51 -i README.md -o "$work/none.enc"
  fails_with 4 show "$bin/orx-sim" run -q --device "$device" \
    --fault service:default:absent -- "$bin/orx" encrypt 50 -i README.md -o "$work/none.enc"
  [[ ! -e $work/none.enc ]]
  proved "a missing key and a missing service are named, with what to try; no file is left"
}

"$bin/orx-sim" new "$device"
symmetric_keys
failures

title "Summary"
printf '  %s\n' "${summary[@]}"
printf '%d of %d steps did what they should; simulated device, no hardware involved.\n' "$count" "$count"
