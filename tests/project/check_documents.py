#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs what README.md, CONTRIBUTING.md and docs/*.md show, exactly as written: each page in a fresh
folder that looks like a clone after ./dev build, with the build's programs on PATH.

  indented, or fenced as sh    commands; each must succeed
  fenced as console            commands after "$ ", then what each prints; "..." stands for any text,
                               and seconds may be others
  <!-- file: NAME -->          before a block: its content is the file NAME of that folder
  <!-- not run: REASON -->     before a block: left out, as it needs a device, root or a whole build
  <!-- run: COMMAND -->        a command that readers need not see

No other kind of block passes. Compares generated tables and pictures with their sources, too.
usage: check_documents.py SOURCE_FOLDER BUILD_FOLDER"""
import concurrent.futures, glob, hashlib, os, re, subprocess, sys, tempfile

ROOT, BUILD = (os.path.realpath(path) for path in sys.argv[1:3])
PRELUDE = '''set -eu
cc() { command cc -std=c11 -Wall -Wextra -Wpedantic -Werror "$@"; }
c++() { command c++ -std=c++17 -Wall -Wextra -Wpedantic -Werror "$@"; }
'''
# Of ./dev the demo alone, as after a build.
DEV = f"""#!/bin/sh
[ "$1" = demo ] && cd '{ROOT}' && exec scripts/demo.sh '{os.path.relpath(BUILD, ROOT)}'
"""
BLOCK = re.compile(r'''^\ *<!--\ (?P<mark>file|not\ run|run):\ (?P<value>.*)\ -->$
    |^(?P<indent>\ *)```(?P<language>.*)\n(?P<fenced>(?:.*\n)*?)(?P=indent)```$
    |(?<=\n\n)(?P<indented>(?:\ {4}.*\n)+)''', re.M | re.X)


def steps(text, folder):
    """Yields (line number, commands, output or None), and writes the files."""
    mark = None
    for match in BLOCK.finditer(text):
        number = text.count('\n', 0, match.start()) + 1
        if mark and text[mark.end():match.start()].strip() or mark and match['mark']:
            raise ValueError(f'{number}: no block behind {mark[0].strip()}')
        if match['mark'] == 'run':
            yield number, match['value'], None
        elif match['mark']:
            mark = match
        else:
            body = match['indented'] or match['fenced']
            indent = re.match(' *', body)[0] if match['indented'] else match['indent']
            body = re.sub('^' + indent, '', body, flags=re.M)
            if mark and mark['mark'] == 'file':
                with open(f'{folder}/{mark["value"]}', 'x', encoding='utf-8') as file:
                    file.write(body)
            elif not mark and match['language'] == 'console':
                for part in re.split(r'^\$ ', body, flags=re.M)[1:]:
                    command, shown = re.fullmatch(r'(.*\n(?:> .*\n)*)((?:.*\n)*)', part).groups()
                    yield number, command.replace('\n> ', '\n'), shown.strip()
            elif not mark and match['language'] in (None, 'sh'):
                yield number, body, None
            elif not mark:
                raise ValueError(f'{number}: a block of "{match["language"]}" that nothing runs')
            mark = None


def same(shown, printed):
    pattern = re.escape(shown).replace(r'\.\.\.', '.*')
    pattern = re.sub(r'(\\ )+\d+\\\.\d\d\b', r' +\\d+\\.\\d\\d', pattern)
    return re.fullmatch(pattern, re.sub(r' +$', '', printed, flags=re.M).strip(), re.S)


def run_page(name, text):
    """Runs the page; returns what is wrong with it."""
    with tempfile.TemporaryDirectory() as folder:
        for entry in set(os.listdir(ROOT)) - {'build', 'dev', '.git'}:
            os.symlink(f'{ROOT}/{entry}', f'{folder}/{entry}')
        os.makedirs(f'{folder}/.output')
        os.makedirs(f'{folder}/build')
        os.symlink(BUILD, f'{folder}/build/host')
        with open(f'{folder}/dev', 'w', encoding='utf-8') as file:
            file.write(DEV)
        os.chmod(f'{folder}/dev', 0o755)
        try:
            plan = list(steps(text, folder))
        except ValueError as error:
            return [f'{name}:{error}']
        script = PRELUDE + ''.join(f'exec >"$OUTPUT/{i}" 2>&1\n{commands}\n'
                                   for i, (_, commands, _) in enumerate(plan))
        environment = {'HOME': folder, 'OUTPUT': f'{folder}/.output', 'LC_ALL': 'C.UTF-8',
                       'PATH': f'{BUILD}/bin:{os.environ["PATH"]}'}
        code = subprocess.run(['bash', '-c', script], cwd=folder, env=environment,
                              stdin=subprocess.DEVNULL).returncode
        begun = len(os.listdir(f'{folder}/.output'))
        faults = [f'{name}: exit code {code}'] if code else []
        for i, (number, commands, shown) in enumerate(plan[:begun]):
            with open(f'{folder}/.output/{i}', encoding='utf-8', errors='replace') as file:
                printed = file.read()
            if (code and i == begun - 1) or (shown is not None and not same(shown, printed)):
                faults.append(f'{name}:{number}: fails, or prints otherwise:\n{commands}\n{printed}')
        return faults


def read(path):
    with open(f'{ROOT}/{path}', encoding='utf-8') as file:
        return file.read()


def stale(page, text):
    """What the page refers to and is not there or not up to date."""
    folder = f'./{os.path.dirname(page)}'
    for target in re.findall(r'\]\(([^)#:]+)(?:#[^)]*)?\)', text):
        if not os.path.exists(f'{ROOT}/{folder}/{target}'):
            yield f'{page}: no such file: {target}'
        elif re.search('pictures/.*[.]svg$', target):
            source = read(f'{folder}/{target[:-4]}.dot') + read('docs/pictures/dark.css')
            if hashlib.sha256(source.encode()).hexdigest() not in read(f'{folder}/{target}'):
                yield f'{page}: {target} was drawn from something else; ./dev docs draws it'
    commands = re.findall(r'^  ([a-z-]+) ', read('dev'), flags=re.M)
    for command in set(re.findall(r'\./dev ([a-z-]+)', text)) - set(commands):
        yield f'{page}: ./dev has no command {command}'


def main():
    os.chdir(ROOT)
    pages = {page: read(page) for page in ('README.md', 'CONTRIBUTING.md', *glob.glob('docs/*.md'))}
    wrong = '```console\n$ echo one\ntwo\n$ false\n$ true\n```\n'
    with concurrent.futures.ThreadPoolExecutor() as pool:
        faults = sum(pool.map(run_page, pages, pages.values()), [])
    if len(run_page('wrong', wrong)) != 3 or len(run_page('wrong', '```c\n```\n')) != 1:
        faults.append('this check passes what is wrong')
    faults += [fault for page, text in pages.items() for fault in stale(page, text)]
    for writer in (['android/needs.py', '--check'],
                   ['scripts/reason_tables.py', '--check', f'{BUILD}/bin/orx']):
        done = subprocess.run([sys.executable, *writer], capture_output=True, text=True)
        faults += [done.stderr] if done.returncode else []
    print('\n\n'.join(faults) or f'{len(pages)} pages work as written')
    return len(faults) > 0


if __name__ == '__main__':
    sys.exit(main())
