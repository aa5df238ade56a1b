// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/log.h>

// ORX_LOG writes one debug line to the Android log under the library's tag: the path of the source
// from the project root, the line number, and the message. `format` is a string literal; the texts
// are part of the library's interface (the tools look causes up by them).
#define ORX_LOG(format, ...)                                                                  \
  static_cast<void>(__android_log_print(ANDROID_LOG_DEBUG, "ORX", "%s:%d: " format, __FILE__, \
                                        __LINE__, ##__VA_ARGS__))
