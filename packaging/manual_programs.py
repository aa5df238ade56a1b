#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the manual pages orx(1) and orx-sim(1) of what the programs say of themselves.
usage: manual_programs.py ORX ORX_SIM VERSION FOLDER"""
import subprocess
import sys

import help_text
import roff

EXIT_CODES = 'Exit codes:'


def option_items(options):
    lines = []
    for option in options:
        names = ', '.join(roff.bold(name) for name in option.names)
        value = f' \\fI{roff.escaped(option.value)}\\fP' if option.value else ''
        lines += ['.TP', names + value, roff.line(option.text)]
    return lines


def section_lines(section):
    """A part of the help: options as a list, everything else as it reads."""
    options = help_text.options_of(section)
    if not options:
        text = [f'{section.title}:', ''] if section.title else []
        return roff.paragraphs(text + section.lines)
    return option_items(options)


def command_lines(command, common):
    lines = [f'.SS {roff.escaped(command.name)}', '.PP', roff.bold(command.help.usage)]
    for section in command.help.sections:
        if section.title != common:
            lines += section_lines(section)
    return lines


def page(program, name, summary, version, see_also, extra):
    whole = help_text.read(program, '--help')
    common = 'Options of every command'
    lines = roff.heading(name.upper(), 1, version)
    lines += ['.SH NAME', f'{roff.escaped(name)} \\- {roff.escaped(summary)}']
    lines += ['.SH SYNOPSIS', roff.bold(whole.usage), '.SH DESCRIPTION']
    lines += roff.paragraphs(whole.sections[0].lines)
    for title, commands in help_text.commands(program):
        lines.append(f'.SH {roff.escaped(title.upper() or "COMMANDS")}')
        for command in commands:
            lines += command_lines(command, common)
    for section in whole.sections:
        if help_text.options_of(section):
            lines += [f'.SH {roff.escaped(section.title.upper())}'] + section_lines(section)
    lines += extra + ['.SH EXIT STATUS']
    lines += roff.paragraphs([text for section in whole.sections for text in section.lines
                              if EXIT_CODES in '\n'.join(section.lines)])
    return lines + ['.SH SEE ALSO', see_also]


def faults(orx_sim):
    listed = subprocess.run([orx_sim, 'faults'], check=True, stdout=subprocess.PIPE, text=True)
    return ['.SH FAULTS'] + roff.example(listed.stdout.rstrip('\n').split('\n'))


def main(orx, orx_sim, version, folder):
    pages = {
        'orx': page(orx, 'orx', 'use and test the secure hardware of an Android device', version,
                    '.BR orx\\-sim (1),\n.BR orx (3)', []),
        'orx-sim': page(orx_sim, 'orx-sim',
                        'make simulated Android devices and run programs inside', version,
                        '.BR orx (1)', faults(orx_sim)),
    }
    for name, lines in pages.items():
        roff.write(folder, name, 1, lines)


if __name__ == '__main__':
    main(*sys.argv[1:])
