// SPDX-License-Identifier: Apache-2.0
#include <orx/orx.h>
#include <string.h>

#include "tools/orx/cli/encoding.h"
#include "tools/orx/cli/files.h"
#include "tools/orx/commands/command_tables.h"
#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {
namespace {

constexpr size_t kHashedBytes = 1024UL * 1024;
constexpr size_t kMaxDigestBytes = 64;

struct Algorithm {
  const char* name;
  uint32_t id;
};

constexpr Algorithm kAlgorithms[] = {{"sha1", 0}, {"sha256", 2}, {"sha512", 4}};

const Algorithm* FindAlgorithm(const std::string& name) {
  for (const Algorithm& algorithm : kAlgorithms) {
    if (name == algorithm.name) return &algorithm;
  }
  return nullptr;
}

// Feed hashes the rest of the input.
bool Feed(Input& input, std::optional<Problem>* problem) {
  SecretBytes piece(kHashedBytes);
  for (;;) {
    const ssize_t got = input.ReadFully(piece.data(), piece.size(), problem);
    if (got < 0) return false;
    if (ORX_HASH_Update(0, piece.data(), static_cast<size_t>(got)) != 0) {
      *problem = Diagnose(LibraryLogLines());
      return false;
    }
    if (static_cast<size_t>(got) < piece.size()) return true;
  }
}

std::optional<std::string> HashFile(const Algorithm& algorithm, const std::string& path,
                                    std::optional<Problem>* problem) {
  Input input(path, problem);
  if (*problem) return std::nullopt;
  uint8_t digest[kMaxDigestBytes];
  uint32_t size = 0;
  uint32_t handle = 0;
  ClearLibraryLog();
  if (ORX_HASH_Begin(algorithm.id, &handle) != 0) {
    *problem = Diagnose(LibraryLogLines());
    return std::nullopt;
  }
  const bool fed = Feed(input, problem);
  // Ended in any case: the library keeps one digest at a time.
  const bool ended = ORX_HASH_End(handle, digest, &size) == 0;
  if (fed && !ended) *problem = Diagnose(LibraryLogLines());
  if (*problem) return std::nullopt;
  return ToHex(digest, size);
}

// ChecksumLine writes a line as sha256sum does, which marks names that it had to escape with a
// backslash in front of the line.
std::string ChecksumLine(const std::string& digest, const std::string& name) {
  std::string escaped;
  for (const char c : name) {
    if (c == '\\') {
      escaped += "\\\\";
    } else if (c == '\n') {
      escaped += "\\n";
    } else {
      escaped += c;
    }
  }
  return (escaped == name ? "" : "\\") + digest + "  " + escaped;
}

int RunHash(const Args& args, Output& output) {
  const Algorithm* algorithm = FindAlgorithm(args.operands()[0]);
  if (algorithm == nullptr) {
    return output.Fail(MakeProblem("CHECKSUM-UNKNOWN", "unknown digest '" + args.operands()[0] +
                                                           "'; use sha1, sha256 or sha512"));
  }
  std::vector<std::string> names(args.operands().begin() + 1, args.operands().end());
  if (names.empty()) names.push_back("-");

  // Like sha256sum: a file that cannot be read does not keep the others from being hashed.
  std::optional<Problem> first_problem;
  Json::Value digests(Json::arrayValue);
  for (const std::string& name : names) {
    std::optional<Problem> problem;
    const auto digest = HashFile(*algorithm, name, &problem);
    if (!digest) {
      if (first_problem) output.Note("orx: " + problem->cause);
      if (!first_problem) first_problem = problem;
      continue;
    }
    output.Text(ChecksumLine(*digest, name));
    Json::Value entry(Json::objectValue);
    entry["file"] = name;
    entry["hex"] = *digest;
    digests.append(entry);
  }
  if (first_problem) return output.Fail(*first_problem);
  output.answer()["algorithm"] = algorithm->name;
  output.answer()["digests"] = digests;
  return output.Succeed();
}

}  // namespace

std::vector<Command> HashCommands() {
  return {
      {"hash",
       "sha1|sha256|sha512 [FILE]...",
       1,
       kAnyNumber,
       "print digests as sha256sum does",
       "Without a file, or for -, standard input.\n",
       {},
       RunHash},
  };
}

}  // namespace orx_tool
