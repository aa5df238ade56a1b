#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares what orx computes with what OpenSSL does, on random cases. Run: ./dev differential.

usage: differential.py [SEED]

All cases of a run come from the seed, which is printed, but for the keys and names of the device's
attestation chain. The counts go into build/differential/report.json.
"""
import pathlib
import random
import subprocess
import sys

sys.dont_write_bytecode = True
import report  # noqa: E402

COUNTS = {"hash": 60, "kdf": 60, "encrypt": 30, "decrypt": 30, "sign": 40, "rsa-decrypt": 40,
          "chain": 40}
TEXT_LENGTHS = [0, 1, 15, 16, 17, 55, 56, 63, 64, 65, 111, 112, 119, 127, 128, 4096, 16383, 16384,
                16385, 49151, 49152, 70000]


class Cases:
    """Makes cases in a folder, from one source of random bytes."""

    def __init__(self, folder, seed):
        self.folder, self.random, self.count = folder, random.Random(seed), 0
        self.key = self.bytes(16)

    def bytes(self, count):
        return self.random.getrandbits(8 * count).to_bytes(count, "little") if count else b""

    def text(self, least=0):
        fitting = [length for length in TEXT_LENGTHS if length >= least]
        return self.bytes(self.random.choice(fitting + [self.random.randint(least, 3000)]))

    def file(self, content):
        self.count += 1
        path = self.folder / f"{self.count}"
        path.write_bytes(content)
        return path

    def openssl(self, *arguments, text=b""):
        return subprocess.run(["openssl", *map(str, arguments)], input=text, check=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE).stdout

    # Each returns the words behind orx, and the bytes that they must print or what tells whether
    # they are right.

    def hash(self):
        name = self.random.choice(["sha1", "sha256", "sha512"])
        file = self.file(self.text())
        digest = self.openssl("dgst", "-r", f"-{name}", file).split()[0]
        return ["hash", name, file], digest + f"  {file}\n".encode()

    def kdf(self):
        secret = self.bytes(self.random.randint(1, 300))
        info = self.bytes(self.random.randint(0, 80))
        length = self.random.choice([1, 19, 20, 21, 40, 41, self.random.randint(1, 5100)])
        words = ["kdf", "--secret", self.file(secret), "-n", length, "--format", "raw"]
        options = ["-kdfopt", "digest:SHA1", "-kdfopt", f"hexkey:{secret.hex()}"]
        if info:
            words += ["--info", self.file(info)]
            options += ["-kdfopt", f"hexinfo:{info.hex()}"]
        return words, self.openssl("kdf", "-binary", "-keylen", length, *options, "X963KDF")

    def aes(self, direction, iv, text):
        return self.openssl("enc", direction, "-aes-128-cbc", "-K", self.key.hex(), "-iv", iv.hex(),
                            text=text)

    def encrypt(self):
        text = self.text()
        return (["encrypt", 50, "-i", self.file(text)],
                lambda cipher: self.aes("-d", cipher[:16], cipher[16:]) == text)

    def decrypt(self):
        iv, text = self.bytes(16), self.text()
        return ["decrypt", 50, "-i", self.file(iv + self.aes("-e", iv, text))], text

    def sign(self):
        name = self.random.choice(["sha1", "sha256"])
        file = self.file(self.text(least=1))
        signature = self.openssl("dgst", f"-{name}", "-sign", report.RSA_KEY, file)
        return ["sign", 14, "--digest", name, "-i", file], signature

    def rsa_decrypt(self):
        if self.random.random() < 0.5:
            text = self.bytes(self.random.choice([1, 16, 117, 244, 245]))
            cipher = self.openssl("pkeyutl", "-encrypt", "-inkey", report.RSA_KEY, text=text)
            return ["rsa-decrypt", 14, "-i", self.file(cipher)], text
        cipher = bytes(1) + self.bytes(255)
        text = self.openssl("pkeyutl", "-decrypt", "-inkey", report.RSA_KEY, "-pkeyopt",
                            "rsa_padding_mode:none", text=cipher)
        return ["rsa-decrypt", 14, "--padding", "none", "-i", self.file(cipher)], text

    def chain(self):
        """A device's chain, or one with a bit turned, a certificate missing or two exchanged."""
        chain = [path.read_bytes() for path in sorted(self.folder.glob("chain/cert*.pem"))]
        der = [self.openssl("x509", "-outform", "DER", text=pem) for pem in chain]
        change = self.random.choice(["none", "bit", "bit", "bit", "missing", "exchanged"])
        place = self.random.randrange(len(der) - 1)
        if change == "bit":
            damaged = bytearray(der[place])
            damaged[self.random.randrange(len(damaged))] ^= 1 << self.random.randrange(8)
            der[place] = bytes(damaged)
        elif change == "missing":
            del der[max(place, 1)]  # the self-tests also ask for the first one's subject
        elif change == "exchanged":
            der[place], der[place + 1] = der[place + 1], der[place]
        # In the order in which they came, each must be signed by the next.
        files = [self.file(certificate) for certificate in der]
        good = all(self.is_signed(*pair) for pair in zip(files, files[1:] + files[-1:]))
        words = ["chain", "check", "--relaxed", "--size", len(files), *files]
        return words, lambda _: good

    def is_signed(self, file, issuer):
        return subprocess.run(
            ["openssl", "verify", "-no_check_time", "-partial_chain", "-trusted", issuer, file],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode == 0


def in_device(folder, lines):
    script = folder / "script"
    script.write_text("\n".join(lines))
    run = subprocess.run(["orx-sim", "run", "-q", "--", "sh", script], env=report.ENVIRONMENT,
                         check=False)
    if run.returncode != 0:
        sys.exit("differential: the device did not run")


def right(expected, status, output):
    """A chain that OpenSSL refuses is to be refused; all else is to be done, with this output."""
    if callable(expected):
        return expected(output) == (status == 0)
    return status == 0 and output == expected


def main():
    seed = int(sys.argv[1]) if len(sys.argv) > 1 else random.SystemRandom().randrange(2 ** 32)
    print(f"differential: seed {seed}", flush=True)
    with report.work_folder() as holder:
        folder = pathlib.Path(holder)
        cases = Cases(folder, seed)
        in_device(folder, [f"orx attest-key -o {folder}/chain >{folder}/log"])
        table = [(name, *getattr(cases, name.replace("-", "_"))())
                 for name, count in COUNTS.items() for _ in range(count)]
        in_device(folder, [
            f"orx key import 50 --aes {cases.file(cases.key)} >>{folder}/log",
            f"orx key import 14 --pkcs8 {report.RSA_KEY} >>{folder}/log",
            *(f"orx {' '.join(map(str, words))} >{folder}/{at}.out 2>{folder}/{at}.err; "
              f"echo $? >{folder}/{at}.status" for at, (_, words, _) in enumerate(table))])
        rows = {name: {"command": f"orx {name}", "cases": 0, "differ": 0} for name in COUNTS}
        for at, (name, words, expected) in enumerate(table):
            rows[name]["cases"] += 1
            status = int((folder / f"{at}.status").read_text())
            if not right(expected, status, (folder / f"{at}.out").read_bytes()):
                rows[name]["differ"] += 1
                error = (folder / f"{at}.err").read_text()
                print(f"differs: orx {' '.join(map(str, words))}: exit code {status} {error}")
    return report.write("differential", not any(row["differ"] for row in rows.values()),
                        f"{len(table)} cases, seed {seed}", list(rows.values()),
                        f"./dev differential {seed}")


if __name__ == "__main__":
    sys.exit(main())
