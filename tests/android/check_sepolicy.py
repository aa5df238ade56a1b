#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compiles android/sepolicy as the platform's build does (m4, checkpolicy, secilc, neverallows on)
on a small base of our own, together with what needs.def says the callers must be allowed: a type
bounded by each domain holds that, so that a missing permission is a compiler's error. Then checks
itself: without any one of its rules the policy must not compile, nor with what the platform
forbids.
usage: check_sepolicy.py SOURCE_FOLDER"""
import glob, os, re, subprocess, sys, tempfile

ROOT = os.path.realpath(sys.argv[1])
sys.path.insert(0, f'{ROOT}/android')
import needs  # noqa: E402
from damages import read, verdict  # noqa: E402

PLATFORM = os.path.join(os.path.dirname(os.path.realpath(__file__)), 'platform')
FOLDERS = ('android/sepolicy', 'android/sepolicy/modem', 'android/sepolicy/strongbox')
CONTEXTS = {'file_contexts': 'file', 'service_contexts': 'service'}
VARIANTS = ('user', 'userdebug')


def policy_files():
    """The texts of our policy by path: macros first, as the build orders them."""
    paths = [path for folder in FOLDERS for path in sorted(glob.glob(f'{folder}/*', root_dir=ROOT))]
    return {path: read(f'{ROOT}/{path}') for path in paths if os.path.isfile(f'{ROOT}/{path}')}


def label(files, kind, name):
    """The type that our contexts files, or else the platform's, give an object."""
    kind = 'file' if kind == 'socket' else kind
    for path, text in files.items():
        if CONTEXTS.get(os.path.basename(path)) != kind:
            continue
        for line in text.splitlines():
            if line.strip() and not line.startswith('#'):
                pattern, context = line.split()
                pattern = pattern if kind == 'file' else re.escape(pattern)
                if re.fullmatch(pattern, name):
                    return re.fullmatch('u:object_r:(\\w+):s0', context)[1]
    best = ('', '')
    for line in read(f'{PLATFORM}/contexts').splitlines():
        if line.startswith(kind):
            _, match, pattern, label_type = line.split()
            matches = name == pattern if match == 'exact' else name.startswith(pattern)
            best = max(best, (pattern, label_type)) if matches else best
    return best[1]


def required_for(files, domain, resource):
    """What a domain must be allowed for a resource: source, target, class, permissions."""
    for name in resource.objects:
        target = label(files, resource.kind, name.replace('*', '0'))
        if resource.kind == 'service':
            yield domain, target, 'service_manager', 'find'
            yield domain, 'servicemanager', 'binder', 'call transfer'
            yield 'servicemanager', domain, 'binder', 'transfer'
            yield domain, 'hal_keymint_default', 'binder', 'call transfer'
        elif resource.kind == 'file':
            folder = label(files, 'file', os.path.dirname(name))
            yield domain, label(files, 'file', '/mnt/vendor/persist'), 'dir', 'search'
            yield domain, folder, 'dir', 'search write add_name remove_name'
            yield domain, target, 'file', 'create open read write getattr unlink'
        elif resource.kind == 'socket':
            yield domain, target, 'sock_file', 'write'
            yield domain, 'rild', 'unix_stream_socket', 'connectto'
        else:
            yield domain, target, 'file', 'getattr open read map'


def required(files, resources, variant):
    for resource in resources.values():
        yield from required_for(files, 'orx', resource)
        if resource.macro:
            yield from required_for(files, f'caller_of_{resource.macro}', resource)
    # The tool is started by init, and from a shell where the build is no user's.
    program = label(files, 'file', '/vendor/bin/orx')
    yield 'orx', program, 'file', 'entrypoint'
    for starter in ('init', 'shell') if variant == 'userdebug' else ('init',):
        yield starter, program, 'file', 'execute'
        yield starter, 'orx', 'process', 'transition'
    if variant == 'userdebug':
        yield 'orx', 'devpts', 'chr_file', 'read write'
        yield 'orx', 'adbd', 'fd', 'use'
        yield 'orx', 'shell', 'fd', 'use'
        yield 'orx', 'adbd', 'unix_stream_socket', 'read write'


def documented_rules():
    """The lines that docs/android.md tells an integrator to write, for a daemon of the device."""
    lines = re.findall(r'`((?:allow|domain_auto_trans|orx_\w+_client)\b[^`]*[;)])`',
                       read(f'{ROOT}/docs/android.md'))
    text = '\n'.join(sorted(set(lines)))
    assert len(text.splitlines()) >= 6, 'the lines of docs/android.md were not recognised'
    return re.sub('THAT_TYPE', 'mnt_vendor_file', re.sub('DOMAIN', 'daemon', text)) + '\n'


def policy_text(files, resources, variant):
    macros = ''.join(t for p, t in files.items() if p.endswith('/te_macros'))
    rules = ''.join(t for p, t in files.items() if p.endswith('.te'))
    callers = ''.join(f'type caller_of_{m}, domain;\n{m}(caller_of_{m})\n'
                      for m in sorted({r.macro for r in resources.values()} - {''}))
    callers += f'type daemon, domain;\n{documented_rules()}'
    needed = sorted(set(required(files, resources, variant)))
    bounds = ''.join(f'type {s}_needs;\ntypebounds {s} {s}_needs;\n'
                     for s in sorted({n[0] for n in needed}))
    bounds += ''.join(f'allow {s}_needs {t}:{c} {{ {p} }};\n' for s, t, c, p in needed)
    # The callers' files may come before ours: nobody promises an order of folders.
    return (read(f'{PLATFORM}/macros') + macros + read(f'{PLATFORM}/base.te') + callers + rules +
            bounds + read(f'{PLATFORM}/tail'))


def compile_policy(files, resources, variant, folder):
    """Returns what the compilers object to, or an empty text."""
    steps = [('m4', '--fatal-warnings', '-D', f'target_build_variant={variant}', '-s', 'all'),
             ('checkpolicy', '-C', '-c', '30', '-o', 'all.cil', 'all.conf'),
             ('secilc', '-G', '-c', '30', 'all.cil', '-o', '/dev/null', '-f', '/dev/null')]
    with open(f'{folder}/all', 'w', encoding='utf-8') as file:
        file.write(policy_text(files, resources, variant))
    for step in steps:
        done = subprocess.run(step, cwd=folder, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            return f'{variant}: {step[0]}: {(done.stderr or done.stdout).strip()}'
        if step[0] == 'm4':
            with open(f'{folder}/all.conf', 'w', encoding='utf-8') as file:
                file.write(done.stdout)
    return ''


def objections(files, resources, folder):
    for path, text in files.items():
        if not text.endswith('\n'):
            return f'{path}: does not end in a line end, and would swallow the next file'
    for variant in VARIANTS:
        objection = compile_policy(files, resources, variant, folder)
        if objection:
            return objection
    return ''


RULE = re.compile(r'^ *(?:(?:type|allow)\b[^;]*;|\w+\([^`\'\n]*\)|[/a-z][^ `\n]* +u:object_r:.*)\n',
                  re.M)
FORBIDDEN = [
    'get_prop(orx, serialno_prop)',
    'typeattribute orx coredomain;',
    'allow orx system_data_file:file write;',
    'allow orx system_file:file execute_no_trans;',
    'allow orx hal_keymint_service:service_manager add;',
    'allow orx logd_socket:sock_file create;',
    'allow orx system_file:file entrypoint;',
    'type other, domain; binder_use(other) allow other hal_keymint_service:service_manager find;',
    'type other, domain, coredomain; orx_storage_client(other)',
    'type other, domain, coredomain; orx_modem_client(other)',
]


def main():
    resources, _ = needs.read_table()
    files = policy_files()
    rules = [(path, rule) for path, text in files.items() for rule in RULE.finditer(text)]
    assert len(rules) >= 20, 'the rules of the policy were not recognised'
    with tempfile.TemporaryDirectory() as folder:
        def objections_with(path, text):
            return objections({**files, path: text}, resources, folder)

        def trials():
            for path, rule in rules:
                text = files[path][:rule.start()] + files[path][rule.end():]
                yield f'{path} without {rule[0].strip()}', objections_with(path, text)
            path = 'android/sepolicy/modem/orx_modem.te'
            for rule in FORBIDDEN:
                yield rule, 'neverallow' in objections_with(path, f'{files[path]}{rule}\n')

        objection = objections(files, resources, folder)
        return verdict([objection] if objection else [], trials())


sys.exit(main())
