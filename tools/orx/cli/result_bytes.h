// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/orx/cli/args.h"
#include "tools/orx/cli/encoding.h"
#include "tools/orx/cli/files.h"
#include "tools/orx/cli/output.h"

namespace orx_tool {

// ResultBytes is where a command's bytes go: the file of --output in the form of --format, or
// standard output; under --json without a file, the member "hex" of the answer.
class ResultBytes {
 public:
  ResultBytes(const Args& args, Output& output, Format default_format, Privacy privacy,
              std::optional<Problem>* problem);

  // Write adds bytes. In pieces, all but the last must be a multiple of three bytes.
  bool Write(const uint8_t* bytes, size_t size, std::optional<Problem>* problem);
  // Finish ends the text forms with a line feed and gives the file its name.
  bool Finish(std::optional<Problem>* problem);

 private:
  Output& output_;
  Format format_;
  std::string path_;
  std::optional<FileOutput> file_;
  std::string hex_;
  uint64_t size_ = 0;
};

// WriteResult is the whole of a ResultBytes for bytes that are there at once, and ends the command.
int WriteResult(const Args& args, Output& output, const uint8_t* bytes, size_t size,
                Format default_format, Privacy privacy);

}  // namespace orx_tool
