#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Shows the main job on a simulated device. Run it through ./dev demo.
set -euo pipefail

bin=$PWD/${1:?usage: scripts/demo.sh BUILD_FOLDER}/bin
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
device=$work/device
summary=()
count=0

bold='' plain=''
[[ -t 1 ]] && bold=$'\033[1m' plain=$'\033[0m'
title() { printf '\n%s%s%s\n' "$bold" "$*" "$plain"; }

# Shows a command as the user would type it, then runs it.
show() {
  local shown
  printf -v shown ' %q' "$@"
  shown=${shown//"$bin/"/}
  printf '$%s\n' "${shown//"$work/"/}"
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

rsa_keys() {
  title "RSA key made by openssl: sign, decrypt, and sign again after a system update"
  (umask 077; openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out "$work/rsa.pem" 2>/dev/null)
  openssl pkey -in "$work/rsa.pem" -pubout -out "$work/public.pem"
  on_device key import 51 --pkcs8 "$work/rsa.pem"
  on_device sign 51 -i README.md -o "$work/readme.sig"
  show openssl dgst -sha256 -verify "$work/public.pem" -signature "$work/readme.sig" README.md
  proved "openssl verifies the device's RSA signature"

  printf 'a session key, perhaps' >"$work/message"
  show openssl pkeyutl -encrypt -pubin -inkey "$work/public.pem" -in "$work/message" -out "$work/message.enc"
  on_device rsa-decrypt 51 -i "$work/message.enc" -o "$work/message.dec"
  same_or_die "$work/message" "$work/message.dec"
  proved "the device decrypts what openssl encrypted with the public key"

  local blob=$device/persist/zol_key_user1 before
  before=$(sha256sum <"$blob")
  show "$bin/orx-sim" set "$device" os-patch-level=203012
  on_device sign 51 -i README.md -o "$work/readme2.sig"
  openssl dgst -sha256 -verify "$work/public.pem" -signature "$work/readme2.sig" README.md
  [[ $(sha256sum <"$blob") != "$before" ]] || { echo "demo: the key blob was not upgraded" >&2; exit 1; }
  proved "after a raised patch level the key was upgraded, its blob file rewritten, and it signs as before"
}

digests_and_derivation() {
  title "Digests and key derivation against independent programs"
  local algorithm
  find include src -type f | sort >"$work/files"
  for algorithm in sha1 sha256 sha512; do
    # shellcheck disable=SC2046  # no path in these folders has a blank
    "$bin/orx-sim" run -q -- "$bin/orx" hash "$algorithm" $(cat "$work/files") >"$work/orx.sums"
    xargs -d '\n' "${algorithm}sum" <"$work/files" >"$work/coreutils.sums"
    same_or_die "$work/orx.sums" "$work/coreutils.sums"
  done
  proved "orx hash agrees with sha1sum, sha256sum and sha512sum on $(wc -l <"$work/files") files"

  local i length
  for ((i = 0; i < 100; i++)); do
    length=$((i * 7 + 1))
    printf '%s %s %d\n' "$(openssl rand -hex $((i % 40 + 1)))" "$(openssl rand -hex $((i % 23 + 1)))" "$length"
  done >"$work/inputs"
  "$bin/orx-sim" run -q -- bash -c '
    while read -r z info length; do
      "$1" kdf --secret-hex "$z" --info-hex "$info" -n "$length"
    done' _ "$bin/orx" <"$work/inputs" >"$work/orx.keys"
  while read -r z info length; do
    openssl kdf -keylen "$length" -kdfopt digest:SHA1 -kdfopt "hexsecret:$z" \
      -kdfopt "hexinfo:$info" X963KDF | tr -d ':\n' | tr 'A-F' 'a-f'
    echo
  done <"$work/inputs" >"$work/openssl.keys"
  same_or_die "$work/orx.keys" "$work/openssl.keys"
  proved "orx kdf agrees with openssl's X963KDF for 100 random inputs"
}

identifiers() {
  title "Identifiers of a dual-SIM device"
  on_profile dual-sim ids
  on_profile dual-sim imei
  on_profile dual-sim imei2
  on_profile dual-sim records
  title "A device without a modem, and with properties missing"
  fails_with 4 on_profile bare ids
  fails_with 4 on_profile bare imei --timeout 3
  proved "identifiers come from properties and modem; what is missing is named, and no wait is endless"
}

attestation() {
  title "Attestation self-tests: where they should pass"
  on_profile dual-sim check attestation --ids all
  on_profile dual-sim check attestation --strongbox
  on_profile dual-sim check rkp-ids --strongbox --ids all
  title "... and where they should fail"
  fails_with 1 on_profile dual-sim check model "Another Phone"
  fails_with 3 on_profile bare check attestation --strongbox
  proved "self-tests pass and fail on the devices where they should, each with the library's line"

  title "The chain that the library accepted, judged by openssl"
  show "$bin/orx-sim" run -q --profile dual-sim -- "$bin/orx" attest-key -q -o "$work/chain"
  show openssl verify -partial_chain -CAfile "$work/chain/cert3.pem" \
    -untrusted "$work/chain/cert2.pem" -untrusted "$work/chain/cert1.pem" "$work/chain/cert0.pem"
  proved "openssl verify accepts the attestation chain"
}

secure_element() {
  title "A healthy device"
  on_profile dual-sim doctor
  on_profile dual-sim check all
  title "A device whose StrongBox was swapped and whose folder is missing"
  local broken=$work/broken
  show "$bin/orx-sim" new "$broken"
  show "$bin/orx-sim" set "$broken" strongbox-preshared-key=other
  show rmdir "$broken/persist"
  fails_with 4 show "$bin/orx-sim" run -q --device "$broken" -- "$bin/orx" doctor
  fails_with 1 show "$bin/orx-sim" run -q --device "$broken" -- "$bin/orx" check all --keep-going
  proved "orx doctor and orx check all find the swapped secure element and the missing folder"
}

failures() {
  title "What failures look like"
  fails_with 1 on_device encrypt 52 -i README.md -o "$work/none.enc"
  fails_with 4 show "$bin/orx-sim" run -q --device "$device" \
    --fault service:default:absent -- "$bin/orx" encrypt 50 -i README.md -o "$work/none.enc"
  [[ ! -e $work/none.enc ]]
  proved "a missing key and a missing service are named, with what to try; no file is left"
}

on_profile() {
  local profile=$1
  shift
  show "$bin/orx-sim" run -q --profile "$profile" -- "$bin/orx" "$@"
}

show "$bin/orx-sim" new "$device"
symmetric_keys
failures
rsa_keys
digests_and_derivation
identifiers
attestation
secure_element

title "Summary"
printf '  %s\n' "${summary[@]}"
printf '%d of %d steps did what they should; simulated device, no hardware involved.\n' "$count" "$count"
