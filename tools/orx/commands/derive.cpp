// SPDX-License-Identifier: Apache-2.0
#include <orx/orx.h>

#include <algorithm>

#include "tools/orx/cli/result_bytes.h"
#include "tools/orx/commands/command_tables.h"
#include "tools/orx/commands/common_options.h"
#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {
namespace {

// Secrets are small; this keeps an endless input from being read for long.
constexpr size_t kMaxInputBytes = 1024UL * 1024;
constexpr long long kMaxKdfOutputBytes = 16LL * 1024 * 1024;
// The counter has 8 bits: from here on the output repeats.
constexpr long long kKdfPeriodBytes = 255LL * 20;
constexpr uint32_t kModeCounter = 1;
constexpr uint32_t kModePlain = 0;
constexpr uint32_t kHashSha1 = 0;
constexpr uint32_t kHashSha256 = 1;
// Random bytes come in pieces that base64 can join.
constexpr size_t kRandomPieceBytes = 3UL * 16384;
constexpr long long kMaxJsonBytes = 1024LL * 1024;

// ReadBytes takes --NAME FILE or --NAME-hex HEX; neither is no bytes.
std::optional<SecretBytes> ReadBytes(const Args& args, const std::string& name,
                                     std::optional<Problem>* problem) {
  const std::string hex = name + "-hex";
  if (args.Has(name) && args.Has(hex)) {
    *problem = MakeProblem("USAGE", "give one of --" + name + " and --" + hex);
    return std::nullopt;
  }
  if (args.Has(name)) return ReadWhole(args.Get(name), kMaxInputBytes, problem);
  auto bytes = ParseHex(args.Get(hex));
  if (!bytes) *problem = MakeProblem("USAGE", "the value of --" + hex + " is not hexadecimal");
  return bytes;
}

// ReadChoice maps the value of an option to one of two selectors.
uint32_t ReadChoice(const Args& args, const char* option, const char* first, uint32_t first_value,
                    const char* second, uint32_t second_value, std::optional<Problem>* problem) {
  const std::string value = args.Get(option, first);
  if (value == first) return first_value;
  if (value != second) {
    *problem =
        MakeProblem("USAGE", std::string("--") + option + " takes " + first + " or " + second);
  }
  return second_value;
}

int RunKdf(const Args& args, Output& output) {
  std::optional<Problem> problem;
  const auto length = ParseNumber(args.Get("length"), 1, kMaxKdfOutputBytes);
  if (!length) {
    return output.Fail(MakeProblem("USAGE", "--length takes a number of bytes up to 16777216"));
  }
  const uint32_t mode =
      ReadChoice(args, "mode", "counter", kModeCounter, "plain", kModePlain, &problem);
  const uint32_t hash =
      ReadChoice(args, "hash", "sha1", kHashSha1, "sha256", kHashSha256, &problem);
  if (problem) return output.Fail(*problem);
  const auto secret = ReadBytes(args, "secret", &problem);
  if (!secret) return output.Fail(*problem);
  const auto info = ReadBytes(args, "info", &problem);
  if (!info) return output.Fail(*problem);
  if (secret->empty()) {
    return output.Fail(
        MakeProblem("USAGE", "give the secret with --secret FILE or --secret-hex HEX"));
  }
  if (mode == kModeCounter && *length > kKdfPeriodBytes) {
    output.Note(
        "note: the counter has 8 bits; the output is not X9.63 beyond its first 5100 bytes");
  }

  SecretBytes derived(static_cast<size_t>(*length));
  ClearLibraryLog();
  if (ORX_KDF_Gen(mode, hash, static_cast<uint32_t>(secret->size()), secret->data(),
                  static_cast<uint32_t>(info->size()), info->empty() ? nullptr : info->data(),
                  static_cast<uint32_t>(derived.size()), derived.data()) != 0) {
    return output.Fail(Diagnose(LibraryLogLines()));
  }
  return WriteResult(args, output, derived.data(), derived.size(), Format::kHex, Privacy::kSecret);
}

int RunRandom(const Args& args, Output& output) {
  std::optional<Problem> problem;
  const auto count = ParseNumber(args.operands()[0], 1, INT64_MAX);
  if (!count) return output.Fail(MakeProblem("USAGE", "the number of bytes is 1 or more"));
  if (output.json() && args.Get("output", "-") == "-" && *count > kMaxJsonBytes) {
    return output.Fail(MakeProblem("USAGE", "more than 1048576 bytes need -o FILE under --json"));
  }
  ResultBytes result(args, output, Format::kHex, Privacy::kSecret, &problem);
  if (problem) return output.Fail(*problem);
  SecretBytes piece(kRandomPieceBytes);
  for (long long left = *count; left > 0;) {
    const size_t size = static_cast<size_t>(std::min<long long>(left, kRandomPieceBytes));
    if (ORX_RNG_GetBytes(piece.data(), size) != 0) {
      return output.Fail(MakeProblem("CRYPTO-LIBRARY", "no random bytes"));
    }
    if (!result.Write(piece.data(), size, &problem)) return output.Fail(*problem);
    left -= static_cast<long long>(size);
  }
  if (!result.Finish(&problem)) return output.Fail(*problem);
  return output.Succeed();
}

}  // namespace

std::vector<Command> DeriveCommands() {
  return {
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
  };
}

}  // namespace orx_tool
