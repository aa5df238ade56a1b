#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs what is too long for ./dev test, and writes docs/assurance.md. Run it through ./dev release.

usage: release.py [STEP...]

A step that fails does not stop the others; the exit code tells. The page keeps what it says of the
last run of a step that is not run. What the steps print is in build/release-steps.
"""
import collections
import datetime
import json
import os
import pathlib
import re
import subprocess
import sys
import time

sys.dont_write_bytecode = True
from report import TOP  # noqa: E402
import tables  # noqa: E402

LOGS = TOP / "build/release-steps"


def reported(name):
    """Of the steps that report as scripts/report.py writes."""
    result = json.loads((TOP / f"build/{name}/report.json").read_text())
    return result["repeat"], result["summary"], result["rows"]


def fuzz(_):
    results = json.loads((TOP / "build/fuzz/report.json").read_text())
    rows = [{"target": result["target"], "inputs": f"{result['inputs']:,}",
             "lines of its functions reached": "{} of {}".format(
                 *(sum(f[key] for f in result["functions"]) for key in ("reached", "lines")))}
            for result in results]
    inputs = sum(result["inputs"] for result in results)
    return "./dev fuzz", f"{inputs:,} inputs to {len(rows)} targets", rows


def last_line(pattern):
    """Of the steps that end with one line that says it."""
    def result(log):
        found = re.findall(pattern, log)
        return None, found[-1].strip() if found else "no result", []
    return result


CTEST = last_line(r"\d+% tests passed.*")
Step = collections.namedtuple("Step", "command result")
STEPS = {
    "faults": Step("./dev faults", reported),
    "fuzz": Step("./dev fuzz", fuzz),
    "kills": Step("./dev kills", reported),
    "differential": Step("./dev differential", reported),
    "memcheck": Step("./dev memcheck", reported),
    "tsan": Step("./dev tsan", last_line(r".*families at the same time.*")),
    "integer": Step("./dev integer", CTEST),
    "test": Step("./dev test", last_line(r"\d+ passed, \d+ failed")),
    "arm64": Step("./dev test --arch arm64", CTEST),
    "armhf": Step("./dev test --arch armhf", CTEST),
    "package": Step("./dev package", last_line(r"liborx.so: .*")),
    "html": Step("scripts/check_html.sh", last_line(r"check_html: .*")),
    "bench": Step("./dev bench", last_line(r".*\S.*")),
    "lint": Step("./dev lint", last_line(r"lint: .*")),
}


def machine():
    processor = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    system = re.search(r'PRETTY_NAME="(.*)"', pathlib.Path("/etc/os-release").read_text())
    name = processor[1] if processor else os.uname().machine
    return f"{name}, {os.cpu_count()} CPUs, {system[1]}"


def run(name):
    """Returns (whether it passed, minutes, what repeats it, what it says, rows)."""
    step, log, begin = STEPS[name], LOGS / f"{name}.log", time.monotonic()
    print(f"== {name}: {step.command} (build/release-steps/{name}.log)", flush=True)
    with open(log, "w", encoding="utf-8") as file:
        process = subprocess.Popen(step.command.split(), cwd=TOP, stdout=file, stderr=file)
        while process.poll() is None:
            time.sleep(1)
            if sys.stdout.isatty():
                print(f"\r   {time.monotonic() - begin:.0f} s ", end="", flush=True)
    text = log.read_text(errors="replace").replace(f"{TOP}/", "")  # of no machine
    passed = process.returncode == 0
    repeat, summary, rows = step.command, "did not come to its end", []
    try:
        repeat, summary, rows = step.result(name if step.result is reported else text)
    except (OSError, ValueError, KeyError) as problem:
        passed, summary = False, f"no report: {problem}"
    minutes = (time.monotonic() - begin) / 60
    print(f"   {'passed' if passed else 'FAILED'} after {minutes:.1f} min: {summary}", flush=True)
    return passed, minutes, repeat or step.command, summary, rows


def block(passed, minutes, repeat, summary, rows):
    text = (f"\n`{repeat}`, {datetime.date.today()}, {machine()}, {minutes:.1f} minutes: "
            f"{summary}: {'passed' if passed else '**failed**'}.\n\n")
    if rows:
        text += tables.table(list(rows[0]), [[str(cell) for cell in row.values()] for row in rows])
    return text


def main():
    names = sys.argv[1:] or list(STEPS)
    if unknown := [name for name in names if name not in STEPS]:
        sys.exit(f"release: no step {' '.join(unknown)}; there are {' '.join(STEPS)}")
    LOGS.mkdir(parents=True, exist_ok=True)
    results = {}
    for name in names:
        results[name] = run(name)
        tables.update(TOP / "docs/assurance.md", "./dev release", {name: block(*results[name])},
                      only_check=False)
    print(f"\n{'step':13} {'result':7} {'minutes':>7}  what it says")
    for name, (passed, minutes, _, summary, _) in results.items():
        print(f"{name:13} {'passed' if passed else 'FAILED':7} {minutes:7.1f}  {summary}")
    return 0 if all(result[0] for result in results.values()) else 1


if __name__ == "__main__":
    sys.exit(main())
