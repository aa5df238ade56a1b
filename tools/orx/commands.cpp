// SPDX-License-Identifier: Apache-2.0
#include "commands.h"

namespace orx_tool {
namespace {

constexpr size_t kAnyNumber = SIZE_MAX;

const Option kInput = {"input", 'i', "FILE", "read FILE (default: standard input)"};
const Option kOutput = {"output", 'o', "FILE", "write FILE (default: standard output)"};

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
        {"hex", 0, "HEX", "AES-128 key: 32 hex digits"}},
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
