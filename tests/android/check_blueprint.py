#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks Android.bp: its grammar (bpfmt, the platform's own parser), modules, properties and their
types, files, refused flags, and that sources and flags are those of the CMake build. Then checks
itself: each damaged copy of the file must be found faulty.
usage: check_blueprint.py SOURCE_FOLDER COMPILE_COMMANDS_JSON"""
import glob, json, os, re, shlex, subprocess, sys

BOOL, STRING, LIST, MAP = bool, str, list, dict
CC = {
    'name': STRING, 'defaults': LIST, 'vendor': BOOL, 'compile_multilib': STRING, 'srcs': LIST,
    'cflags': LIST, 'cppflags': LIST, 'ldflags': LIST, 'cpp_std': STRING, 'rtti': BOOL,
    'local_include_dirs': LIST, 'export_include_dirs': LIST, 'header_libs': LIST,
    'shared_libs': LIST, 'static_libs': LIST, 'whole_static_libs': LIST,
    'export_shared_lib_headers': LIST, 'export_static_lib_headers': LIST, 'init_rc': LIST,
    'required': LIST, 'enabled': BOOL, 'host_supported': BOOL, 'multilib': MAP}
PROPERTIES = {
    'package': {'default_applicable_licenses': LIST, 'default_visibility': LIST},
    'license': {'name': STRING, 'license_kinds': LIST, 'license_text': LIST},
    'soong_config_module_type': {'name': STRING, 'module_type': STRING, 'config_namespace': STRING,
                                 'value_variables': LIST, 'bool_variables': LIST,
                                 'properties': LIST},
    'cc_defaults': CC, 'orx_cc_defaults': {**CC, 'soong_config_variables': MAP},
    'cc_library_static': CC, 'cc_library_shared': {**CC, 'version_script': STRING},
    'cc_binary': {**CC, 'stem': STRING, 'symlinks': LIST},
    'cc_test': {**CC, 'gtest': BOOL, 'test_suites': LIST, 'data': LIST},
    'cc_fuzz': {**CC, 'corpus': LIST, 'dictionary': STRING, 'fuzz_config': MAP},
    'prebuilt_etc': {'name': STRING, 'vendor': BOOL, 'src': STRING, 'sub_dir': STRING,
                     'filename': STRING}}
# The modules that Android 14 lets a vendor module link.
PLATFORM = set('''android.hardware.security.keymint-V3-ndk android.hardware.security.rkp-V3-ndk
    android.hardware.security.sharedsecret-V1-ndk libbase libbinder_ndk libcppbor_external
    libcppcose_rkp libcrypto libcutils libjsoncpp liblog libgmock'''.split())
# What Soong gives every vendor C++ module without being asked.
SOONG_FLAGS = set('''-fno-exceptions -fno-rtti -fstack-protector-strong -fvisibility-inlines-hidden
    -D_FORTIFY_SOURCE=2 -DNDEBUG -fPIC'''.split())
HOST_FLAGS = re.compile('-f(pch-preprocess|PIE|(diagnostics|debug)-.*|.*-prefix-map.*)$')
REFUSED = {
    'cflags': re.compile(r'[^-]|-I|-isystem|-w$|-Weverything|--coverage|-fwhole-program-vtables|'
                         r'-target|(?!-include |-mllvm |-D\w+=).*\s'),
    'ldflags': re.compile(r'-l|-L|-Wl,--version-script|-T|--script|--coverage|(?!-z ).*\s')}
REFUSED['cppflags'] = REFUSED['cflags']
FOLDERS = ('local_include_dirs', 'export_include_dirs')
FILES = ('srcs', 'init_rc', 'data', 'corpus', 'src', 'version_script', 'dictionary', 'license_text')


class Parser:
    """Parses and evaluates what bpfmt has accepted; what only later releases know is an error."""

    def __init__(self, text):
        self.tokens = re.findall(r'"(?:[^"\\]|\\.)*"|[A-Za-z_]\w*|-?\d+|\+=|[][{}:,=+]|[^\s]',
                                 re.sub(r'("(?:[^"\\\n]|\\.)*")|//[^\n]*|/\*.*?\*/',
                                        lambda m: m[1] or ' ', text, flags=re.S))
        self.variables, self.modules, self.used = {}, [], set()

    def next(self, expected=None):
        token = self.tokens.pop(0)
        if expected and token != expected:
            raise ValueError(f'{expected} expected, not {token}')
        return token

    def file(self):
        while self.tokens:
            name = self.next()
            if self.tokens[0] == '{':
                self.modules.append((name, self.value()))
                continue
            operator, value = self.next(), self.value()
            if (name in self.variables) != (operator == '+=') or name in self.used:
                raise ValueError(f'variable {name} set twice, or after its use')
            self.variables[name] = self.variables[name] + value if operator == '+=' else value
        return self.modules

    def value(self):
        token = self.next()
        if token == '{':
            result = {}
            while self.tokens[0] != '}':
                key = self.next()
                self.next(':')
                if key in result:
                    raise ValueError(f'property {key} twice')
                result[key] = self.value()
                if self.tokens[0] != '}':
                    self.next(',')
            self.next('}')
        elif token == '[':
            result = []
            while self.tokens[0] != ']':
                result.append(self.value())
                if self.tokens[0] != ']':
                    self.next(',')
            self.next(']')
        elif token[0] == '"':
            result = json.loads(token)
        elif token in ('true', 'false'):
            result = token == 'true'
        elif re.fullmatch(r'-?\d+', token):
            result = int(token)
        elif token in self.variables:
            self.used.add(token)
            result = self.variables[token]
        else:
            raise ValueError(f'{token} is no value of Android 14')
        if self.tokens and self.tokens[0] == '+':
            self.next()
            other = self.value()
            if type(other) is not type(result) or isinstance(result, bool):
                raise ValueError('+ of different types')
            result = result + other
        return result


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
        for key, value in own.items():
            expected = PROPERTIES[kind].get(key)
            if not isinstance(value, expected or object) or expected is None:
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
    for name, folder in (('liborx_objects', 'src/'), ('orx', 'tools/orx/')):
        whole = merged(by_name.get(name, {}), by_name)
        built = {}
        for command in commands:
            path = os.path.relpath(command['file'], root)
            if path.startswith(folder):
                built[path] = set(shlex.split(command['command'])) - {'-Werror=format-security'}
        sources = set(expanded(whole.get('srcs', []), root))
        if sources != set(built) or not built:
            yield f'{name}: sources differ from CMake: {sources ^ set(built)}'
            continue
        own = {*whole.get('cflags', []), *whole.get('cppflags', []), f'-std={whole.get("cpp_std")}'}
        own = {flag for flag in own if not flag.startswith('-Wno-error=')}
        flags = {f for flags in built.values() for f in flags
                 if re.match('-[fDW]|-std=', f) and not HOST_FLAGS.match(f)}
        missing = flags - own - SOONG_FLAGS | own - set.intersection(*built.values())
        if missing:
            yield f'{name}: flags differ from CMake: {missing}'


def faults(text, root, commands):
    formatted = subprocess.run(['bpfmt', '-o'], input=text, capture_output=True, text=True)
    if formatted.returncode != 0:
        return [f'bpfmt: {formatted.stderr.strip()}']
    if formatted.stdout != text:
        return ['not as bpfmt formats it; run bpfmt -w']
    try:
        modules = Parser(text).file()
    except (ValueError, IndexError) as error:
        return [f'grammar: {error}']
    return list(check_modules(modules, root)) or list(compare_with_cmake(modules, root, commands))


# Each names a damage: what is replaced, and by what.
DAMAGES = [
    ('    vendor: true,\n    cpp_std', '    vendor: true\n    cpp_std'),
    ('"-Wall",', '"-Wall",,'),
    ('vendor: true,\n    src:', 'vendor: true,\n    vendor: true,\n    src:'),
    ('cpp_std: orx_cpp_std', 'cpp_std: unheard_of'),
    ('cpp_std: orx_cpp_std', 'cpp_std: ["gnu++17"]'),
    ('orx_cpp_std = "gnu++17"', 'orx_cpp_std = "gnu++20"'),
    ('orx_cpp_std = "gnu++17"', 'orx_cpp_std = "gnu++17"\norx_cpp_std = "gnu++17"'),
    ('] + orx_cbor_libs', '] + "libcppbor_external"'),
    ('    vendor: true,\n    cpp_std', '    cpp_std'),
    ('cc_binary {', 'cc_program {'),
    ('version_script:', 'version_map:'),
    ('compile_multilib: "both"', 'compile_multilib: true'),
    ('"src/*.cpp"', '"src/ORX_KDF2.cpp"'),
    ('"src/*.cpp"', '"sources/*.cpp"'),
    ('        "src/*.cpp",\n', ''),
    ('        "src/*.cpp",\n', '        "src/*.cpp",\n        "src/ORX_KDF.cpp",\n'),
    ('"src/*.cpp"', '"../src/*.cpp"'),
    ('        "tools/orx/*/*.cpp",\n', '        "tools/orx/c*/*.cpp",\n'),
    ('"tests/src/kdf_test.cpp"', '"tests/src/kdf2_test.cpp"'),
    ('"android/orx.rc"', '"android/other.rc"'),
    ('"libcutils"', '"libutils"'),
    ('name: "liborx_test"', 'name: "liborx"'),
    ('        "orx_platform_defaults",\n', '        "other_defaults",\n'),
    ('export_shared_lib_headers: [\n', 'export_shared_lib_headers: [\n        "libjsoncpp",\n'),
    ('required: ["orx.rc"]', 'required: ["other.rc"]'),
    ('"-Wcast-qual",', '"-Wcast-qual",\n        "-Iinclude",'),
    ('"-Wcast-qual",', '"-Wcast-qual -Wall",'),
    ('"-Wcast-qual",', '"-w",'),
    ('        "-fvisibility=hidden",\n', ''),
    ('"-fvisibility=hidden"', '"-fvisibility=hidden", "-fshort-enums"'),
    ('version_script: "src/liborx.map",',
     'version_script: "src/liborx.map",\n    ldflags: ["-Wl,--version-script=src/liborx.map"],'),
]


def main():
    root = os.path.realpath(sys.argv[1])
    with open(f'{root}/Android.bp', encoding='utf-8') as file:
        text = file.read()
    with open(sys.argv[2], encoding='utf-8') as file:
        commands = json.load(file)
    found = faults(text, root, commands)
    for fault in found:
        print(f'FAILED: {fault}')
    missed = 0
    for old, new in DAMAGES:
        # Damages to the layout alone are bpfmt's to find; all others are shown to it formatted.
        damaged = text.replace(old, new, 1)
        formatted = subprocess.run(['bpfmt', '-o'], input=damaged, capture_output=True, text=True)
        if formatted.returncode == 0:
            damaged = formatted.stdout
        if damaged == text or not faults(damaged, root, commands):
            print(f'FAILED: not found: {old!r} replaced by {new!r}')
            missed += 1
    print(f'{len(DAMAGES) - missed} of {len(DAMAGES)} damages found')
    return 1 if found or missed else 0


sys.exit(main())
