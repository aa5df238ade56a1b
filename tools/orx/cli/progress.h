// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
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
  ~StatusLine() { ClearStatus(); }
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  bool enabled() const { return enabled_; }
  void Show(const std::string& text) const {
    if (enabled_) DrawStatus(text);
  }

 private:
  bool enabled_;
};

// ProgressText is a bar with the count behind it, at most `width` columns long, or the count alone
// where there is no total or no room.
std::string ProgressText(uint64_t done, std::optional<uint64_t> total, size_t width);

// Progress shows how many bytes are done, ten times a second at most and when all are.
class Progress {
 public:
  Progress(const Output& output, std::optional<uint64_t> total) : line_(output), total_(total) {}
  void Advance(uint64_t bytes);

 private:
  StatusLine line_;
  std::optional<uint64_t> total_;
  uint64_t done_ = 0;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace orx_tool
