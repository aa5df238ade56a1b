// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>

#include <string>
#include <string_view>

namespace orx_sim {

// ReadFile returns false with the reason in `*error`, which names the path.
bool ReadFile(const std::string& path, std::string* content, std::string* error);

// Lifetime says whether what is written must outlive a crash of the machine.
enum class Lifetime { kKept, kThrownAway };

// WriteNewFile makes a file of mode 0600 that must not exist yet.
bool WriteNewFile(const std::string& path, std::string_view content, Lifetime lifetime,
                  std::string* error);

// ReplaceFile puts new content in the place of a file at once: whoever reads sees the old or the
// new one, also after a crash.
bool ReplaceFile(const std::string& path, std::string_view content, std::string* error);

// AppendLine adds a line and its end to a file, which is made if it is not there; nothing or all.
bool AppendLine(const std::string& path, const std::string& line, std::string* error);

// MakeFolder makes a folder of mode 0700.
bool MakeFolder(const std::string& path, std::string* error);

// LockFolder waits for the exclusive lock of a folder; closing the descriptor releases it. Invalid
// with the reason in `*error` when there is none to be had.
android::base::unique_fd LockFolder(const std::string& path, std::string* error);

// RemoveTree removes a folder and what is in it, as far as it can.
void RemoveTree(const std::string& path);

// Reason is "PATH: text of errno".
std::string Reason(const std::string& path);

}  // namespace orx_sim
