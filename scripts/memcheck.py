#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the library's tests, and the tool, under valgrind. Run it through ./dev memcheck.

usage: memcheck.py [REGULAR_EXPRESSION of tests]

Errors, definite and possible leaks are failures, but for those that scripts/memcheck.supp lists
with a reason. Each test runs as ctest has it run. The counts go into build/memcheck/report.json.
"""
import concurrent.futures
import json
import os
import re
import subprocess
import sys

sys.dont_write_bytecode = True
import report  # noqa: E402

PROGRAM = "/tests/src_test"
FOUND = 99
# Tests that cannot be judged so, and why.
LEFT_OUT = {
    ".CostTest.": "counts calls of malloc(), which valgrind replaces",
    ".SecretsTest.": "looks through freed memory, which valgrind keeps from being used again",
    ".WithoutADaemonThirtyAttempts": "asks the C library for its memory in use, which is then none",
    ".ADescriptorThatNoSetHolds": "needs a descriptor beyond those that valgrind leaves",
    ".GivesUpAtTheTenthEmptyReceive": "receives without a limit, and valgrind looks at all of it",
}
VALGRIND = ["valgrind", "--quiet", "--leak-check=full", "--show-leak-kinds=definite,possible",
            "--errors-for-leak-kinds=definite,possible", f"--error-exitcode={FOUND}",
            "--soname-synonyms=somalloc=NONE", "--child-silent-after-fork=yes", "--num-callers=30",
            f"--suppressions={report.TOP}/scripts/memcheck.supp"]
# In one device, one after the other; not orx doctor, which gives services less time than they need
# under valgrind.
COMMANDS = [
    "orx hash sha256 $K", "orx random 32", "orx kdf --secret $K -n 64",
    "orx key import 50 --aes $K", f"orx key import 14 --pkcs8 {report.RSA_KEY}",
    "orx key list", "orx key show 50",
    "orx encrypt 50 -i $K -o $K.enc", "orx decrypt 50 -i $K.enc", "orx sign 14 -i $K",
    "orx store put 3 -i $K", "orx store get 3", "orx store list", "orx store rm 3",
    "orx key delete 50", "orx ids", "orx imei", "orx records", "orx modem AT+CGSN",
    "orx explain KM-KEY-OUTDATED", "orx check root-of-trust", "orx check shared-secret",
]


def run(words, **options):
    return subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False,
                          env=report.ENVIRONMENT, **options)


def tests(pattern):
    """Yields (name, command)."""
    listed = subprocess.run(
        ["ctest", "--preset", "host", "-L", "^src_test$", "--show-only=json-v1"],
        stdout=subprocess.PIPE, check=True, cwd=report.TOP)
    for test in json.loads(listed.stdout[listed.stdout.index(b"{"):])["tests"]:
        words = test["command"]
        at = next(i for i, word in enumerate(words) if word.endswith(PROGRAM))
        left_out = any(name in test["name"] for name in LEFT_OUT)
        if re.search(pattern, test["name"]) and not left_out:
            yield test["name"], words[:at] + VALGRIND + words[at:]


def commands():
    with report.work_folder() as folder:
        device, key = f"{folder}/device", f"{folder}/key"
        with open(key, "wb") as file:
            file.write(b"a 16-byte secret")
        subprocess.run(["orx-sim", "new", device], env=report.ENVIRONMENT, check=True)
        for command in COMMANDS:
            words = command.replace("$K", key).split()
            words[0] = str(report.BIN / words[0])
            yield command, run(["orx-sim", "run", "-q", "--device", device, "--",
                                *VALGRIND, *words])


def judge(name, ended):
    if ended.returncode == 0:
        return 0
    print(f"{name}: {'found' if ended.returncode == FOUND else 'failed'}:\n"
          f"{ended.stdout.decode(errors='replace')[-6000:]}", flush=True)
    return 1


def main():
    for name, reason in LEFT_OUT.items():
        print(f"left out: {name.strip('.')}: {reason}")
    listed = list(tests(sys.argv[1] if len(sys.argv) > 1 else ""))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
        ended = workers.map(lambda test: (test[0], run(test[1])), listed)
        bad = []
        for test in ended:
            bad.append(judge(*test))
            if sys.stderr.isatty():
                print(f"\r{len(bad)} of {len(listed)} ", end="", file=sys.stderr, flush=True)
    rows = [{"run": "tests of the library", "number": len(bad), "with findings": sum(bad)}]
    if len(sys.argv) == 1:
        bad = [judge(*command) for command in commands()]
        rows.append({"run": "commands of orx", "number": len(bad), "with findings": sum(bad)})
    return report.write("memcheck", bool(listed) and not any(row["with findings"] for row in rows),
                        " and ".join(f"{row['number']} {row['run']}" for row in rows), rows,
                        "./dev memcheck")


if __name__ == "__main__":
    sys.exit(main())
