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
// new one, also after a crash. The caller holds the folder's lock. What a killed process left of
// its own try (PATH.new) is removed.
bool ReplaceFile(const std::string& path, std::string_view content, std::string* error);

// MakeFolder makes a folder of mode 0700.
bool MakeFolder(const std::string& path, std::string* error);

// LockFolder waits for the exclusive lock of a folder; closing the descriptor releases it. Invalid
// with the reason in `*error` when there is none to be had.
android::base::unique_fd LockFolder(const std::string& path, std::string* error);

// RemoveContent removes what is in a folder, as far as it can.
void RemoveContent(const std::string& path);

// RemoveTree removes a folder and what is in it, as far as it can.
void RemoveTree(const std::string& path);

// Reason is "PATH: text of errno".
std::string Reason(const std::string& path);

}  // namespace orx_sim
