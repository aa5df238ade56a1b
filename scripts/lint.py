#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs clang-tidy over every source of the project, the ones changed last first.

usage: lint.py [--seconds N]

A source that was clean and of which nothing has changed since (itself, a header that it includes, its
compiler options, the checks) is not looked at again. With --seconds no further source is begun
after that time; how many are left is said. A source is compiled as the asan preset compiles it, or
as the host preset does where the sanitizers would leave no use for it; build both first. The
benchmarks, which only ./dev lint and ./dev bench build, are left where they are not built.
"""
import argparse
import concurrent.futures
import hashlib
import json
import os
import subprocess
import sys
import time

sys.dont_write_bytecode = True
from compile_commands import compile_commands  # noqa: E402

BUILDS = ("build/asan", "build/host")
CLEAN = "build/lint"  # an empty file for each state of a source that was found clean; the commands


def output(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout


def digest_of_file(path, known={}):
    if path not in known:
        with open(path, "rb") as file:
            known[path] = hashlib.sha256(file.read()).digest()
    return known[path]


def dependencies(build):
    """Maps each object file to the files that it was made from."""
    result, current = {}, None
    for line in output("ninja", "-C", build, "-t", "deps").splitlines():
        if line.startswith("    "):
            current.append(os.path.normpath(os.path.join(build, line.strip())))
        elif ": #deps" in line:
            current = result.setdefault(line.split(": #deps")[0], [])
    return result


def state(linter, entry, files):
    digest = hashlib.sha256(linter.encode() + entry["command"].encode())
    for path in sorted(set(files)) + [".clang-tidy", "tests/.clang-tidy"]:
        digest.update(digest_of_file(path))
    return digest.hexdigest()


def newest_first():
    """Ranks the files by the commit that touched them last; what is not committed comes first."""
    changed = output("git", "ls-files", "-mo", "--exclude-standard").splitlines()
    committed = output("git", "log", "-n", "200", "--format=", "--name-only").splitlines()
    return {path: rank for rank, path in reversed(list(enumerate(changed + committed)))}


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("--seconds", type=float, default=float("inf"))
    deadline = time.monotonic() + options.parse_args().seconds
    os.chdir(output("git", "rev-parse", "--show-toplevel").strip())
    os.makedirs(CLEAN, exist_ok=True)

    linter, ranks = output("clang-tidy", "--version"), newest_first()
    chosen, jobs, missing = {}, [], set()
    for build in BUILDS:
        deps = dependencies(build)
        for entry in compile_commands(f"{build}/compile_commands.json"):
            source = os.path.relpath(entry["file"])
            # clang-tidy cannot read a header that gcc has compiled.
            readable = build == BUILDS[0] or "cmake_pch" not in entry["command"]
            own = source.endswith(".cpp") and not source.startswith("build/")
            if source in chosen or not own or not readable:
                continue
            made_from = deps.get(entry["command"].split(" -o ")[1].split()[0])
            if made_from is not None:
                chosen[source] = entry
                # What else is compiled with it is no part of it.
                headers = [path for path in made_from if not path.endswith(".cpp")]
                mark = f"{CLEAN}/{state(linter, entry, headers + [source])}"
                jobs.append((ranks.get(source, len(ranks)), source, mark))
            elif build == BUILDS[0]:
                sys.exit(f"lint: {source} is not built; build the asan preset first")
            else:
                missing.add(source)
    with open(f"{CLEAN}/compile_commands.json", "w", encoding="utf-8") as commands:
        json.dump(list(chosen.values()), commands)
    waiting = [job for job in jobs if not os.path.exists(job[2])]
    known_clean = len(jobs) - len(waiting)
    waiting.sort()

    def look(job):
        _, source, mark = job
        if time.monotonic() > deadline:
            return None
        found = subprocess.run(["clang-tidy", "-p", CLEAN, "--quiet", source], stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True)
        if found.returncode == 0 and not found.stdout.strip():
            open(mark, "w").close()
            return ""
        return found.stdout or found.stderr

    looked, bad = 0, 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for (_, source, _), text in zip(waiting, pool.map(look, waiting)):
            if text is None:
                continue
            looked += 1
            print(f"[{looked}/{len(waiting)}] {source}", flush=True)
            if text:
                bad += 1
                print(text, flush=True)
    left = len(waiting) - looked + len(missing - set(chosen))
    print(f"lint: {looked} looked at, {bad} with findings, {known_clean} unchanged since they were clean"
          + (f", {left} not looked at (./dev lint does)" if left else ""))
    return 1 if bad or (left and deadline == float("inf")) else 0


if __name__ == "__main__":
    sys.exit(main())
