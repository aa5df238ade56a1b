#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# A pipeline for a program that uses liborx, as a CI job runs it: in a plain container, as any user.
# Where user namespaces are not allowed orx-sim takes proot by itself.
# Needs the packages liborx-dev, orx-tools, gcc, pkg-config, proot or bubblewrap.
# usage: pipeline.sh RESULT_FOLDER
set -eu
results=${1:?usage: pipeline.sh RESULT_FOLDER}
source=$(dirname "$0")/../sealed_secret
mkdir -p "$results"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

echo "== build"
# shellcheck disable=SC2046  # one word an option
cc -Wall -Wextra "$source/sealed_secret.c" -o "$work/sealed_secret" \
  $(pkg-config --cflags --libs orx) -Wl,-rpath,"$(pkg-config --variable=libdir orx)"

echo "== the kit itself"
orx-sim run -q -- orx check all --keep-going --junit "$results/kit.xml"

# expect EXIT_CODE COMMAND [FAULT]: the program on the job's device.
expect() {
  code=0
  orx-sim run -q --log-on-failure --device "$work/device" ${3:+--fault "$3"} -- \
    "$work/sealed_secret" "$2" >"$results/log" 2>&1 || code=$?
  if [ "$code" -eq "$1" ] && ! grep -q 'never showed' "$results/log"; then
    echo "ok      $2 ${3:-}"
  else
    echo "FAILED  $2 ${3:-}: exit code $code, expected $1"
    cat "$results/log"
    failed=1
  fi
}

echo "== the program, on a sound device and on one that fails"
orx-sim new "$work/device"
expect 74 provision write:ENOSPC@2
expect 0 provision
expect 0 show
expect 0 show finish:dead-object@1
expect 75 show begin:-31
expect 75 show service:default:absent
expect 74 show read:EIO
exit $failed
