#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the seeds of the fuzzers anew, with this project's programs and openssl.

usage: tests/fuzz/make_seeds.py BUILD_FOLDER
"""
import pathlib
import re
import subprocess
import sys
import tempfile

ROOM = pathlib.Path(__file__).resolve().parent
TOP = ROOM.parent.parent
BIN = pathlib.Path(sys.argv[1]).resolve() / "bin"
# The base point of P-256 (FIPS 186-5): a public key that needs no computation.
X = bytes.fromhex("6b17d1f2e12c4247f8bce6e563a440f277037d812deb33a0f4a13945d898c296")
Y = bytes.fromhex("4fe342e2fe1a7f9b8ee7eb4a7c0f9e162bce33576b315ececbb6406837bf51f5")


def seed(target, name, content):
    folder = ROOM / "seeds" / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(content)


def piece(content):
    content = content if isinstance(content, bytes) else content.encode()
    return len(content).to_bytes(2, "big") + content


def run(*words):
    return subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False).stdout


def on_device(*words):
    return run(BIN / "orx-sim", "run", "-q", "--profile", "dual-sim", "--", BIN / "orx", *words)


def chains():
    built = [(0, 2, 0, 1), (2, 6, 1, 2), (6, 1, 2, 3), (1, 1, 3, 3)]  # subject, issuer, key, signer
    text = b"".join(bytes([1, *fields, 0xFF, 0xFF]) for fields in built)
    seed("chain", "good", bytes([4, 4]) + text + piece("Android Keystore Key"))
    seed("chain", "one", bytes([1, 1]) + bytes([1, 0, 0, 0, 0, 0xFF, 0xFF]) + piece("x" * 64))
    seed("chain", "short", bytes([4, 2]) + text[:14])
    seed("chain", "wrong_leaf", bytes([1, 1]) + bytes([1, 1, 1, 0, 0, 0xFF, 0xFF]))
    seed("chain", "none", bytes([0, 0]) + piece(""))


def cose():
    key = b"\xa5\x01\x02\x03\x26\x20\x01\x21\x58\x20" + X + b"\x22\x58\x20" + Y
    mac = b"\x84\x43\xa1\x01\x05\xa0\x58" + bytes([len(key)]) + key + b"\x58\x20" + bytes(32)
    for target in ("maced_key", "cbor"):
        seed(target, "mac0", mac)
        seed(target, "cose_key", key)
        seed(target, "no_unprotected", mac.replace(b"\x05\xa0", b"\x05\xa1\x01\x02", 1))
        seed(target, "long_array", b"\x85" + mac[1:] + b"\x00")
    seed("cbor", "kinds", b"\x86\x20\xf5\xf6\xc1\x1a\x00\x01\x00\x00\x61a\xa1\x01\x80")


def rsa(folder):
    pem, der = folder / "rsa.pem", folder / "rsa.der"
    run("openssl", "genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-out", pem)
    run("openssl", "pkcs8", "-topk8", "-nocrypt", "-in", pem, "-outform", "DER", "-out", der)
    seed("key_file", "pkcs8_pem", pem.read_bytes())
    seed("key_file", "pkcs8_der", der.read_bytes())
    seed("key_file", "pkcs1_pem", run("openssl", "rsa", "-in", pem, "-traditional"))
    text = run("openssl", "rsa", "-in", pem, "-noout", "-text").decode()
    names = {"publicExponent": "e", "modulus": "n", "privateExponent": "d", "prime1": "p",
             "prime2": "q", "exponent1": "dp", "exponent2": "dq", "coefficient": "qinv"}
    values = {"e": "010001"}
    for name, digits in re.findall(r"^(\w+):\n((?: +[0-9a-f:]+\n)+)", text, re.M):
        values[names[name]] = re.sub(r"[\s:]", "", digits)
    seed("key_file", "components", "".join(f"{n} = {values[n]}\n" for n in names.values()).encode())
    numbers = [bytes.fromhex(values[name]) for name in names.values()]
    seed("rsa_key", "components", b"\0" + b"".join(map(piece, numbers)))
    seed("rsa_key", "pkcs8", b"\1" + der.read_bytes())
    run("openssl", "genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", pem)
    run("openssl", "pkcs8", "-topk8", "-nocrypt", "-in", pem, "-outform", "DER", "-out", der)
    seed("rsa_key", "ec", b"\1" + der.read_bytes())
    seed("key_file", "ec", pem.read_bytes())


def blobs(folder):
    def key(params, material):
        numbers = b"".join(tag.to_bytes(4, "little") + value for tag, value in params)
        return (b"\1" + bytes(48) + bytes(4) + len(params).to_bytes(4, "little") + numbers
                + len(material).to_bytes(4, "little") + material)
    aes = (0x10000002, b"\x01" + (32).to_bytes(8, "little"))  # ALGORITHM, the kind algorithm
    blob = (0x900002C4, b"\x0e" + (2).to_bytes(4, "little") + b"id")
    seed("key_blob", "aes", key([aes, blob], bytes(16)))
    rsa_tag = (0x10000002, b"\x01" + (1).to_bytes(8, "little"))
    seed("key_blob", "ec", key([rsa_tag], (folder / "rsa.der").read_bytes()))
    seed("key_blob", "without_algorithm", key([blob], bytes(16)))
    invalid = (0x10000002, b"\x00" + (32).to_bytes(8, "little"))  # a number of no kind
    seed("key_blob", "invalid_kind", key([aes, invalid], bytes(16)))
    seed("key_blob", "same_length", b"\0" + piece("a blob") + b"a file")
    seed("key_blob", "shorter", b"\0" + piece("a blob") + b"cut")
    seed("key_blob", "length_not_known", b"\0" + piece("") + b"anything")


def texts():
    for profile in (TOP / "sim/profiles").glob("*.profile"):
        seed("device_conf", profile.stem, piece("os-patch-level=203012") + profile.read_bytes())
    seed("device_conf", "property", piece("ro.product.model=X") + b"[build.prop]\nro.a=b\n# c\n")
    for command in ("TCATSEND,0,AT+CGSN", "", "\n", "A" * 1025):
        request = (1).to_bytes(4, "little") + len(command).to_bytes(4, "little") + command.encode()
        seed("device_conf", f"request_{len(command)}", request)
    faults = ["generateKey:-49@1", "default.keymint.begin:outdated", "service:strongbox:absent",
              "modem:delay=2.5@2", "modem:echo", "write:ENOSPC", "persist:missing", "fsync:EIO@3",
              "persist:read-only", "persist:missing@2", "service:default:absent@2", "service:default.rkp:absent", "getRootOfTrust:delay=0.5"]
    seed("fault", "all", b"".join(map(piece, faults)))
    for fault in faults:
        seed("fault", re.sub(r"\W", "_", fault), piece(fault))
    for number, answer in enumerate(["490154203237518", '+EGMR: "490154203237526"',
                                     "99000012345678"]):
        seed("modem", f"good_{number}", bytes([number, 64]) + answer.encode())
    seed("modem", "unquoted", bytes([1, 64]) + b"+EGMR: 490154203237526")
    seed("modem", "too_long", bytes([0, 16]) + b"4" * 40)
    seed("modem", "no_command", bytes([3, 64]))
    seed("modem", "small", bytes([0, 15]))
    seed("authorization_set", "mixed", bytes(range(8, 60)))
    seed("authorization_set", "invalid", bytes([3, 0, 5, 10, 4, 0, 5, 10, 15, 2]))


def certificates(folder):
    on_device("attest-key", "-o", folder / "chain")
    chain = [folder / f"chain/cert{i}.pem" for i in range(4)]
    seed("certificate", "chain_pem", b"\1" + b"".join(path.read_bytes() for path in chain))
    der = run("openssl", "x509", "-in", chain[0], "-outform", "DER")
    seed("certificate", "leaf_der", b"\1" + der)
    seed("certificate", "damaged", b"\1" + chain[0].read_bytes()[:400] + chain[3].read_bytes())
    record = run("openssl", "asn1parse", "-in", chain[0]).decode()
    offset = int(re.search(r"1\.3\.6\.1\.4\.1\.11129\.2\.1\.17\n\s*(\d+):", record)[1])
    run("openssl", "asn1parse", "-in", chain[0], "-strparse", str(offset), "-noout", "-out",
        folder / "record")
    seed("certificate", "record", b"\0" + (folder / "record").read_bytes())
    for words in (["check", "attestation", "--ids", "all"], ["encrypt", "52"], ["imei2"], ["ids"]):
        seed("log", words[0], b"\0" + on_device(*words, "-v")[:1500])
    root = piece("/CN=Key Attestation CA1/OU=Android/O=Google LLC/C=US")
    seed("certificate", "newer_root", b"\2" + root + piece("0" * 64))
    seed("log", "error", b"\0ERROR")
    seed("log", "no_operation", b"\0a.cpp:1: KM: Begin\na.cpp:2: KM: invalid keymint operation handle")
    seed("log", "consequence", b"\0src/a.cpp:1: RSA: no key blob not loaded")
    seed("log", "json", b'\0{"a": 1}\n[1, "b"]\n')


with tempfile.TemporaryDirectory() as temporary:
    scratch = pathlib.Path(temporary)
    chains()
    cose()
    rsa(scratch)
    blobs(scratch)
    texts()
    certificates(scratch)
