#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the manual's section 3 of the public headers: orx(3) of orx.h and one page for each family
and class header. Fails when a function is declared without a comment that begins with its name,
when a comment names one that is not declared, or when the library exports something else.
usage: manual_headers.py INCLUDE_FOLDER LIBRARY VERSION FOLDER"""
import os
import re
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

import roff


@dataclass
class Item:
    comment: list  # lines
    code: list     # the declarations behind it, as they stand

    def functions(self):
        """The flat functions that are declared here."""
        return re.findall(r'\b(ORX_\w+)\(', re.sub(r'^#.*', '', '\n'.join(self.code), flags=re.M))


class Header:
    def __init__(self, path):
        self.path = path
        self.name = f'{path.parent.name}/{path.name}'
        self.page = 'orx' if path.stem == 'orx' else 'orx_' + re.sub('^orx_', '', path.stem.lower())
        text = path.read_text()
        is_cpp = '#pragma once' in text
        self.items = items_of(outline_of(text) if is_cpp else text, bare=is_cpp)

    def summary(self):
        """The first sentence about the header or, in one of C++, about its first exported class."""
        about = [item for item in self.items if 'ORX_EXPORT' in ''.join(item.code)]
        item = self.items[0] if not self.items[0].code else about[0]
        first = re.split(r'[.:;](?:\s|$)|,? \(|, in ', ' '.join(item.comment))[0]
        is_name = re.match(r'\w[A-Z0-9]|\w+[A-Z]', first)
        return first if is_name else first[0].lower() + first[1:]

    def functions(self):
        return [name for item in self.items for name in item.functions()]


def outline_of(text):
    """A C++ header's public classes and functions, without the bodies of functions."""
    lines = []
    depth = 0
    public = False
    for text_line in text.split('\n'):
        line = text_line.strip()
        opens, closes = line.count('{'), line.count('}')
        if line.startswith('#ifdef'):
            break  # what only the library itself compiles
        if re.match(r'(class|struct) .*\{', line):
            public = True
        elif line == 'private:':
            public = False
        elif line == '};':
            public = True
        outer = depth == 0 or (depth == 1 and public)
        if line.startswith('namespace internal'):
            depth += 2  # of no interest outside
        if line.startswith('}  // namespace internal'):
            depth -= 2
        if line.startswith('namespace') or line.startswith('}  // namespace'):
            continue
        if outer and line.startswith('//'):
            lines.append(line[2:].removeprefix(' ') if line != '//' else '')
            lines[-1] = '/* ' + lines[-1] + ' */'
        elif outer and line.startswith(': '):
            lines[-1] += ';'
        elif outer and not re.match(r'\};|public:|#|static_assert|"', line):
            indent = ' ' * max(0, len(text_line) - len(line) - 2)
            lines.append(indent + re.sub(r' *\{.*', ';', line) if line else '')
        depth += opens - closes
    # Adjacent one-line comments are one comment.
    return '\n'.join(lines).replace(' */\n/* ', '\n * ')


def comment_text(raw):
    inside = re.sub(r'^/\*\s*|\s*\*/\s*$', '', raw)
    lines = [re.sub(r'^ ?\* ?', '', line) for line in inside.split('\n')]
    return [line.rstrip() for line in lines]


def items_of(text, bare):
    """Comments with what follows up to an empty line; with `bare`, also what has no comment."""
    items = []
    for match in re.finditer(r'(/\*.*?\*/\n)?((?:(?!/\*)[^\n]+\n?)*)', text, re.S):
        comment, code = match.group(1) or '', match.group(2)
        code = [line for line in code.split('\n') if line.strip()]
        if 'SPDX-' not in comment and (comment or (bare and code)):
            items.append(Item(comment_text(comment), code))
    return items


def item_lines(item):
    mark = 'ORX_EXPORT '
    # What continues a declaration keeps its place under it.
    code = [re.sub(f'^{" " * len(mark)}', '', line.replace(mark, '')) for line in item.code]
    return (['.PP', '.nf'] + [roff.bold(line) for line in code] + ['.fi'] if code else []) + \
        roff.paragraphs(item.comment, roff.references)


def page_lines(header, version, headers):
    lines = roff.heading(header.page.upper(), 3, version)
    names = ', '.join([header.page] + header.functions())
    lines += ['.SH NAME', f'{roff.escaped(names)} \\- {roff.escaped(header.summary())}']
    lines += ['.SH LIBRARY', 'liborx (\\fI\\-lorx\\fP)']
    lines += ['.SH SYNOPSIS', roff.bold(f'#include <{header.name}>')]
    items = header.items
    if not items[0].code:
        lines += ['.SH DESCRIPTION'] + roff.paragraphs(items[0].comment, roff.references)
        items = items[1:]
    if header.page == 'orx':
        lines.append('.SH FAMILIES')
        for other in headers:
            if other is not header:
                lines += ['.TP', f'.BR {roff.escaped(other.page)} (3)',
                          roff.escaped(other.summary())]
    lines.append('.SH INTERFACE')
    for item in items:
        lines += item_lines(item)
    others = [f'.BR {roff.escaped(other.page)} (3)' for other in headers if other is not header]
    return lines + ['.SH SEE ALSO'] + [other + ',' for other in others[:-1]] + others[-1:]


def exports_of(library):
    """Names of what a library exports: flat functions, and members of classes as CLASS::NAME."""
    printed = subprocess.run(['nm', '-DC', '--defined-only', library], check=True,
                             stdout=subprocess.PIPE, text=True).stdout
    names = [re.sub(r'\(.*', '', line.split(' ', 2)[2]) for line in printed.splitlines()]
    return {name.replace('android::hardware::keymint::ORX::', '') for name in names}


def problems(headers, library):
    """What differs between comments, declarations and exports."""
    found = []
    declared = [name for header in headers for name in header.functions()]
    for header in headers:
        for item in header.items:
            comment = '\n'.join(item.comment)
            for name in item.functions():
                if not re.search(rf'\b{name}\b', comment.split('\n\n')[0]):
                    found.append(f'{header.name}: {name} is declared without a comment of its own')
            for name in re.findall(r'\b(ORX_\w+)\(\)', comment):
                if name not in declared:
                    found.append(f'{header.name}: a comment names {name}, which is not declared')
        declared_here = set(header.functions())
        for name in set(re.findall(r'ORX_EXPORT[^;{]*?\b(ORX_\w+)\(', header.path.read_text())):
            if name not in declared_here:
                found.append(f'{header.name}: {name} is declared without a comment')
    exports = exports_of(library)
    code = '\n'.join(line for header in headers for item in header.items for line in item.code)
    for name in sorted(set(declared) - exports):
        found.append(f'{name} is documented, but the library does not export it')
    for name in sorted(exports):
        if not re.search(rf'\b{name.split("::")[-1]}\(', code):
            found.append(f'{name} is exported, but in no page')
    return found


def main(include, library, version, folder):
    paths = sorted(Path(include, 'orx').glob('*.h')) + sorted(Path(include, 'keymint').glob('*.h'))
    headers = [Header(path) for path in paths if path.name != 'export.h']
    found = problems(headers, library)
    if found:
        raise SystemExit('\n'.join(found))
    for header in headers:
        roff.write(folder, header.page, 3, page_lines(header, version, headers))
        for name in header.functions():
            link = os.path.join(folder, 'man3', f'{name}.3.gz')
            if os.path.lexists(link):
                os.remove(link)
            os.symlink(f'{header.page}.3.gz', link)


if __name__ == '__main__':
    main(*sys.argv[1:])
