// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/progress.h"

#include <stdio.h>

#include <algorithm>

namespace orx_tool {
namespace {

constexpr uint64_t kBarWidth = 40;

std::string Megabytes(uint64_t bytes) {
  char text[32];
  snprintf(text, sizeof(text), "%.1f MB", static_cast<double>(bytes) / 1e6);
  return text;
}

}  // namespace

void StatusLine::Show(const std::string& text) {
  if (!enabled_ || text == shown_) return;
  fprintf(stderr, "\r%s\033[K", text.c_str());
  fflush(stderr);
  shown_ = text;
}

void Progress::Advance(uint64_t bytes) {
  done_ += bytes;
  if (!total_ || *total_ == 0) {
    line_.Show(Megabytes(done_));
    return;
  }
  const uint64_t filled = std::min(done_ * kBarWidth / *total_, kBarWidth);
  const std::string bar = std::string(filled, '#') + std::string(kBarWidth - filled, ' ');
  line_.Show("[" + bar + "] " + Megabytes(done_) + " of " + Megabytes(*total_));
}

}  // namespace orx_tool
