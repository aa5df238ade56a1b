#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the completion of the command lines of orx and orx-sim, for bash and for zsh, of what the
programs say of themselves.
usage: completion.py ORX ORX_SIM FOLDER"""
import os
import re
import subprocess
import sys
from dataclasses import dataclass

import help_text

# What may stand in a place of a command line: one of some words, or what a shell finds out.
FILES, FOLDERS, PROFILES, COMMAND_LINE, ANYTHING = 'files', 'folders', 'profiles', 'command', ''


@dataclass
class Line:
    name: str
    summary: str
    options: list   # (names, value: FILES... or [word...], text); value None: a flag
    operands: object


def choices(text):
    """The words of "raw, hex or base64 (default: raw)"."""
    bare = re.sub(r' \([^)]*\)', '', text)
    return re.split(', | or ', bare) if re.fullmatch(r'[\w-]+(, [\w-]+)* or [\w-]+', bare) else []


def option_value(option):
    if not option.value:
        return None
    kinds = {'FILE': FILES, 'DIR': FOLDERS}
    if '--profile' in option.names:
        return PROFILES
    return kinds.get(option.value) or choices(option.text) or ANYTHING


def operands(command, facts):
    if '[--] COMMAND' in command.help.usage:
        return COMMAND_LINE
    usage = re.sub(r' \[(OPTION|--[^\]]*)\](\.\.\.)?', '', command.help.usage)
    shown = usage.split(' ', 1 + len(command.name.split()))[1 + len(command.name.split()):]
    words = shown[0].strip('[.]').split(' ') if shown else ['']
    first = words[0].strip('[].')
    kinds = {'FILE': FILES, 'DIR': FOLDERS}
    if first in kinds:
        return kinds[first]
    words = first.split('|') if re.fullmatch(r'[a-z0-9|]+', first) else ANYTHING
    return facts.get(first) or words


def lines_of(program, facts):
    lines = []
    for _, commands in help_text.commands(program):
        for command in commands:
            summary = re.split(r'[.:,;] |\.$', ' '.join(command.help.sections[0].lines))[0]
            options = command.help.options()
            for name, value in re.findall(r'\[(--\w+) ([A-Z]+)\]', command.help.usage):
                options.append(help_text.Option([name], value, value.lower()))
            if not any('--help' in option.names for option in options):
                options.append(help_text.Option(['--help'], '', 'show this help'))
            lines.append(Line(command.name, summary,
                              [(option.names, option_value(option), option.text)
                               for option in options], operands(command, facts)))
    return lines


def firsts(lines):
    """First words, each with its second words."""
    tree = {}
    for line in lines:
        first, *second = line.name.split()
        tree.setdefault(first, []).extend(second)
    return tree


def bash_value(value):
    if isinstance(value, list):
        return f'_orx_words {" ".join(value)}'
    return {FILES: 'compopt -o default', FOLDERS: 'compopt -o dirnames',
            PROFILES: '_orx_words $("$1" profiles 2>/dev/null)',
            COMMAND_LINE: '_orx_command_line', ANYTHING: ':'}[value]


BASH_HELPERS = r'''
_orx_words() { mapfile -t COMPREPLY < <(compgen -W "$*" -- "${COMP_WORDS[COMP_CWORD]}"); }

# The command behind the options of orx-sim run.
_orx_command_line() {
  local i
  for ((i = 2; i < COMP_CWORD; i++)); do
    [[ ${COMP_WORDS[i]} == -- ]] && break
  done
  if declare -F _command_offset >/dev/null && ((i + 1 <= COMP_CWORD)); then
    _command_offset $((i + 1))
  else
    mapfile -t COMPREPLY < <(compgen -c -- "${COMP_WORDS[COMP_CWORD]}")
    compopt -o default
  fi
}
'''


def bash(name, lines, standalone):
    valued = sorted({option for line in lines for names, value, _ in line.options
                     if value is not None for option in names})
    tree = firsts(lines)
    function = '_' + name.replace('-', '_')
    takes_value = f'" {" ".join(valued)} " == *" ${{COMP_WORDS[i-1]}} "*'
    out = [f'# bash completion of {name}, made from its help', BASH_HELPERS.strip(), '',
           f'{function}() {{',
           '  local previous=${COMP_WORDS[COMP_CWORD-1]} i',
           '  local -a words=()',
           '  COMPREPLY=()',
           '  for ((i = 1; i < COMP_CWORD; i++)); do',
           '    [[ ${COMP_WORDS[i]} == -- ]] && break',
           f'    [[ ${{COMP_WORDS[i]}} == -* || {takes_value} ]] ||',
           '      words+=("${COMP_WORDS[i]}")',
           '  done',
           '  case "${words[0]-}" in',
           f"    '') _orx_words {' '.join(list(tree) + standalone)}; return ;;"]
    for first, seconds in tree.items():
        if seconds:
            out.append(f'    {first}) ((${{#words[@]}} > 1)) || '
                       f'{{ _orx_words {" ".join(seconds)}; return; }} ;;')
    out += ['  esac', '  case "${words[0]} ${words[1]-} " in']
    for line in lines:
        flags = ' '.join(names[-1] for names, _, _ in line.options)
        cases = [f'        {"|".join(names)}) {bash_value(value)}; return ;;'
                 for names, value, _ in line.options if value is not None]
        out.append(f"    '{line.name} '*)")
        out += ['      case $previous in'] + cases + ['      esac'] if cases else []
        out += [f'      [[ ${{COMP_WORDS[COMP_CWORD]}} == -* ]] && '
                f'{{ _orx_words {flags}; return; }}',
                f'      {bash_value(line.operands)} ;;']
    return '\n'.join(out + ['  esac', '}', f'complete -F {function} {name}']) + '\n'


def zsh_value(value, what):
    if isinstance(value, list):
        return f':{what}:({" ".join(value)})'
    return {FILES: f':{what}:_files', FOLDERS: f':{what}:_files -/',
            PROFILES: f':{what}:($(orx-sim profiles 2>/dev/null))', ANYTHING: f':{what}: '}[value]


def zsh_text(text):
    return re.sub(r"([\[\]:\\])", r'\\\1', text).replace("'", "'\\''")


def zsh_arguments(line):
    arguments = []
    for names, value, text in line.options:
        argument = '' if value is None else zsh_value(value, names[-1].strip('-'))
        for option in names:
            others = f'({" ".join(names)})' if len(names) > 1 else ''
            arguments.append(f"'{others}{option}[{zsh_text(text)}]{argument}'")
    if line.operands == COMMAND_LINE:
        return arguments + ["'*::command:_normal'"]
    return arguments + [f"'*{zsh_value(line.operands, 'operand')}'"]


def zsh(name, lines, standalone):
    tree = firsts(lines)
    function = '_' + name
    summaries = {line.name: zsh_text(line.summary) for line in lines}

    def described(names, prefix=''):
        shown = [f"'{word}:{summaries.get(prefix + word, 'a group of commands')}'"
                 for word in names]
        return f"local -a found=({' '.join(shown)}); _describe command found"

    flags = ' '.join(option for option in standalone if option.startswith('-'))
    out = [f'#compdef {name}', f'# zsh completion of {name}, made from its help',
           f'{function}() {{',
           '  while [[ $CURRENT -gt 2 && $words[2] == -* ]]; do',
           '    [[ $words[2] == --timeout ]] && { shift words; ((CURRENT--)); }',
           '    shift words; ((CURRENT--))', '  done',
           '  if ((CURRENT == 2)); then',
           f'    [[ $words[2] == -* ]] && {{ compadd -- {flags}; return; }}',
           f'    {described(tree)}; return', '  fi',
           '  shift words; ((CURRENT--))', '  local command=$words[1]', '  case $command in']
    for first, seconds in tree.items():
        if seconds:
            out += [f'    {first})',
                    f'      ((CURRENT > 2)) || {{ {described(seconds, first + " ")}; return; }}',
                    '      shift words; ((CURRENT--))', '      command+=" $words[1]" ;;']
    out += ['  esac', '  case $command in']
    for line in lines:
        arguments = ' \\\n        '.join(zsh_arguments(line))
        out.append(f"    '{line.name}')")
        if line.operands == COMMAND_LINE:
            out += ['      local -i ends=${words[(i)--]}',
                    '      if ((ends < CURRENT)); then',
                    '        shift $ends words; ((CURRENT -= ends)); _normal; return', '      fi']
        out.append(f'      _arguments -s -S \\\n        {arguments} ;;')
    return '\n'.join(out + ['  esac', '}', f'{function} "$@"']) + '\n'


def facts_of(orx):
    """What stands for ID and CODE, from the texts that list them."""
    ids = re.search(r'The ids are ([\d, and]+)', '\n'.join(
        text for section in help_text.read(orx, 'key', 'import', '--help').sections
        for text in section.lines))
    codes = subprocess.run([orx, 'explain'], check=True, stdout=subprocess.PIPE, text=True).stdout
    return {'ID': re.findall(r'\d+', ids.group(1)),
            'CODE|MESSAGE': re.findall(r'^ *([A-Z][A-Z0-9_-]+) ', codes, re.M)}


def main(orx, orx_sim, folder):
    os.makedirs(folder, exist_ok=True)
    for name, program, facts in (('orx', orx, facts_of(orx)), ('orx-sim', orx_sim, {})):
        lines = lines_of(program, facts)
        standalone = [option.names[-1] for option in help_text.read(program, '--help').options()]
        for path, text in ((name, bash(name, lines, standalone)),
                           (f'_{name}', zsh(name, lines, standalone))):
            with open(os.path.join(folder, path), 'w', encoding='utf-8') as file:
                file.write(text)


if __name__ == '__main__':
    main(*sys.argv[1:])
