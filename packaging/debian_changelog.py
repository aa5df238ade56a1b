#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the changelog of the Debian packages of what CHANGELOG.md says of the newest version.
usage: debian_changelog.py CHANGELOG VERSION MAINTAINER TIME OUTPUT   (TIME: seconds since 1970)"""
import email.utils
import gzip
import sys
import textwrap


def entries(text):
    """(title, entry) of the first version's lists."""
    title = ''
    found = []
    for line in text.split('\n## ')[1].split('\n')[1:]:
        if line.startswith('### '):
            title = line[4:]
        elif line.startswith('- '):
            found.append([title, line[2:]])
        elif line.startswith('  ') and found:
            found[-1][1] += ' ' + line.strip()
    return found


def main(changelog, version, maintainer, time, output):
    with open(changelog, encoding='utf-8') as file:
        found = entries(file.read())
    lines = [f'liborx ({version}) unstable; urgency=medium', '']
    for title, entry in found or [('', 'New version.')]:
        lines.append(textwrap.fill(f'{title}: {entry}'.removeprefix(': '), 78,
                                   initial_indent='  * ', subsequent_indent='    ',
                                   break_on_hyphens=False))
    lines += ['', f' -- {maintainer}  {email.utils.formatdate(int(time))}']
    with open(output, 'wb') as file, gzip.GzipFile('', 'wb', 9, file, mtime=0) as packed:
        packed.write(('\n'.join(lines) + '\n').encode())


if __name__ == '__main__':
    main(*sys.argv[1:])
