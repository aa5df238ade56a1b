// SPDX-License-Identifier: Apache-2.0
#include <orx/orx.h>

#include "tools/orx/cli/result_bytes.h"
#include "tools/orx/commands/command_tables.h"
#include "tools/orx/commands/common_options.h"
#include "tools/orx/commands/slot_argument.h"
#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {
namespace {

// Binder's buffer is 1 MiB less two pages and holds the call's other arguments too; what is larger
// never reaches KeyMint.
constexpr size_t kMaxMessageBytes = 1000UL * 1024;
// More than any RSA output, so that nothing is cut off.
constexpr size_t kOutputBytes = 2048;
constexpr size_t kSignatureLimit = 64UL * 1024;

constexpr int kDigestSha1 = 1;
constexpr int kDigestSha256 = 2;
constexpr int kPaddingNone = 0;
constexpr int kPaddingPkcs1 = 1;
constexpr int kDirectionEncrypt = 1;
constexpr int kDirectionDecrypt = 0;

// Request is what the RSA commands have in common.
struct Request {
  const Slot* slot;
  int digest;
  int padding;
  SecretBytes data;
};

std::optional<int> ParseDigest(const std::string& text) {
  if (text == "sha256") return kDigestSha256;
  if (text == "sha1") return kDigestSha1;
  return std::nullopt;
}

std::optional<int> ParsePadding(const std::string& text) {
  if (text == "pkcs1") return kPaddingPkcs1;
  if (text == "none") return kPaddingNone;
  return std::nullopt;
}

std::optional<Request> ReadRequest(const Args& args, std::optional<Problem>* problem) {
  const Slot* slot = ParseSlot(args.operands()[0], problem);
  if (slot == nullptr) return std::nullopt;
  const auto digest = ParseDigest(args.Get("digest", "sha256"));
  if (!digest) *problem = MakeProblem("USAGE", "--digest takes sha256 or sha1");
  const auto padding = ParsePadding(args.Get("padding", "pkcs1"));
  if (!padding) *problem = MakeProblem("USAGE", "--padding takes pkcs1 or none");
  if (*problem) return std::nullopt;
  auto data = ReadWhole(args.Get("input", "-"), kMaxMessageBytes, problem);
  if (data && data->empty()) *problem = MakeProblem("INPUT-EMPTY", "the input is empty");
  if (*problem) return std::nullopt;
  return Request{slot, *digest, *padding, std::move(*data)};
}

int RunRsaCipher(int direction, const Args& args, Output& output) {
  std::optional<Problem> problem;
  const auto request = ReadRequest(args, &problem);
  if (!request) return output.Fail(*problem);
  SecretBytes result(kOutputBytes);
  auto size = static_cast<uint32_t>(result.size());
  ClearLibraryLog();
  if (ORX_RSA_EncryptDecrypt(request->slot->key_id, request->padding, request->data.data(),
                             result.data(), static_cast<uint32_t>(request->data.size()), &size,
                             nullptr, direction) != 0) {
    return output.Fail(DiagnoseStorage(LibraryLogLines(), request->slot->path()));
  }
  const auto privacy = direction == kDirectionEncrypt ? Privacy::kPublic : Privacy::kSecret;
  return WriteResult(args, output, result.data(), size, Format::kRaw, privacy);
}

int RunSign(const Args& args, Output& output) {
  std::optional<Problem> problem;
  const auto request = ReadRequest(args, &problem);
  if (!request) return output.Fail(*problem);
  uint8_t signature[kOutputBytes];
  uint32_t size = sizeof(signature);
  ClearLibraryLog();
  if (ORX_RSA_Sign(request->slot->key_id, request->data.data(), signature,
                   static_cast<uint32_t>(request->data.size()), &size, request->digest,
                   request->padding) != 0) {
    return output.Fail(DiagnoseStorage(LibraryLogLines(), request->slot->path()));
  }
  return WriteResult(args, output, signature, size, Format::kRaw, Privacy::kPublic);
}

int RunVerify(const Args& args, Output& output) {
  std::optional<Problem> problem;
  if (!args.Has("signature")) {
    return output.Fail(MakeProblem("USAGE", "give the signature with --signature FILE"));
  }
  const auto request = ReadRequest(args, &problem);
  if (!request) return output.Fail(*problem);
  const auto signature = ReadWhole(args.Get("signature"), kSignatureLimit, &problem);
  if (problem) return output.Fail(*problem);
  ClearLibraryLog();
  const uint32_t result =
      ORX_RSA_Verify(request->slot->key_id, request->data.data(), signature->data(),
                     static_cast<uint32_t>(request->data.size()),
                     static_cast<uint32_t>(signature->size()), request->digest, request->padding);
  if (result == 0) return output.Succeed();
  // A key or service that is not there is told as such; whatever KeyMint says, the library rejects.
  const Problem found = DiagnoseStorage(LibraryLogLines(), request->slot->path());
  if (found.exit_code == kEnvironment || found.code.rfind("KEY-", 0) == 0) {
    return output.Fail(found);
  }
  Problem rejected = KnownProblem("RSA-VERIFY-REJECTS");
  rejected.library_line = found.library_line;
  return output.Fail(rejected);
}

int RunRsaEncrypt(const Args& args, Output& output) {
  return RunRsaCipher(kDirectionEncrypt, args, output);
}

int RunRsaDecrypt(const Args& args, Output& output) {
  return RunRsaCipher(kDirectionDecrypt, args, output);
}

constexpr Option kDigest = {"digest", 0, "NAME", "sha256 (default) or sha1"};
constexpr Option kPadding = {"padding", 0, "NAME", "pkcs1 (default) or none"};

}  // namespace

std::vector<Command> RsaCommands() {
  return {
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
  };
}

}  // namespace orx_tool
