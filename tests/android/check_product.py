#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks what a product takes in besides Android.bp: that GNU make reads orx.mk and
BoardConfigOrx.mk as docs/android.md includes them, and that orx.rc is in init's grammar and does
what a folder on the persist partition needs. Then checks itself on damaged copies.
usage: check_product.py SOURCE_FOLDER"""
import os, pathlib, re, shutil, subprocess, sys, tempfile

from damages import read, verdict

ROOT = os.path.realpath(sys.argv[1])
PLACE = 'vendor/x/orx'
MAKEFILE = '''
soong_config_set = $(info config $1 $2 $3)
inherit-product = $(eval include $1)
{includes}
$(info packages $(PRODUCT_PACKAGES))
$(info policy $(BOARD_VENDOR_SEPOLICY_DIRS))
all:
'''
# What orx.rc may hold: sections, and init's commands and options below them.
INIT_LINE = re.compile(
    r'on (init|post-fs-data)|service \S+ /vendor/bin/orx( \w+)*|'
    r' {4}(mkdir \S+ 0\d\d0 \w+ \w+|restorecon_recursive \S+|setprop \S+ \S+|'
    r'user \w+|group( \w+)+|disabled|oneshot)')


def make_reads(tree, switches):
    """What the two makefiles set, by the first word of each line."""
    included = re.findall(r'^ +(\$\(call inherit-product.*|include .*)$',
                          read(f'{tree}/{PLACE}/docs/android.md'), re.M)
    with open(f'{tree}/Makefile', 'w', encoding='utf-8') as file:
        file.write(MAKEFILE.format(includes='\n'.join(included)))
    lines = subprocess.run(['make', '-s', *switches], cwd=tree, capture_output=True, text=True,
                           check=True).stdout.splitlines()
    return {line.split()[0]: line.split()[1:] for line in lines if line}


def product_faults(tree):
    modules = re.findall(r'^    name: "(.*)"', read(f'{tree}/{PLACE}/Android.bp'), re.M)
    own = ['', '/strongbox', '/modem']
    for switches, folders in (([], own), (['ORX_STRONGBOX_LABELLED=true'], ['', '/modem']),
                              (['ORX_MODEM_SOCKET_LABELLED=true'], ['', '/strongbox'])):
        said = make_reads(tree, switches)
        if said.get('config') != ['orx', 'directory', PLACE]:
            yield f'the folder is not told: {said}'
        if not said.get('packages') or not set(said['packages']) <= set(modules):
            yield f'packages without a module: {said["packages"]}'
        policy = said.get('policy', [])
        if policy != [f'{PLACE}/android/sepolicy{f}' for f in folders]:
            yield f'policy folders with {switches}: {policy}'
        yield from (f'no folder {p}' for p in policy if not os.path.isdir(f'{tree}/{p}'))


def init_faults(tree):
    text = re.sub(r' *#.*\n', '', read(f'{tree}/{PLACE}/android/orx.rc'))
    yield from (f'not known to init: {line}' for line in text.splitlines()
                if line and not INIT_LINE.fullmatch(line))
    # A folder is made once its partition is mounted; mkdir leaves the label of an old one.
    made = r'^on post-fs-data\n +mkdir (\S+) .*\n +restorecon_recursive \1\n'
    if not re.search(made, text, re.M):
        yield 'no folder is made and labelled'
    if 'on init\n    setprop ro.vendor.boot.serialno ${ro.boot.serialno}\n' not in text:
        yield 'the serial number is not passed on before its readers start'


DAMAGES = [
    ('android/orx.mk', 'liborx orx', 'liborx orxtool'),
    ('android/BoardConfigOrx.mk', 'soong_config_set,orx,', 'soong_config_set,liborx,'),
    ('android/BoardConfigOrx.mk', '/android/BoardConfigOrx.mk,', '/BoardConfigOrx.mk,'),
    ('android/BoardConfigOrx.mk', 'ORX_STRONGBOX_LABELLED),true', 'ORX_STRONGBOX_LABELLED),1'),
    ('docs/android.md', 'include vendor/x/orx/android/', 'include vendor/x/orx/'),
    ('android/orx.rc', '    restorecon_recursive /mnt/vendor/persist/security\n', ''),
    ('android/orx.rc', 'on post-fs-data', 'on post-fs'),
    ('android/orx.rc', '0770', '0777'),
    ('android/orx.rc', '${ro.boot.serialno}', '${ro.serialno}'),
    ('android/orx.rc', 'on init', 'on boot'),
    ('android/orx.rc', '/vendor/bin/orx', '/system/bin/orx'),
    ('android/orx.rc', '    oneshot', '    once'),
]


def faults(tree):
    try:
        return [*product_faults(tree), *init_faults(tree)]
    except subprocess.CalledProcessError as error:
        return [error.stderr]


def trials(tree):
    for path, old, new in DAMAGES:
        file = pathlib.Path(tree, PLACE, path)
        whole = file.read_text(encoding='utf-8')
        file.write_text(whole.replace(old, new), encoding='utf-8')
        yield f'{old!r} replaced by {new!r}', old in whole and faults(tree)
        file.write_text(whole, encoding='utf-8')


def main():
    with tempfile.TemporaryDirectory() as tree:
        for part in ('Android.bp', 'android', 'docs'):
            copy = shutil.copytree if os.path.isdir(f'{ROOT}/{part}') else shutil.copy
            os.makedirs(f'{tree}/{PLACE}', exist_ok=True)
            copy(f'{ROOT}/{part}', f'{tree}/{PLACE}/{part}')
        return verdict(faults(tree), trials(tree))


sys.exit(main())
