#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the tests, and the commands that they run, under valgrind. Run it through ./dev memcheck.

usage: memcheck.py [REGULAR_EXPRESSION of tests]

Errors, definite and possible leaks are failures, but for those that scripts/memcheck.supp lists
with a reason. Each test runs as ctest has it run. The counts go into build/memcheck/report.json.
"""
import collections
import concurrent.futures
import json
import os
import re
import shlex
import shutil
import subprocess
import sys

sys.dont_write_bytecode = True
import report  # noqa: E402

# The test programs: what their tests are called, and the program that is looked at, too, whenever
# they run it.
ROOMS = {
    "src_test": ("tests of the library", None),
    "host_test": ("tests of the stand-ins", None),
    "sim_test": ("tests of the simulated device", None),
    "agreement_test": ("comparisons of library, device and tool", None),
    "sim_tool_test": ("tests of orx-sim", "orx-sim"),
    "tools_test": ("tests of orx", "orx"),
}
FOUND = 99
# Tests that valgrind cannot look at, by regular expression, and why.
LEFT_OUT = {
    "CostTest": "counts calls of malloc(), which valgrind replaces",
    "SecretsTest": "looks through freed memory, which valgrind keeps from being used again",
    "GivesUpAtTheTenthEmptyReceive": "receives without a limit, and valgrind looks at all of it",
    "TellsHowTheChildEnded|AnInterruptedRun|AKeyboardInterrupt":
        "waits in ppoll(2) for a signal, and valgrind lets none in",
    "SignalsReachTheCommand": "waits in sigwaitinfo(2) for a signal, and valgrind loses some",
    "NothingIsLostByTheWay": "takes away /proc and memory that valgrind needs",
}
# Tests that valgrind makes fail, and why: only what valgrind finds counts.
RESULT_PUT_ASIDE = {
    "WithoutADaemonThirtyAttempts": "asks the C library for its memory in use, which is then none",
    "ADescriptorThatNoSetHolds": "needs a descriptor beyond those that valgrind leaves",
    "FailuresGiveOneLine": "takes away the folder for temporary files, which valgrind needs",
    "CommandKeepsItsSurroundings": "looks for open descriptors, and valgrind's report is one",
    "IdentifiersAreJudged|IdentifiersOfTheDevice|TheModemIsWaitedForOnce|DoesNotAnswerWell":
        "sets limits of time that are too short under valgrind",
    "LostStreams": "closes the standard streams, and valgrind's report takes their place",
    "MemoryIsFaultedInOnce": "counts page faults, and valgrind has many of its own",
}
VALGRIND = ["/usr/bin/valgrind", "--quiet", "--vgdb=no", "--leak-check=full", "--num-callers=30",
            "--show-leak-kinds=definite,possible", "--errors-for-leak-kinds=definite,possible",
            f"--error-exitcode={FOUND}", "--soname-synonyms=somalloc=NONE",
            "--sim-hints=lax-ioctls",
            f"--suppressions={report.TOP}/scripts/memcheck.supp"]
WORK = report.TOP / "build/memcheck"
# Stands in a program's place and runs it from where the build is seen a second time, with a file
# of its own for what is found.
INSTEAD = f"""#!/bin/sh
log=$(/usr/bin/mktemp {WORK}/found/"${{0##*/}}".XXXXXX) || exit
[ -w "$TMPDIR" ] || export TMPDIR=/tmp  # valgrind needs a file there, also as another user
exec {shlex.join(VALGRIND)} --log-file="$log" {WORK}/host/bin/"${{0##*/}}" "$@"
"""


def room(test):
    return test.split(".")[0]


def is_in(table, test):
    return any(re.search(names, test) for names in table)


def command(test, words):
    at = next(i for i, word in enumerate(words) if word.endswith(f"/tests/{room(test)}"))
    program = ROOMS[room(test)][1]
    if not program:
        return words[:at] + VALGRIND + words[at:]
    # Forks of the test run the tool, and not all of their exit codes are looked at: a report each.
    return ["bwrap", "--die-with-parent", "--dev-bind", "/", "/",
            "--bind", report.BIN.parent, WORK / "host",
            "--bind", WORK / "instead", report.BIN / program, "--", *words[:at], *VALGRIND,
            f"--log-file={WORK}/found/{program}.%p", *words[at:]]


def tests(pattern):
    """Yields (name, command)."""
    listed = subprocess.run(
        ["ctest", "--preset", "host", "-L", f"^({'|'.join(ROOMS)})$", "--show-only=json-v1"],
        stdout=subprocess.PIPE, check=True, cwd=report.TOP)
    for test in json.loads(listed.stdout[listed.stdout.index(b"{"):])["tests"]:
        name = test["name"]
        if re.search(pattern, name) and not is_in(LEFT_OUT, name):
            yield name, command(name, test["command"])


def run(test):
    """Returns (name, how it failed, what it said)."""
    name, words = test
    ended = subprocess.run(["timeout", "--kill-after=9", "1200", *words], check=False,
                           stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    passed = (0, 1) if is_in(RESULT_PUT_ASIDE, name) else (0,)
    how = "" if ended.returncode in passed else "found" if ended.returncode == FOUND else "failed"
    return name, how, ended.stdout.decode(errors="replace")


def prepare():
    for folder in ("found", "host"):
        shutil.rmtree(WORK / folder, ignore_errors=True)
        (WORK / folder).mkdir(parents=True)
    (WORK / "found").chmod(0o1777)  # some tests run the tool as another user
    (WORK / "instead").write_text(INSTEAD)
    (WORK / "instead").chmod(0o755)


def main():
    for says, table in ("left out", LEFT_OUT), ("result put aside", RESULT_PUT_ASIDE):
        for names, reason in table.items():
            print(f"{says}: {names}: {reason}")
    prepare()
    listed = list(tests(sys.argv[1] if len(sys.argv) > 1 else ""))
    numbers, findings = collections.Counter(), collections.Counter()

    def judge(row, name, how, text):
        numbers[row] += 1
        findings[row] += bool(how)
        if how:
            print(f"{name}: {how}:\n{text[-6000:]}", flush=True)

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
        for test in workers.map(run, listed):
            judge(ROOMS[room(test[0])][0], *test)
            if sys.stderr.isatty():
                print(f"\r{numbers.total()} of {len(listed)} ", end="", file=sys.stderr, flush=True)
    for log in sorted((WORK / "found").iterdir()):
        text = log.read_text(errors="replace")
        # Without a standard output a command writes here, too.
        how = "found" if re.search(r"^==\d+== ", text, re.M) else ""
        judge(f"processes of {log.stem} in its tests", log.name, how, text)
    rows = [{"run": row, "number": number, "with findings": findings[row]}
            for row, number in numbers.items()]
    return report.write("memcheck", bool(listed) and not findings.total(),
                        ", ".join(f"{number} {row}" for row, number in numbers.items()), rows,
                        "./dev memcheck")


if __name__ == "__main__":
    sys.exit(main())
