#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Lets the fuzzers search, and writes what they reached. Run it through ./dev fuzz.

usage: fuzz.py [TARGET] [SECONDS]

Runs every fuzzer of build/fuzz (or TARGET alone) for SECONDS (20) from its seeds and what earlier
runs found (build/fuzz/corpus). An input that breaks a promise is kept in build/fuzz/found and the
run fails. tests/fuzz/targets.txt names the functions that each aims at; their line coverage goes
into build/fuzz/report.json and, after a run of all, into tests/fuzz/coverage.md. Less than 95 % of
a function's lines is a failure too.
"""
import datetime
import json
import os
import pathlib
import re
import subprocess
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent
BUILD = TOP / "build/fuzz"
ROOM = TOP / "tests/fuzz"
LEAST_PERCENT = 95
MODULES = ["lib/orx-sim/liborx_sim.so", "lib/libandroid_host.so", "lib/liborx.so"]


def targets():
    """Yields (target, {function: lines that only a lack of memory reaches})."""
    for line in (ROOM / "targets.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            name, functions = line.split(":", 1)
            pairs = (function.partition("~") for function in functions.split())
            yield name, {function: int(lines or 0) for function, _, lines in pairs}


def search(target, seconds):
    """Runs one fuzzer; returns (inputs tried, whether all was well)."""
    folders = {name: BUILD / name / target for name in ("corpus", "found", "profile")}
    for folder in folders.values():
        folder.mkdir(parents=True, exist_ok=True)
    for old in folders["profile"].iterdir():
        old.unlink()
    run = subprocess.run(
        [TOP / "scripts/on_empty_device.sh", BUILD / f"fuzz/{target}_fuzz", f"-max_total_time={seconds}",
         "-print_final_stats=1", "-timeout=10", "-malloc_limit_mb=512", "-max_len=8192",
         "-rss_limit_mb=0",  # its thread would wait by sleep(), which the tests' support replaces
         f"-artifact_prefix={folders['found']}/", folders["corpus"], ROOM / "seeds" / target],
        env={**os.environ, "LLVM_PROFILE_FILE": f"{folders['profile']}/%p-%m.profraw"},
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    text = run.stdout.decode(errors="replace")
    if run.returncode != 0:
        print(text[-4000:])
    inputs = re.search(r"stat::number_of_executed_units: (\d+)", text)
    return int(inputs[1]) if inputs else 0, run.returncode == 0


def coverage(target, functions):
    """Returns {function: (lines reached, lines)} of what the last run reached."""
    profile = BUILD / f"profile/{target}.profdata"
    raw = sorted((BUILD / "profile" / target).glob("*.profraw"))
    subprocess.run(["llvm-profdata-14", "merge", "-o", profile, *raw], check=True)
    objects = [argument for module in MODULES if (BUILD / module).exists()
               for argument in ("-object", BUILD / module)]
    report = subprocess.run(
        ["llvm-cov-14", "report", "-show-functions", "-Xdemangler=c++filt", "-Xdemangler=-p",
         f"-instr-profile={profile}", BUILD / f"fuzz/{target}_fuzz", *objects,
         *(TOP / folder for folder in ("src", "sim", "tools", "host", "common", "include"))],
        stdout=subprocess.PIPE, check=True).stdout.decode()
    found = {}
    for line in report.splitlines():
        row = re.match(r"(.+?)(?:\[abi:\w+\])?\s+\d+\s+\d+\s+[\d.]+%\s+(\d+)\s+(\d+)\s+[\d.]+%", line)
        for name, lacking in functions.items():
            if row and f"::{row[1]}".endswith(f"::{name}"):
                lines, missed = int(row[2]), int(row[3])
                if lines - missed >= found.get(name, (0, 0))[0]:
                    found[name] = (lines - missed, lines - lacking)
    return found


def judge(target, functions, seconds):
    print(f"== {target}: {seconds} s", flush=True)
    inputs, well = search(target, seconds)
    reached = coverage(target, functions) if well else {}
    rows = []
    for name in functions:
        lines, of = reached.get(name, (0, 0))
        percent = 100 * min(lines, of) / of if of else 0
        well = well and percent >= LEAST_PERCENT
        rows.append({"function": name, "reached": min(lines, of), "lines": of})
        if percent < LEAST_PERCENT:
            print(f"   {name}: {lines} of {of} lines")
    print(f"   {inputs} inputs, {'as promised' if well else 'FAILED'}", flush=True)
    return {"target": target, "inputs": inputs, "ok": well, "functions": rows}


def write_table(results, seconds):
    lines = ["# What the fuzzers reach", "",
             f"Written by `./dev fuzz`, {datetime.date.today()}: {seconds} s a target, "
             f"{sum(r['inputs'] for r in results):,} inputs. Lines of the functions that each target",
             "aims at; those that only a lack of memory reaches are left out (`./dev faults` has them).",
             "", "| target | inputs | function | lines reached |", "|---|---|---|---|"]
    for result in results:
        first = f"{result['target']} | {result['inputs']:,}"
        for row in result["functions"]:
            lines.append(f"| {first} | `{row['function']}` | {row['reached']} of {row['lines']} |")
            first = " | "
    (ROOM / "coverage.md").write_text("\n".join(lines) + "\n")


def main():
    wanted = [word for word in sys.argv[1:] if not word.isdigit()]
    seconds = next((int(word) for word in sys.argv[1:] if word.isdigit()), 20)
    known = dict(targets())
    if [name for name in wanted if name not in known] or len(sys.argv) > 3:
        sys.exit(f"fuzz: targets are {' '.join(known)}")
    results = [judge(name, functions, seconds) for name, functions in known.items()
               if not wanted or name in wanted]
    (BUILD / "report.json").write_text(json.dumps(results, indent=1))
    if not wanted:
        write_table(results, seconds)
    return 0 if all(result["ok"] for result in results) else 1


if __name__ == "__main__":
    sys.exit(main())
