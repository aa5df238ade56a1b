#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A station of a factory line: runs every self-test on the device in front of it, stores the report
# and says what to do with the device.
#
# usage: check_station.sh UNIT REPORT_FOLDER [ORX...]
#   UNIT     the number on the device's label; it names the report
#   ORX...   how orx is run (default: adb shell orx); on a PC: orx-sim run -q -- orx
#
# Exit codes are those of orx: 0 passed, 1 failed, 4 something is missing, 5 timed out; 2 for a
# wrong call, and 6 when there is no report to judge: the station itself is to be looked at.
set -euo pipefail
[[ $# -ge 2 && $1 =~ ^[A-Za-z0-9._-]+$ ]] ||
  { sed -n '/^# usage/,/^#$/s/^# \?//p' "$0" >&2; exit 2; }
unit=$1 folder=$2
shift 2
[[ $# -gt 0 ]] || set -- adb shell orx

# The verdict in the biggest letters that a terminal has.
say() { printf '\033[1;7m  %s  %s  \033[0m\n' "$unit" "$*"; }
no_report() { say "NO REPORT: $*"; exit 6; }

umask 077  # reports hold what names a device
mkdir -p "$folder" || no_report "the folder $folder cannot be made"
part=$folder/.$unit.part
report=$folder/$unit-$(date -u +%Y%m%dT%H%M%SZ).json
trap 'rm -f "$part"' EXIT

code=0
"$@" check all --keep-going --json </dev/null >"$part" || code=$?
# A report counts only as a whole, and only with the exit code that it came with.
jq -es --argjson code "$code" 'length == 1 and .[0].command == "check all" and
  .[0].exit_code == $code' "$part" >/dev/null 2>&1 ||
  no_report "orx ended with $code and without a report of it"
if ! sync "$part" || ! mv "$part" "$report"; then no_report "$report cannot be written"; fi

case $code in
  0) say PASS ;;
  1) say "FAIL: to repair" ;;
  4) say "NOT TESTED: something is missing on the device" ;;
  5) say "NOT TESTED: no answer in time; test once more" ;;
  *) say "NOT TESTED: exit code $code" ;;
esac
# What orx found, and its first advice: one line each.
jq -r '.error // empty | "\(.code): \(.message)"' "$report"
jq -r '.result.checks[]? | select(.exit_code != 0 and .verdict != "N/A") |
  "\(.verdict) \(.check)/\(.instance) \(.code): \(.cause) \(.advice[0] // "")"' "$report"
echo "report: $report"
exit "$code"
