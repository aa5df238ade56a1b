# SPDX-License-Identifier: Apache-2.0
"""What the checks of this folder share: each tries itself on damaged copies of what it checks."""


def read(path):
    with open(path, encoding='utf-8') as file:
        return file.read()


def verdict(found, trials):
    """Prints what is wrong or, where nothing is, each damage of `trials`, as (damage, what was
    found), in which nothing was found. Returns the exit code."""
    tried = list(trials) if not found else []
    missed = [f'not found: {damage}' for damage, faults in tried if not faults]
    for fault in [*found, *missed]:
        print(f'FAILED: {fault}')
    print(f'{len(tried)} damages tried')
    return 1 if missed or not tried else 0
