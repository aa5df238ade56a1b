# SPDX-License-Identifier: Apache-2.0
"""The one shape of what a long run found: build/NAME/report.json, read by scripts/release.py."""
import json
import os
import pathlib
import tempfile

TOP = pathlib.Path(__file__).resolve().parent.parent
BIN = TOP / "build/host/bin"
ENVIRONMENT = {**os.environ, "PATH": f"{BIN}:{os.environ['PATH']}"}
RSA_KEY = TOP / "tests/tools/orx/rsa_key.pem"


def write(name, ok, summary, rows, repeat):
    """`rows` are dictionaries of the same keys, the columns; `repeat` repeats the run."""
    path = TOP / f"build/{name}/report.json"
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(json.dumps(
        {"ok": ok, "summary": summary, "repeat": repeat, "rows": rows}, indent=1) + "\n")
    print(f"{name}: {summary}: {'all as it should be' if ok else 'FAILED'}")
    return 0 if ok else 1


def work_folder():
    return tempfile.TemporaryDirectory(prefix="orx-")
