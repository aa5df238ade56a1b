// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "common/secret.h"
#include "tools/orx/diagnosis/diagnostics.h"

namespace orx_tool {

using orx_common::SecretBytes;

// Input reads a file or, for the path "-", standard input.
class Input {
 public:
  // Open returns an object that cannot be read, and sets *problem, when the path cannot be opened.
  Input(const std::string& path, std::optional<Problem>* problem);
  ~Input();
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  // ReadFully reads until `size` bytes or the end. Returns the count, or -1 with *problem set.
  ssize_t ReadFully(uint8_t* bytes, size_t size, std::optional<Problem>* problem);
  // The file's size where it is a regular file.
  std::optional<uint64_t> size() const;
  const std::string& name() const { return name_; }

 private:
  std::string name_;
  int fd_;
};

// ReadWhole reads all of `path` into wiped memory; more than `limit` bytes are refused.
std::optional<SecretBytes> ReadWhole(const std::string& path, size_t limit,
                                     std::optional<Problem>* problem);

// Sensitivity of an output: a secret is readable by its owner only.
enum class Privacy { kPublic, kSecret };

// FileOutput writes a file that appears under its name only when it is whole, after Commit synced
// it. Until then it has no name where the file system offers that (O_TMPFILE), so that nothing is
// left behind however the process ends; elsewhere it is a temporary file in the same folder, which
// is removed without Commit and when the process ends by SIGINT, SIGTERM or SIGHUP. A file that is
// replaced keeps its mode. The path "-" is standard output, and what is there but no regular file
// (a device, a pipe) is written directly; neither can be taken back.
class FileOutput {
 public:
  FileOutput(const std::string& path, Privacy privacy, std::optional<Problem>* problem);
  ~FileOutput();
  FileOutput(const FileOutput&) = delete;
  FileOutput& operator=(const FileOutput&) = delete;

  bool Write(const void* bytes, size_t size, std::optional<Problem>* problem);
  bool Commit(std::optional<Problem>* problem);

 private:
  void OpenUnfinished(Privacy privacy);
  void OpenTemporary();
  bool NameUnfinished();
  Problem Failure(int error) const;

  std::string name_;       // for messages
  std::string path_;       // where the file goes in the end, links resolved
  std::string temporary_;  // the unfinished file's name, if it has one
  bool unnamed_ = false;   // the unfinished file has none
  int fd_ = -1;
};

}  // namespace orx_tool
