# SPDX-License-Identifier: Apache-2.0
"""Writes manual pages, man(7)."""
import gzip
import os
import re


def escaped(text):
    return text.replace('\\', '\\e').replace('-', '\\-').replace("'", '\\(aq').replace('^', '\\(ha')


def line(text):
    """A line of running text; what looks like a request is none."""
    return ('\\&' if text.startswith('.') else '') + escaped(text)


def bold(text):
    return f'\\fB{escaped(text)}\\fP'


def example(lines):
    """Lines that stay as they are."""
    indent = min(len(text) - len(text.lstrip()) for text in lines if text.strip())
    return ['.PP', '.nf', '.RS 4'] + [line(text[indent:]) for text in lines] + ['.RE', '.fi']


def paragraphs(lines, render=line):
    """Paragraphs divided by empty lines; the indented lines of a paragraph are a table."""
    out = []
    paragraph = []

    def close():
        if paragraph:
            out.extend(['.PP'] + [render(text) for text in paragraph])
            paragraph.clear()

    table = []
    for text in lines + ['']:
        if table and not text.startswith(' '):
            out.extend(example(table))
            table = []
        if text.startswith(' '):
            close()
            table.append(text)
        elif not text:
            close()
        else:
            paragraph.append(text)
    return out


def heading(name, section, version):
    return [f'.TH {name} {section} "" "liborx {version}"', '.nh', '.ad l']


def write(folder, name, section, lines):
    """Compressed, with the same bytes from the same text."""
    os.makedirs(os.path.join(folder, f'man{section}'), exist_ok=True)
    path = os.path.join(folder, f'man{section}', f'{name}.{section}.gz')
    with open(path, 'wb') as file, gzip.GzipFile('', 'wb', 9, file, mtime=0) as packed:
        packed.write(('\n'.join(lines) + '\n').encode())


def references(text):
    """A line of a comment: functions, headers and warnings in bold."""
    parts = re.split(r'(\bORX_\w+(?=\(\))|<(?:orx|keymint)/\w+\.h>|^WARNING:)', text)
    return ''.join(bold(part) if i % 2 else escaped(part) for i, part in enumerate(parts))
