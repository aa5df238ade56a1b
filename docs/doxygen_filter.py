#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the plain comments of the header Doxygen's, on standard output. A C header's first comment is
about the header; a comment before several declarations is about all of them.
usage: doxygen_filter.py HEADER"""
import re, sys

COMMENT = re.compile(r'^ */\*.*?\*/|(?:^ *//[^\n]*\n)+', re.M | re.S)


def for_doxygen(comment, starts):
    comment = re.sub(r'^( *)//', r'\1///', comment, flags=re.M).replace('<', r'\<')
    comment = re.sub(r'^( *(?:\*|///)) {3}', r'\1     ', comment, flags=re.M)  # tables
    return re.sub(r'^/\*', starts, comment).replace('WARNING:', r'\warning')


def declarations(code):
    """How many the lines hold."""
    depth = count = 0
    if re.match(r'\s*(namespace|class|struct|enum|typedef)\b', code):
        return 1
    for line in code.split('\n'):
        depth += len(re.findall('[{(]', line)) - len(re.findall('[})]', line))
        count += depth == 0 and re.search(r'[;}]$|^#define', line) is not None
    return count


def main():
    with open(sys.argv[1], encoding='utf-8') as file:
        text = file.read()
    parts, at, headed = [], 0, '#pragma once' in text
    for match in COMMENT.finditer(text):
        comment = match[0]
        parts.append(text[at:match.start()])
        at = match.end()
        group = re.split(r'\n\n|\n};|\n *//|\n/\*', text[at:].lstrip('\n'), maxsplit=1)[0]
        if 'SPDX' in comment:
            parts.append(comment)
        elif not headed and '\n' in comment:
            parts.append(for_doxygen(comment, r'/** \\file'))
            headed = True
        elif declarations(group) > 1:
            parts.append('/// @{\n' + for_doxygen(comment, '/**') + '\n' + group + '\n/// @}')
            at = text.index(group, at) + len(group)
        else:
            parts.append(for_doxygen(comment, '/**'))
    print(''.join(parts) + text[at:])


if __name__ == '__main__':
    main()
