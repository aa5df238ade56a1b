// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/progress.h"

#include <stdio.h>
#include <unistd.h>

#include <algorithm>

namespace orx_tool {
namespace {

constexpr uint64_t kMaxBarWidth = 40;
constexpr uint64_t kMinBarWidth = 5;
constexpr std::chrono::milliseconds kInterval(100);

std::string Megabytes(uint64_t bytes) {
  char text[32];
  snprintf(text, sizeof(text), "%.1f MB", static_cast<double>(bytes) / 1e6);
  return text;
}

}  // namespace

std::string ProgressText(uint64_t done, std::optional<uint64_t> total, size_t width) {
  if (!total || *total == 0) return Megabytes(done);
  std::string count = Megabytes(done) + " of " + Megabytes(*total);
  const size_t frame = count.size() + 3;  // two brackets and a blank
  if (width < frame + kMinBarWidth) return count;
  const uint64_t bar = std::min<uint64_t>(width - frame, kMaxBarWidth);
  const uint64_t filled = std::min(done * bar / *total, bar);
  return "[" + std::string(filled, '#') + std::string(bar - filled, ' ') + "] " + count;
}

void Progress::Advance(uint64_t bytes) {
  done_ += bytes;
  if (!line_.enabled()) return;
  const auto now = std::chrono::steady_clock::now();
  const bool last = total_ && done_ >= *total_;
  if (now < next_ && !last) return;
  next_ = now + kInterval;
  line_.Show(ProgressText(done_, total_, TerminalWidth(STDERR_FILENO) - 1));
}

}  // namespace orx_tool
