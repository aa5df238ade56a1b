#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares android/needs.def with the library's exports, with what the library does in a simulated
device and with the files that it names; and android/imports.txt with the library's objects and
Android.bp. Then checks itself on damaged copies of both tables.
usage: check_needs.py SOURCE_FOLDER BUILD_FOLDER"""
import fnmatch, functools, os, re, subprocess, sys

ROOT, BUILD = (os.path.realpath(path) for path in sys.argv[1:3])
sys.path.insert(0, f'{ROOT}/android')
import needs  # noqa: E402
from damages import verdict  # noqa: E402

# Between them the devices take every branch: one that launched before level 34, one after.
PROFILES = ('single-sim', 'dual-sim')


@functools.cache
def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def read(path):
    with open(f'{ROOT}/{path}', encoding='utf-8') as file:
        return file.read()


def symbols(path, *options):
    return {line.split()[-1] for line in output('nm', *options, path).splitlines() if ' ' in line}


def demangled(names):
    names = sorted(names)
    return dict(zip(names, output('c++filt', *names).splitlines()))


def record():
    """The objects that each call asked for, and all of them."""
    seen = {}
    for profile in PROFILES:
        for line in output(f'{BUILD}/bin/orx-sim', 'run', '-q', '--profile', profile, '--',
                           f'{BUILD}/tests/needs_recorder').splitlines():
            call, kind, name = line.split('\t')
            seen.setdefault(call, set()).update({(kind, name)} if kind != 'called' else ())
    return seen


def unlike_exports(calls, exports):
    for name in demangled(exports).values():
        if not any(fnmatch.fnmatchcase(name, call) for call in calls):
            yield f'{name} is exported and not in the table'
    for call in calls:
        if not any(fnmatch.fnmatchcase(name, call) for name in demangled(exports).values()):
            yield f'{call} is in the table and not exported'


def unlike_record(resources, calls, seen):
    unseen = {(r.kind, o) for r in resources.values() for o in r.objects}
    if set(calls) != set(seen):
        yield f'called and in the table differ: {set(calls) ^ set(seen)}'
    for call, ids in calls.items():
        found = set()
        for kind, name in seen.get(call, ()):
            match = [(r.id, o) for r in resources.values() for o in r.objects
                     if r.kind == kind and fnmatch.fnmatchcase(name, o)]
            if not match:
                yield f'{call}: the {kind} {name} is no resource of the table'
            found.update(i for i, _ in match)
            unseen -= {(kind, o) for _, o in match}
        if found != set(ids):
            yield f'{call}: table and device differ: {found ^ set(ids)}'
    for kind, name in unseen:
        yield f'no call uses the {kind} {name}'


def unlike_files(resources):
    """What the table says of our own files must be in them."""
    words = {}
    for r in resources.values():
        for file, wanted in ((r.file, r.line), (r.label_file, r.label)):
            if not file.startswith('android/'):
                continue
            words.setdefault(file, [' '.join(line.split()) for line in read(file).splitlines()])
            if wanted not in words[file]:
                yield f'{r.id}: {file} has no line {wanted}'
        if r.macro and not any(f'define(`{r.macro}\'' in read(f'android/sepolicy/{folder}te_macros')
                               for folder in ('', 'modem/')):
            yield f'{r.id}: there is no macro {r.macro}'
    groups = re.search(r'^ +group (.*)$', read('android/orx.rc'), re.M)[1].split()
    if set(groups) != {r.group for r in resources.values()} - {''}:
        yield 'the groups of the service in orx.rc are not those of the table'


def unlike_imports(lines, imports, recorder):
    used = set()
    names = demangled(imports)
    for name in names.values():
        match = [line for line in lines if fnmatch.fnmatchcase(name, line.split()[0])]
        used.update(match)
        if not match:
            yield f'{name} is taken from others and not in android/imports.txt'
    linked = re.findall(r'"([^"]+)"', re.search(r'"orx_platform_defaults",\s+shared_libs: (.*?)\n}',
                                                read('Android.bp'), re.S)[1] +
                        re.search(r'^orx_cbor_libs = (.*)$', read('Android.bp'), re.M)[1])
    for line in lines:
        symbol, module, *recorded = line.split()
        if line not in used:
            yield f'android/imports.txt: nothing takes {symbol}'
        if module not in linked and module not in ('libc', 'libc++', 'linker'):
            yield f'android/imports.txt: liborx does not link {module}'
        if recorded and symbol not in recorder:
            yield f'{symbol} reaches out of the process; needs_recorder does not record it'


def table_lines(text):
    return [line for line in text.splitlines() if line and not line.startswith('#')]


def main():
    library = f'{BUILD}/lib/liborx.so'
    archive = f'{BUILD}/lib/liborx_static.a'
    imports = symbols(archive, '-u') - symbols(archive, '--defined-only')
    recorder = symbols(f'{BUILD}/tests/needs_recorder', '-D', '--defined-only')
    exports = symbols(library, '-D', '--defined-only')
    seen = record()

    def faults(table_path, lines):
        resources, calls = needs.read_table(table_path)
        return [*unlike_exports(calls, exports), *unlike_record(resources, calls, seen),
                *unlike_files(resources), *unlike_imports(lines, imports, recorder)]

    table, lines = read('android/needs.def'), table_lines(read('android/imports.txt'))
    damages = [('CALL("ORX_HASH", "")\n', ''), ('CALL("ORX_HASH"', 'CALL("ORX_CASH"'),
               ('CALL("ORX_HASH", "")', 'CALL("ORX_HASH", "serial")'),
               ('CALL("ORX_get_serial", "serial")', 'CALL("ORX_get_serial", "")'),
               ('ro.vendor.boot.serialno"', 'ro.boot.serialno"'),
               ('ro.product.brand ', 'ro.product.brand ro.product.colour '),
               ('0770 system system', '0777 system system'), ('"radio"', '"inet"'),
               ('hal_keymint_service:s0', 'hal_keymint:s0'),
               ('"orx_modem_client"', '"orx_modem_user"')]

    def trials():
        for old, new in damages:
            damaged = f'{BUILD}/tests/damaged_needs.def'
            with open(damaged, 'w', encoding='utf-8') as file:
                file.write(table.replace(old, new))
            yield old, table.replace(old, new) != table and faults(damaged, lines)
        for other in ([x for x in lines if not x.startswith('unlink ')], [*lines, 'system libc'],
                      [x.replace('libcutils', 'libutils') for x in lines],
                      [x.replace('malloc libc', 'malloc libc recorded') for x in lines]):
            yield set(other) ^ set(lines), list(unlike_imports(other, imports, recorder))

    return verdict(faults(f'{ROOT}/android/needs.def', lines), trials())


sys.exit(main())
