#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Fails every call that is made for the library, one after the other. Run it through ./dev faults.

usage: faults.py [SEQUENCE]...

The sequences are those of tests/faults/sequences.cpp, or only the named ones. Each processor takes a
share of the calls. What came of them goes into build/faults/report.json.
"""
import collections
import os
import re
import subprocess
import sys

sys.dont_write_bytecode = True
import report  # noqa: E402

FOLDER = report.TOP / "build/faults"


def start(share, shares, sequences):
    """All shares do the same; one shows how far it is."""
    return subprocess.Popen(
        [report.TOP / "scripts/on_empty_device.sh", report.TOP / "build/host/tests/orx_faults",
         f"--share={share}/{shares}", *sequences],
        stdout=open(FOLDER / f"{share}.log", "w", encoding="utf-8"),
        stderr=None if share == 0 else subprocess.DEVNULL)


def main():
    FOLDER.mkdir(parents=True, exist_ok=True)
    shares = range(os.cpu_count())
    running = [start(share, len(shares), sys.argv[1:]) for share in shares]
    ok = not any([process.wait() for process in running])
    outcomes, sequences = collections.Counter(), collections.Counter()
    for share in shares:
        for line in (FOLDER / f"{share}.log").read_text(encoding="utf-8").splitlines():
            row = re.fullmatch(r" *(\d+) of +(\d+)  ((\S+) .*)", line)
            if row is None:  # something is wrong
                print(line)
                continue
            outcomes[row[3], int(row[2])] += int(row[1])
            sequences[row[4]] += int(row[1])
    for (outcome, calls), failed in sorted(outcomes.items()):
        print(f"{failed:5} of {calls:5}  {outcome}")
    return report.write(
        "faults", ok, f"{sum(sequences.values()):,} calls failed in {len(sequences)} sequences",
        [{"sequence": name, "calls failed": count} for name, count in sequences.items()],
        " ".join(["./dev faults", *sys.argv[1:]]))


if __name__ == "__main__":
    sys.exit(main())
