// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <time.h>

namespace orx_tool {

// MonotonicSeconds may be called in a signal handler.
inline double MonotonicSeconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

}  // namespace orx_tool
