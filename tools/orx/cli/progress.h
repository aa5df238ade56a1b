// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/orx/cli/output.h"

namespace orx_tool {

// StatusLine draws one line on a terminal's standard error and removes it in the end. Without a
// terminal it does nothing.
class StatusLine {
 public:
  explicit StatusLine(const Output& output) : enabled_(output.interactive()) {}
  ~StatusLine() { Show(""); }
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  void Show(const std::string& text);

 private:
  bool enabled_;
  std::string shown_;
};

// Progress is a bar over a known number of bytes, or a count of bytes when the total is not known.
class Progress {
 public:
  Progress(const Output& output, std::optional<uint64_t> total) : line_(output), total_(total) {}
  void Advance(uint64_t bytes);

 private:
  StatusLine line_;
  std::optional<uint64_t> total_;
  uint64_t done_ = 0;
};

}  // namespace orx_tool
