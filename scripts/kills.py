#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Kills commands at each call that may change a file, and uses what they left. Run: ./dev kills.

usage: kills.py [COMMAND]

Each command of the table below is ended by SIGKILL right before one of its system calls, every time
on a fresh copy of a device. What it was to make must then be as before, or whole and new, or
refused with a reason code; and the command, repeated, must do its work. The rest is a failure. The
states go into build/kills/report.json.
"""
import collections
import concurrent.futures
import os
import pathlib
import re
import shutil
import subprocess
import sys

sys.dont_write_bytecode = True
import report  # noqa: E402

CALLS = ("open,openat,creat,write,writev,pwrite64,rename,renameat,renameat2,unlink,unlinkat,"
         "ftruncate,fsync,fdatasync,close,mkdir,mkdirat,link,linkat,symlink,chmod,fchmod,fchmodat")
IN_DEVICE = "orx-sim run -q --device $W/device -- "
DECRYPT = (IN_DEVICE +
           "sh -c 'orx decrypt 50 -i $W/old.enc 2>/dev/null || orx decrypt 50 -i $W/new.enc'")
MAKE_OLD = "orx-sim new $W/device && " + IN_DEVICE + "orx key import 50 --aes $W/old.key"
IMPORT = "orx key import 50 --aes $W/new.key"
IMPORT_RSA = "orx key import 14 --pkcs8 $W/rsa.pem"
MAKE_OLD_RSA = "orx-sim new $W/device && " + IN_DEVICE + IMPORT_RSA
SIGN = "orx sign 14 -i $W/old.txt"
PUT = "orx store put 3 -i $W/new.txt"
SET = "orx-sim set $W/device os-patch-level=203012 imei=490154203237518"

# What is killed, and shell commands: what was before, what is killed (inside a device or not), what
# uses the result, and what must work afterwards. Keys and texts are made by prepare().
Case = collections.namedtuple("Case", "name before inside killed use again")
CASES = [
    Case("orx key import, AES", "orx-sim new $W/device", True, IMPORT, DECRYPT,
         IN_DEVICE + IMPORT + " --force"),
    Case("orx key import, RSA", "orx-sim new $W/device", True, IMPORT_RSA, IN_DEVICE + SIGN,
         IN_DEVICE + IMPORT_RSA + " --force"),
    Case("orx key import --force", MAKE_OLD, True, IMPORT + " --force", DECRYPT,
         IN_DEVICE + IMPORT + " --force"),
    Case("upgrade of a key", MAKE_OLD_RSA + " && orx-sim set $W/device os-patch-level=203012",
         True, SIGN, IN_DEVICE + SIGN, IN_DEVICE + IMPORT_RSA + " --force"),
    Case("orx store put", "orx-sim new $W/device && " + IN_DEVICE +
         "orx store put 3 -i $W/old.txt", True, PUT, IN_DEVICE + "orx store get 3",
         IN_DEVICE + PUT),
    Case("orx encrypt -o", MAKE_OLD, True, "orx encrypt 50 -i $W/new.txt -o $W/out",
         IN_DEVICE + "orx decrypt 50 -i $W/out",
         IN_DEVICE + "orx encrypt 50 -i $W/new.txt -o $W/out"),
    Case("orx-sim new", "true", False, "orx-sim new $W/device",
         IN_DEVICE + "orx store list && orx-sim info $W/device",
         "[ -d $W/device ] || orx-sim new $W/device"),
    Case("orx-sim set", "orx-sim new $W/device", False, SET, "orx-sim info $W/device", SET),
]


def shell(folder, command):
    return subprocess.run(["sh", "-c", command], env={**report.ENVIRONMENT, "W": str(folder)},
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)


def prepare(folder):
    """Keys, and texts longer than one write of the C library, plain and encrypted."""
    for name in ("old", "new"):
        (folder / f"{name}.key").write_bytes((name * 8).encode()[:16])
        (folder / f"{name}.txt").write_bytes(f"{name} ".encode() * 2500)
        key = (folder / f"{name}.key").read_bytes().hex()
        shell(folder, f"(printf %016d 0; openssl enc -aes-128-cbc -K {key} -iv {'30' * 16} "
              f"-in $W/{name}.txt) >$W/{name}.enc")
    shutil.copy(report.RSA_KEY, folder / "rsa.pem")


def traced(case, folder, options):
    tracer = f"strace -f -qq -o $W/calls {options} {case.killed}"
    return shell(folder, (IN_DEVICE if case.inside else "") + tracer)


class copied:
    """A copy of a folder, for a while."""

    def __init__(self, template):
        self.template, self.holder = template, report.work_folder()

    def __enter__(self):
        folder = pathlib.Path(self.holder.name) / "w"
        shutil.copytree(self.template, folder)
        return folder

    def __exit__(self, *_):
        self.holder.cleanup()


def seen(folder, case):
    """What the use answers, without what differs between two whole devices."""
    use = shell(folder, case.use)
    text = re.sub(rb"serialNumber=\w+", b"", use.stdout + use.stderr)
    return use.returncode, text.replace(str(folder).encode(), b"$W")


def places(case, template):
    """Yields (call, which of its kind) from the first call on that is about the device's files."""
    with copied(template) as folder:
        run = traced(case, folder, f"-e trace={CALLS}")
        if run.returncode != 0:
            sys.exit(f"kills: {case.name}: {run.stderr.decode()}")
        new = seen(folder, case)
        counts, found = collections.Counter(), []
        for line in (folder / "calls").read_text().splitlines():
            call = re.match(r"\d+ +(\w+)\(", line)
            if call:
                counts[call[1]] += 1
                if found or str(folder) in line or "/mnt/vendor/persist" in line:
                    found.append((call[1], counts[call[1]]))
        return found, new


def state_after(case, template, place, old, new):
    """Returns the state that a kill leaves; ends with ! where it may not be."""
    with copied(template) as folder:
        run = traced(case, folder, f"-e inject={place[0]}:signal=KILL:when={place[1]}")
        if run.returncode not in (137, -9):
            return f"exit code {run.returncode} in the place of a kill!"
        status, text = now = seen(folder, case)
        code = re.search(rb"\[([A-Z]+(-[A-Z]+)+)\]|^orx-sim: \$W/device: .*", text, re.M)
        if now == new:
            state = "whole"
        elif now == old:
            state = "as before"
        elif status != 0 and code:
            state = f"refused: {(code[1] or code[0]).decode()}"
        else:
            return f"neither as before, nor whole, nor refused: {status} {text[-200:]}!"
        again = shell(folder, case.again)
        if again.returncode != 0 or seen(folder, case) != new:
            return f"{state}, and it cannot be done again: {again.stderr.decode()}!"
        return state


def kill(case, workers):
    with report.work_folder() as holder:
        template = pathlib.Path(holder) / "w"
        template.mkdir()
        prepare(template)
        before = shell(template, case.before)
        if before.returncode != 0:
            sys.exit(f"kills: {case.name}: {before.stderr.decode()}")
        with copied(template) as folder:  # to use a key may upgrade it
            old = seen(folder, case)
        found, new = places(case, template)
        states = list(workers.map(
            lambda place: state_after(case, template, place, old, new), found))
    for place, state in zip(found, states):
        if state.endswith("!"):
            print(f"{case.name}, before {place[0]} {place[1]}: {state}")
    counts = collections.Counter(state if not state.endswith("!") else "WRONG" for state in states)
    left = ", ".join(f"{count} {state}" for state, count in counts.items())
    print(f"{case.name:24} {len(found):3} kills  {left}", flush=True)
    return {"command": case.name, "kills": len(found), "what was left": left,
            "wrong": counts["WRONG"]}


def main():
    cases = [case for case in CASES if case.name in (sys.argv[1:] or [case.name])]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
        rows = [kill(case, workers) for case in cases]
    kills = sum(row["kills"] for row in rows)
    return report.write("kills", bool(kills) and not any(row["wrong"] for row in rows),
                        f"{kills} kills in {len(rows)} commands", rows, "./dev kills")


if __name__ == "__main__":
    sys.exit(main())
