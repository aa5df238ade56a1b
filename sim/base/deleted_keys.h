// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>
#include <time.h>

#include <map>
#include <mutex>
#include <set>
#include <string>

#include "sim/base/bytes.h"

namespace orx_sim {

// DeletedKeys is a device's list of deletions, per KeyMint instance. A key belongs to the era in
// which it was made; the deletion of all keys begins the next. The list is a file of lines:
//
//   COUNT            ten digits: as many deletions follow at least. A list with fewer was cut.
//   INSTANCE KEYID   a deleted key (32 hex digits)
//   INSTANCE *       all keys of the instance that were there
//
// It is only ever appended to. What it says is kept in memory and read on where the file grew, so
// that a question takes the same time however many keys were deleted. All methods may be called
// from any thread; who adds holds the lock of the device's folder.
class DeletedKeys {
 public:
  // A list without a deletion.
  static constexpr char kEmpty[] = "0000000000\n";

  explicit DeletedKeys(std::string path) : path_(std::move(path)) {}

  // Check returns whether the list is there and whole; what is wrong in `*error`.
  bool Check(std::string* error);

  // Add and AddAll return false with the reason in `*error` when nothing could be added.
  bool Add(const std::string& instance, const KeyId& id, std::string* error);
  bool AddAll(const std::string& instance, std::string* error);

  // Without the whole list no key is known to be still there: then every key counts as deleted, and
  // standard error tells why.
  uint32_t Era(const std::string& instance);
  bool Contains(const std::string& instance, uint32_t era, const KeyId& id);

 private:
  struct OfInstance {
    uint32_t era = 0;
    std::set<std::string> ids;  // deleted in this era
  };
  // What the file was like when it was read last.
  struct Seen {
    ino_t inode = 0;
    off_t size = -1;
    timespec changed{};
    bool operator==(const Seen& other) const;
    bool operator!=(const Seen& other) const { return !(*this == other); }
  };

  bool Refresh(std::string* error);
  bool ReadOn(std::string* error);
  bool TakeLine(const std::string& line);
  bool IsKnown();
  bool Append(const std::string& line, std::string* error);

  const std::string path_;
  std::mutex mutex_;
  std::map<std::string, OfInstance> instances_;
  uint64_t count_ = 0;  // lines that were taken
  off_t end_ = 0;       // where the next line begins
  Seen seen_;
};

}  // namespace orx_sim
