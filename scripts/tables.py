# SPDX-License-Identifier: Apache-2.0
"""Tables in a document that are written from a source, each after a mark that names its writer."""
import os, re, sys


def table(header, rows):
    return '\n'.join(['| ' + ' | '.join(header) + ' |', '|' + '---|' * len(header)] +
                     ['| ' + ' | '.join(row) + ' |' for row in rows]) + '\n'


def update(path, writer, tables, only_check):
    """Puts each table into the document at `path`, or compares only and exits where one differs."""
    with open(path, encoding='utf-8') as file:
        text = written = file.read()
    for name, content in tables.items():
        written, count = re.subn(rf'(<!-- {name}: written by {writer} -->\n).*?(<!-- end -->)',
                                 lambda m, c=content: m[1] + c + m[2], written, flags=re.S)
        if count != 1:
            sys.exit(f'{writer}: {path} has no one place for the table of {name}')
    if only_check and written != text:
        sys.exit(f'{os.path.relpath(path)} is not what {writer} writes; run it, or ./dev docs')
    if not only_check:
        with open(path, 'w', encoding='utf-8') as file:
            file.write(written)
