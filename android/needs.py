#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Reads needs.def, and writes the tables of docs/android.md from it.
usage: needs.py [--check]      from the project root; --check only compares"""
import collections, json, os, re, sys

FOLDER = os.path.dirname(os.path.realpath(__file__))
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(FOLDER, '..', 'scripts'))
from tables import table, update  # noqa: E402
DOCUMENT = os.path.join(FOLDER, '..', 'docs', 'android.md')
Resource = collections.namedtuple('Resource', 'id kind objects macro group '
                                  'file line label_file label note')


def read_table(path=os.path.join(FOLDER, 'needs.def')):
    """Returns the resources by id, and the ids that each call needs."""
    with open(path, encoding='utf-8') as file:
        text = re.sub(r'^\s*(//|#).*$', '', file.read(), flags=re.M)
    resources, calls = {}, {}
    for name, arguments in re.findall(r'(RESOURCE|CALL)\(((?:[^"()]|"(?:[^"\\]|\\.)*")*)\)', text):
        values = ['']
        for token in re.findall(r'"(?:[^"\\]|\\.)*"|,', arguments):
            if token == ',':
                values.append('')
            else:
                values[-1] += json.loads(token)
        if name == 'CALL':
            calls[values[0]] = values[1].split()
        else:
            resource = Resource(*values)
            resources[resource.id] = resource._replace(objects=resource.objects.split())
    return resources, calls


def code(items):
    return ' '.join(f'`{i}`' for i in items)


def call_table(resources, calls):
    """One row for all functions of the same needs."""
    by_needs = collections.OrderedDict()
    for call, ids in calls.items():
        name = re.sub('^android::hardware::keymint::', '', call)
        by_needs.setdefault(tuple(ids), []).append(name)
    rows = []
    for ids, functions in by_needs.items():
        macros = sorted({resources[i].macro for i in ids} - {''})
        groups = sorted({resources[i].group for i in ids} - {''})
        rows.append([code(functions), ', '.join(ids) or 'nothing',
                     code(f'{m}(DOMAIN)' for m in macros), code(groups)])
    return table(['functions', 'need', 'lines in the domain\'s .te', 'groups'], rows)


def resource_table(resources):
    return table(['need', 'what it is', 'provided in: by the line', 'labelled in: by the line', 'note'],
                 [[r.id, code(r.objects), f'{r.file}: `{r.line}`',
                   f'{r.label_file}: `{r.label}`' if r.label else '', r.note]
                  for r in resources.values()])


def main():
    resources, calls = read_table()
    tables = {'calls': call_table(resources, calls), 'resources': resource_table(resources)}
    update(DOCUMENT, 'android/needs.py', tables, sys.argv[1:] == ['--check'])


if __name__ == '__main__':
    main()
