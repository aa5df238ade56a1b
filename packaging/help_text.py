# SPDX-License-Identifier: Apache-2.0
"""Reads the help that orx and orx-sim print of themselves, which the manual and the completion of
the command line are made of."""
import os
import re
import subprocess
from dataclasses import dataclass


@dataclass
class Option:
    names: list  # "-i", "--input"
    value: str   # "FILE"; empty for a flag
    text: str


@dataclass
class Section:
    title: str   # empty: none
    lines: list  # as printed


@dataclass
class Help:
    usage: str
    sections: list

    def options(self, title=None):
        return [option for section in self.sections for option in options_of(section)
                if title is None or section.title == title]


@dataclass
class Command:
    name: str    # one word or two
    help: Help


def read(*command):
    printed = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout
    blocks = [block.split('\n') for block in printed.strip('\n').split('\n\n')]
    if not blocks[0][0].startswith('usage: '):
        raise SystemExit(f'{" ".join(command)}: the help does not begin with the usage')
    return Help(blocks[0][0][len('usage: '):], [section_of(block) for block in blocks[1:]])


def section_of(block):
    titled = len(block) > 1 and not block[0].startswith(' ') and all(
        line.startswith(' ') for line in block[1:])
    if not titled and len(block) > 1 and block[-2].endswith(':'):  # a text that leads into a list
        titled = block[-1].startswith(' ')
    return Section(block[0].rstrip(':'), block[1:]) if titled else Section('', block)


def options_of(section):
    found = []
    for line in section.lines:
        match = re.match(r'  +(?:(-\w), )?(--[\w-]+)(?: ([A-Z]\S*))? +(\S.*)', line)
        if match:
            letter, name, value, text = match.groups()
            found.append(Option([letter, name] if letter else [name], value or '', text))
        elif found and line.startswith(' ' * 20):
            found[-1].text += ' ' + line.strip()
    return found


def command_names(section):
    """The names in a list of commands: one word or two, in front of operands and summary."""
    names = []
    for line in section.lines:
        words = re.split(r' {2,}', line.strip())[0].split(' ')
        if not line.startswith('  ') or not re.fullmatch(r'[a-z][a-z0-9-]*', words[0]):
            continue
        second = words[1:2] if re.fullmatch(r'[a-z][a-z0-9-]*', ''.join(words[1:2])) else []
        names.append(' '.join(words[:1] + second))
    return names


def commands(program):
    """(title, [Command]) of each group of a program's commands."""
    groups = []
    for section in read(program, '--help').sections:
        names = [name for name in command_names(section)
                 if name.split()[0] != os.path.basename(program)]  # a whole command line
        if names:
            groups.append((section.title, [
                Command(name, read(program, *name.split(), '--help')) for name in names]))
    if not groups:
        raise SystemExit(f'{program}: no command was found in its help')
    return groups
