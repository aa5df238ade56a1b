// SPDX-License-Identifier: Apache-2.0
#include "commands.h"

namespace orx_tool {
namespace {

constexpr size_t kAnyNumber = SIZE_MAX;

const Option kInput = {"input", 'i', "FILE", "read FILE (default: standard input)"};
const Option kOutput = {"output", 'o', "FILE", "write FILE (default: standard output)"};
const Option kFormat = {"format", 0, "FORMAT", "raw, hex or base64 (default: raw)"};
const Option kTextFormat = {"format", 0, "FORMAT", "raw, hex or base64 (default: hex)"};
const Option kDigest = {"digest", 0, "NAME", "sha256 (default) or sha1"};
const Option kPadding = {"padding", 0, "NAME", "pkcs1 (default) or none"};
const Option kShowIds = {"show-ids", 0, nullptr, "show serial number, IMEI and MEID in full"};

constexpr const char kModemDetails[] =
    "Asks the modem daemon. Without one the library tries 30 times, about half a minute; a daemon\n"
    "that accepts but does not answer blocks without end: use --timeout.\n";

}  // namespace

const std::vector<Command>& Commands() {
  static const auto& commands = *new std::vector<Command>{
      {"key import",
       "ID",
       1,
       1,
       "import a key into the secure hardware",
       "The ids are 14, 17, 50, 51 and 52. A key in the slot is replaced. Keys on the command "
       "line\n"
       "are seen by other users of the machine; files are not.\n",
       {{"aes", 0, "FILE", "AES-128 key: a file of 16 raw bytes"},
        {"hex", 0, "HEX", "AES-128 key: 32 hex digits"},
        {"pkcs8", 0, "FILE", "RSA private key: PKCS#8 or PKCS#1, DER or PEM"},
        {"rsa-components", 0, "FILE", "RSA private key: its eight numbers as text"}},
       RunKeyImport},
      {"key delete",
       "ID",
       1,
       1,
       "delete a key in the secure hardware",
       "The key blob file stays in its slot but is of no more use; --file removes it too.\n",
       {{"rsa", 0, nullptr, "the slot holds an RSA key (default: an AES key)"},
        {"file", 0, nullptr, "remove the key blob file as well"}},
       RunKeyDelete},
      {"key list", "", 0, 0, "show which slots hold a key blob", "", {}, RunKeyList},
      {"encrypt",
       "ID",
       1,
       1,
       "encrypt with the AES key of a slot",
       "AES-128-CBC with PKCS#7 padding. The output is the random IV, 16 bytes, and then the\n"
       "ciphertext. Any length goes through in constant memory.\n",
       {kInput, kOutput, {"no-padding", 0, nullptr, "the input is a multiple of 16 bytes"}},
       RunEncrypt},
      {"decrypt",
       "ID",
       1,
       1,
       "decrypt what encrypt wrote",
       "A file named with -o appears only when everything was decrypted and the padding is right.\n"
       "On standard output text comes out before the end is seen: mind the exit code.\n",
       {kInput, kOutput, {"no-padding", 0, nullptr, "the text was encrypted without padding"}},
       RunDecrypt},
      {"sign",
       "ID",
       1,
       1,
       "sign with the RSA key of a slot",
       "The whole input goes to KeyMint in one call, less than 1 MiB.\n",
       {kInput, kOutput, kFormat, kDigest, kPadding},
       RunSign},
      {"verify",
       "ID",
       1,
       1,
       "ask the library to verify a signature",
       "The library's Verify rejects every signature by design. To check one, use the public key\n"
       "outside KeyMint: openssl dgst -sha256 -verify PUBLIC.pem -signature SIGNATURE FILE\n",
       {kInput, {"signature", 's', "FILE", "the signature, raw"}, kDigest, kPadding},
       RunVerify},
      {"rsa-encrypt",
       "ID",
       1,
       1,
       "encrypt with the RSA key of a slot",
       "Most devices refuse this: public-key operations belong outside KeyMint.\n",
       {kInput, kOutput, kFormat, kPadding},
       RunRsaEncrypt},
      {"rsa-decrypt",
       "ID",
       1,
       1,
       "decrypt with the RSA key of a slot",
       "",
       {kInput, kOutput, kFormat, kPadding},
       RunRsaDecrypt},
      {"hash",
       "sha1|sha256|sha512 [FILE]...",
       1,
       kAnyNumber,
       "print digests as sha256sum does",
       "Without a file, or for -, standard input.\n",
       {},
       RunHash},
      {"kdf",
       "",
       0,
       0,
       "derive a key from a shared secret (ANSI X9.63)",
       "Mode counter is X9.63 with SHA-1 up to 5100 bytes; mode plain repeats one block. The\n"
       "library always fails with sha256.\n",
       {{"secret", 0, "FILE", "the shared secret Z"},
        {"secret-hex", 0, "HEX", "the shared secret Z"},
        {"info", 0, "FILE", "other info"},
        {"info-hex", 0, "HEX", "other info"},
        {"length", 'n', "BYTES", "bytes to derive"},
        {"mode", 0, "MODE", "counter (default) or plain"},
        {"hash", 0, "NAME", "sha1 (default) or sha256"},
        kOutput,
        kTextFormat},
       RunKdf},
      {"random", "BYTES", 1, 1, "print random bytes", "", {kOutput, kTextFormat}, RunRandom},
      {"store put",
       "NUMBER",
       1,
       1,
       "write a file of the secure store",
       "A negative number goes after --.\n",
       {kInput},
       RunStorePut},
      {"store get",
       "NUMBER",
       1,
       1,
       "read a file of the secure store",
       "",
       {kOutput, kFormat},
       RunStoreGet},
      {"store size",
       "NUMBER",
       1,
       1,
       "print the size of a file of the secure store",
       "",
       {},
       RunStoreSize},
      {"store rm", "NUMBER", 1, 1, "remove a file of the secure store", "", {}, RunStoreRemove},
      {"ids", "", 0, 0, "print the identifiers that the device attests", "", {}, RunIds},
      {"imei", "", 0, 0, "print the IMEI", kModemDetails, {}, RunImei},
      {"imei2", "", 0, 0, "print the second IMEI", kModemDetails, {}, RunImei2},
      {"meid", "", 0, 0, "print the MEID", kModemDetails, {}, RunMeid},
      {"uid", "", 0, 0, "print the unique hardware id", "", {}, RunUid},
      {"mode", "", 0, 0, "print the secure-hardware mode", "", {}, RunMode},
      {"records",
       "",
       0,
       0,
       "print the device-ID records that KeyMint is asked to attest",
       kModemDetails,
       {kShowIds},
       RunRecords},
      {"modem",
       "COMMAND",
       1,
       1,
       "send one AT command to the modem and print its answer",
       "A command that begins with AT is sent as TCATSEND,0,AT..., the form that the modem daemon\n"
       "expects; --raw sends it as it is.\n",
       {{"raw", 0, nullptr, "send the command as it is"}},
       RunModem},
      {"explain",
       "[CODE|MESSAGE]",
       0,
       kAnyNumber,
       "explain a reason code or a log line",
       "Takes a reason code, a KeyMint error by name or number (after --), or a line of the\n"
       "library's log as logcat shows it. Without one it lists all codes.\n",
       {},
       RunExplain},
  };
  return commands;
}

}  // namespace orx_tool
