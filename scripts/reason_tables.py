#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes the tables of reason codes of docs/factory.md from what `orx explain --json` tells.
usage: reason_tables.py [--check] [ORX_PROGRAM]      --check only compares"""
import argparse, json, os, subprocess, sys

sys.dont_write_bytecode = True
from tables import table, update  # noqa: E402

ROOT = os.path.realpath(f'{os.path.dirname(os.path.realpath(__file__))}/..')
VERDICTS = {1: 'FAIL', 2: 'usage', 3: 'N/A', 4: 'ENV', 5: 'TIMEOUT', 130: 'INTERRUPTED'}
# The tables and the beginnings of their codes; the last one has the rest.
TABLES = {
    'attestation': ('ATTEST-', 'RKP-'),
    'secure element': ('ESE-', 'SS-', 'STRONGBOX-'),
    'keymint': ('KM-',),
    'identifiers': ('PROPERTY-', 'IDS-', 'IMEI-', 'MEID-', 'MODEM-', 'UID-'),
    'every check': ('TIMED-OUT', 'INTERRUPTED', 'LIBRARY-', 'UNEXPLAINED', 'CRYPTO-', 'NO-MEMORY'),
    'commands': ('',),
}


def row(reason):
    return [f'`{reason["code"]}`', VERDICTS[reason['exit_code']], reason['cause'],
            reason['advice'], reason['owner']]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--check', action='store_true')
    parser.add_argument('program', nargs='?', default=f'{ROOT}/build/host/bin/orx')
    args = parser.parse_args()
    answer = subprocess.run([args.program, 'explain', '--json'], capture_output=True, check=True).stdout
    reasons = json.loads(answer)['result']['reasons']
    tables = {}
    for name, beginnings in TABLES.items():
        rows = [row(reason) for reason in reasons if reason['code'].startswith(beginnings)]
        reasons = [reason for reason in reasons if not reason['code'].startswith(beginnings)]
        tables[name] = table(['code', 'verdict', 'cause', 'next step', 'owner'], rows)
    update(f'{ROOT}/docs/factory.md', 'scripts/reason_tables.py', tables, args.check)


if __name__ == '__main__':
    main()
