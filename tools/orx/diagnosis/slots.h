// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <optional>
#include <string>

#include "tools/orx/diagnosis/diagnostics.h"

namespace orx_tool {

// The folder in which the library keeps key blobs and store files.
constexpr const char kPersistFolder[] = "/mnt/vendor/persist/security";

// More of a file there than any key blob has.
constexpr size_t kBlobLimit = 1024UL * 1024;

// Slot is a key id with the file that holds its key blob.
struct Slot {
  int key_id;
  const char* file;  // within kPersistFolder
  std::string path() const { return std::string(kPersistFolder) + "/" + file; }
};

// kSlots lists the key ids of the library in the order of its own table.
constexpr std::array<Slot, 5> kSlots = {{{17, "zol_key_cek"},
                                         {14, "zol_key_iprm"},
                                         {50, "zol_key_user0"},
                                         {51, "zol_key_user1"},
                                         {52, "zol_key_user2"}}};

// CheckPersistFolder says why the folder cannot be used, if so.
std::optional<Problem> CheckPersistFolder();

// IsEmptyFile says whether `path` is a file without a byte, as storing a key leaves it when the
// process is killed or the power goes.
bool IsEmptyFile(const std::string& path);

enum class Access { kRead, kWrite };

// DiagnoseStorage is Diagnose for a call that reads or writes `path` in the persist folder. The
// library does not tell why a file could not be opened; this looks. What a message says itself goes
// before `access`: storing a key may end in reading one.
Problem DiagnoseStorage(const std::vector<LogLine>& lines, const std::string& path,
                        Access access = Access::kRead);

}  // namespace orx_tool
