#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks Android.bp: its grammar (bpfmt, the platform's own parser), modules, properties and their
types, files, refused flags, and that sources and flags are those of the CMake build. Then checks
itself: each damaged copy of the file must be found faulty.
usage: check_blueprint.py SOURCE_FOLDER COMPILE_COMMANDS_JSON
       check_blueprint.py SOURCE_FOLDER    lists the tests and fuzzers: TYPE NAME SOURCE..."""
import glob, os, re, shlex, subprocess, sys

sys.path.insert(0, os.path.join(sys.argv[1], 'scripts'))

from compile_commands import compile_commands
from damages import read, verdict

# The properties by module type; a letter tells the type of the value.
TYPES = {'b': bool, 's': str, 'l': list, 'm': dict}
CC = '''name:s defaults:l vendor:b compile_multilib:s srcs:l cflags:l cppflags:l ldflags:l cpp_std:s
    rtti:b local_include_dirs:l export_include_dirs:l header_libs:l shared_libs:l static_libs:l
    whole_static_libs:l export_shared_lib_headers:l export_static_lib_headers:l init_rc:l required:l
    multilib:m '''
PROPERTIES = {
    'package': 'default_applicable_licenses:l default_visibility:l',
    'license': 'name:s license_kinds:l license_text:l',
    'soong_config_module_type': '''name:s module_type:s config_namespace:s value_variables:l
        bool_variables:l properties:l''',
    'orx_cc_defaults': CC + 'soong_config_variables:m', 'cc_defaults': CC, 'cc_library_static': CC,
    'cc_library_shared': CC + 'version_script:s', 'cc_binary': CC + 'stem:s symlinks:l',
    'cc_test': CC + 'gtest:b test_suites:l data:l',
    'cc_fuzz': CC + 'corpus:l data:l dictionary:s',
    'prebuilt_etc': 'name:s vendor:b src:s sub_dir:s filename:s'}
# The modules that Android 14 lets a vendor module link.
PLATFORM = set('''android.hardware.security.keymint-V3-ndk android.hardware.security.rkp-V3-ndk
    android.hardware.security.sharedsecret-V1-ndk libbase libbinder_ndk libcppbor_external
    libcppcose_rkp libcrypto libcutils libjsoncpp liblog libgmock'''.split())
# What Soong gives every vendor C++ module without being asked.
SOONG_FLAGS = set('''-fno-exceptions -fno-rtti -fstack-protector-strong -fvisibility-inlines-hidden
    -D_FORTIFY_SOURCE=2 -DNDEBUG -fPIC'''.split())
# What CMake calls a module; tests/android/CMakeLists.txt adds "android_" to those that are not here.
TARGETS = {'liborx_objects': ['orx_objects'], 'orx': ['orx_tool', 'orx_tool_parts']}
HOST_FLAGS = re.compile('-DGTEST_HAS_.*|-Ihost/include$|-Winvalid-pch$|'
                        '-f(pch-preprocess|PIE|(diagnostics|debug)-.*|.*-prefix-map.*)$')
REFUSED = {
    'cflags': re.compile(r'[^-]|-I|-isystem|-w$|-Weverything|--coverage|-fwhole-program-vtables|'
                         r'-target|(?!-include |-mllvm |-D\w+=).*\s'),
    'ldflags': re.compile(r'-l|-L|-Wl,--version-script|-T|--script|--coverage|(?!-z ).*\s')}
REFUSED['cppflags'] = REFUSED['cflags']
FOLDERS = ('local_include_dirs', 'export_include_dirs')
FILES = ('srcs', 'init_rc', 'data', 'corpus', 'src', 'version_script', 'dictionary', 'license_text')


def parse(text):
    """The modules, type and properties, of a text that bpfmt has accepted and formatted. What
    Android 14 has not (select, unset) is an unknown name."""
    text = re.sub(r'("(?:[^"\\\n]|\\.)*")|//.*', lambda m: m[1] or '', text)
    variables, modules = {'true': True, 'false': False, '__builtins__': {}}, []
    maps = text
    while blocks := re.findall(r'\{([^{}]*)\}', maps):
        for keys in (re.findall(r'^ *(\w+):', block, re.M) for block in blocks):
            if duplicates(keys):
                raise ValueError(f'{duplicates(keys)} twice in one map')
        maps = re.sub(r'\{[^{}]*\}', '', maps)
    for statement in re.split(r'\n(?=\w)', text.strip()):
        name, operator, value = re.fullmatch(r'(\w+) (\+?=|(?=\{))(.*)', statement, re.S).groups()
        # A value is one of Python's too, once its keys are in quotes.
        value = eval(re.sub(r'("(?:[^"\\]|\\.)*")|(\w+)(?=:)',
                            lambda m: m[1] or f'"{m[2]}"', value).strip(), variables)
        if not operator:
            modules.append((name, value))
        elif (name in variables) == (operator == '='):
            raise ValueError(f'variable {name} set twice, or added to before it is set')
        else:
            variables[name] = variables.get(name, type(value)()) + value
    return modules


def merged(properties, by_name):
    """The properties with those of the modules that `defaults` names in front."""
    result = {}
    defaults = [merged(by_name[name], by_name) for name in properties.get('defaults', [])]
    for part in [*defaults, properties]:
        for key, value in part.items():
            result[key] = result.get(key, []) + value if isinstance(value, list) else value
    return result


def expanded(paths, root):
    return [path for pattern in paths
            for path in (glob.glob(pattern, root_dir=root) if '*' in pattern else [pattern])]


def duplicates(items):
    return {i for i in items if items.count(i) > 1}


def with_headers(paths, root):
    """Returns the files and the project's own headers that they include."""
    seen, waiting = set(), list(paths)
    while waiting:
        path = waiting.pop()
        if path not in seen and os.path.isfile(f'{root}/{path}'):
            seen.add(path)
            waiting += re.findall(r'^#include "(.*)"', read(f'{root}/{path}'), re.M)
    return seen


def check_modules(modules, root):
    names = [p['name'] for _, p in modules if 'name' in p]
    by_name = {p['name']: p for _, p in modules if 'name' in p}
    for name in duplicates(names):
        yield f'two modules {name}'
    for kind, own in modules:
        who = f'{kind} {own.get("name", "")}'.strip()
        if kind not in PROPERTIES:
            yield f'unknown module type {kind}'
            continue
        if 'name' not in own and kind != 'package':
            yield f'{who} has no name'
        known = dict(pair.split(':') for pair in PROPERTIES[kind].split())
        for key, value in own.items():
            if key not in known or type(value) is not TYPES[known[key]]:
                yield f'{who}: {key} is unknown or of the wrong type'
        unknown = [d for d in own.get('defaults', []) if d not in by_name]
        if unknown:
            yield f'{who}: no defaults {unknown}'
            continue
        whole = merged(own, by_name)
        linked = {k: whole.get(k, []) for k in ('shared_libs', 'static_libs', 'whole_static_libs')}
        for library in sum(linked.values(), []):
            if library not in PLATFORM and library not in by_name:
                yield f'{who} links {library}, which a vendor module cannot'
        for key in ('srcs', 'required', *linked):
            if duplicates(expanded(whole.get(key, []), root)):
                yield f'{who}: {key} has {duplicates(expanded(whole[key], root))} twice'
        for library in whole.get('export_shared_lib_headers', []):
            if library not in linked['shared_libs']:
                yield f'{who} exports the headers of {library} without linking it'
        for path in sorted(with_headers(expanded(whole.get('srcs', []), root), root)):
            if '#include <android_host/' in read(f'{root}/{path}'):
                yield f'{who}: {path} includes a header that only the stand-ins have'
        for required in whole.get('required', []) + own.get('default_applicable_licenses', []):
            if required not in by_name:
                yield f'{who}: there is no module {required}'
        if kind.startswith('cc_') and kind != 'cc_defaults':
            if whole.get('vendor') is not True or 'cpp_std' not in whole:
                yield f'{who} is not a vendor module of a stated C++ standard'
        for key in FILES + FOLDERS:
            paths = own.get(key, [])
            paths = [paths] if isinstance(paths, str) else paths
            for path in [p for pattern in paths for p in expanded([pattern], root) or [pattern]]:
                exists = os.path.isdir if key in FOLDERS else os.path.isfile
                if path.startswith('/') or '..' in path.split('/') or not exists(f'{root}/{path}'):
                    yield f'{who}: {key} names {path}, which is not there'
        for key, refused in REFUSED.items():
            for flag in own.get(key, []):
                if refused.match(flag):
                    yield f'{who}: Soong refuses {flag!r} in {key}'


def compare_with_cmake(modules, root, commands):
    by_name = {p['name']: p for _, p in modules if 'name' in p}
    for name in by_name:
        whole = merged(by_name[name], by_name)
        if 'srcs' not in whole:
            continue
        built = {}
        for command in commands:
            target = re.search(r' -o \S*/([^/]+)\.dir/', command['command'])[1]
            precompiled = 'cmake_pch' in command['file']
            if target in TARGETS.get(name, [f'android_{name}']) and not precompiled:
                path = os.path.relpath(command['file'], root)
                text = command['command'].replace(f'-I{root} ', '-I. ').replace(f'-I{root}/', '-I')
                built[path] = set(shlex.split(text)) - {'-Werror=format-security'}
        sources = set(expanded(whole['srcs'], root))
        if sources != set(built) or not built:
            yield f'{name}: sources differ from CMake: {sources ^ set(built)}'
            continue
        own = {*whole.get('cflags', []), *whole.get('cppflags', []), f'-std={whole.get("cpp_std")}'}
        own = {flag for flag in own if not flag.startswith('-Wno-error=')}
        linked = [by_name[library] for key in ('shared_libs', 'static_libs')
                  for library in whole.get(key, []) if library in by_name]
        own.update(f'-I{folder}' for folder in whole['local_include_dirs'] + [
            folder for part in [whole, *linked] for folder in part.get('export_include_dirs', [])])
        flags = {f for flags in built.values() for f in flags
                 if re.match('-[fDWI]|-std=', f) and not HOST_FLAGS.match(f)}
        only_32_bits = set(whole.get('multilib', {}).get('lib32', {}).get('cflags', []))
        missing = flags - own - only_32_bits - SOONG_FLAGS | own - set.intersection(*built.values())
        if missing:
            yield f'{name}: flags differ from CMake: {missing}'


def bpfmt(text):
    return subprocess.run(['bpfmt', '-o'], input=text, capture_output=True, text=True)


def faults(text, root, commands):
    formatted = bpfmt(text)
    if formatted.returncode != 0:
        return [f'bpfmt: {formatted.stderr.strip()}']
    if formatted.stdout != text:
        return ['not as bpfmt formats it; run bpfmt -w']
    try:
        modules = parse(text)
    except (ValueError, NameError, TypeError, AttributeError) as error:
        return [f'grammar: {error}']
    return list(check_modules(modules, root)) or list(compare_with_cmake(modules, root, commands))


# Each names a damage: what is replaced, and by what.
DAMAGES = [
    ('    vendor: true,\n    cpp_std', '    vendor: true\n    cpp_std'),
    ('vendor: true,\n    src:', 'vendor: true,\n    vendor: true,\n    src:'),
    ('cpp_std: orx_cpp_std', 'cpp_std: unheard_of'),
    ('cpp_std: orx_cpp_std', 'cpp_std: ["gnu++17"]'),
    ('orx_cpp_std = "gnu++17"', 'orx_cpp_std = "gnu++20"'),
    ('orx_cpp_std = "gnu++17"', 'orx_cpp_std = "gnu++17"\norx_cpp_std = "gnu++17"'),
    ('] + orx_cbor_libs', '] + "libcppbor_external"'),
    ('    vendor: true,\n    cpp_std', '    cpp_std'),
    ('cc_binary {', 'cc_program {'),
    ('version_script:', 'version_map:'),
    ('"src/*.cpp"', '"src/ORX_KDF2.cpp"'),
    ('        "src/*.cpp",\n', '        "src/*.cpp",\n        "src/ORX_KDF.cpp",\n'),
    ('"src/*.cpp"', '"../src/*.cpp"'),
    ('        "tools/orx/*/*.cpp",\n', '        "tools/orx/c*/*.cpp",\n'),
    ('"android/orx.rc"', '"android/other.rc"'),
    ('"libcutils"', '"libutils"'),
    ('name: "liborx_test"', 'name: "liborx"'),
    ('        "orx_platform_defaults",\n', '        "other_defaults",\n'),
    ('export_shared_lib_headers: [\n', 'export_shared_lib_headers: [\n        "libjsoncpp",\n'),
    ('required: ["orx.rc"]', 'required: ["other.rc"]'),
    ('"-Wcast-qual",', '"-Wcast-qual",\n        "-Iinclude",'),
    ('"-Wcast-qual",', '"-Wcast-qual -Wall",'),
    ('"-Wcast-qual",', '"-w",'),
    ('"tests/fuzz/seeds/chain/*"', '"tests/fuzz/seeds/none/*"'),
    ('corpus: ["tests/', 'seeds: ["tests/'),
    ('        "-fvisibility=hidden",\n', ''),
    ('["tests/fuzz/maced_key_fuzz.cpp"]', '["tests/fuzz/cbor_fuzz.cpp"]'),
    ('["-Wno-error=undef"]', '["-fshort-enums"]'),
    ('        "include",\n        "src",\n', '        "include",\n'),
    ('"-fvisibility=hidden"', '"-fvisibility=hidden", "-fshort-enums"'),
    ('version_script: "src/liborx.map",',
     'version_script: "src/liborx.map",\n    ldflags: ["-Wl,--version-script=src/liborx.map"],'),
]


def main():
    root = os.path.realpath(sys.argv[1])
    text = read(f'{root}/Android.bp')
    if len(sys.argv) == 2:
        for kind, own in parse(text):
            if kind in ('cc_test', 'cc_fuzz'):
                print(kind, own['name'], *own['srcs'])
        return 0
    commands = list(compile_commands(sys.argv[2]))

    def trials():
        for old, new in DAMAGES:
            # Damages to the layout alone are bpfmt's to find; all others are shown to it formatted.
            damaged = text.replace(old, new, 1)
            formatted = bpfmt(damaged)
            damaged = damaged if formatted.returncode else formatted.stdout
            yield f'{old!r} replaced by {new!r}', damaged != text and faults(damaged, root, commands)

    return verdict(faults(text, root, commands), trials())


sys.exit(main())
