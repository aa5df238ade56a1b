// SPDX-License-Identifier: Apache-2.0
#include "sim/base/deleted_keys.h"

#include <android-base/file.h>
#include <android-base/strings.h>
#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "sim/base/files.h"

namespace orx_sim {
namespace {

using android::base::unique_fd;

constexpr off_t kCountBytes = sizeof(DeletedKeys::kEmpty) - 1;
constexpr char kAll[] = "*";
constexpr char kCut[] = ": cut; keys that were deleted would come back";

std::string Hex(const KeyId& id) {
  std::string text;
  for (const uint8_t byte : id) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

bool IsHexId(const std::string& text) {
  return text.size() == 2 * sizeof(KeyId) &&
         text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

// Reads from `offset` to the end.
bool ReadFrom(const unique_fd& fd, off_t offset, std::string* out) {
  return lseek(fd.get(), offset, SEEK_SET) == offset && android::base::ReadFdToString(fd, out);
}

bool WriteAt(const unique_fd& fd, off_t offset, const std::string& text) {
  const ssize_t written = TEMP_FAILURE_RETRY(pwrite(fd.get(), text.data(), text.size(), offset));
  return written == static_cast<ssize_t>(text.size());
}

}  // namespace

bool DeletedKeys::Seen::operator==(const Seen& other) const {
  return inode == other.inode && size == other.size && changed.tv_sec == other.changed.tv_sec &&
         changed.tv_nsec == other.changed.tv_nsec;
}

bool DeletedKeys::Check(std::string* error) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return Refresh(error);
}

bool DeletedKeys::Refresh(std::string* error) {
  struct stat status {};
  if (stat(path_.c_str(), &status) != 0) {
    seen_ = Seen();
    *error = Reason(path_);
    return false;
  }
  const Seen now{status.st_ino, status.st_size, status.st_mtim};
  if (now == seen_) return true;
  if (now.inode != seen_.inode || now.size < end_) {
    instances_.clear();
    count_ = 0;
    end_ = kCountBytes;
  }
  seen_ = Seen();
  if (!ReadOn(error)) return false;
  seen_ = now;
  return true;
}

// Takes what came after the part that is known. A last line without its end is a deletion that was
// never confirmed. The count is read first: a deletion that is added meanwhile comes before its
// count.
bool DeletedKeys::ReadOn(std::string* error) {
  const unique_fd fd(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
  char count[kCountBytes + 1] = {};
  std::string text;
  if (!fd.ok() || !android::base::ReadFullyAtOffset(fd, count, kCountBytes, 0) ||
      !ReadFrom(fd, end_, &text)) {
    *error = fd.ok() ? path_ + kCut : Reason(path_);
    return false;
  }
  size_t line = 0;
  for (size_t end = 0; (end = text.find('\n', line)) != std::string::npos; line = end + 1) {
    if (!TakeLine(text.substr(line, end - line))) {
      *error = path_ + ": damaged: \"" + text.substr(line, end - line) + "\"";
      return false;
    }
    ++count_;
  }
  end_ += static_cast<off_t>(line);
  if (count[kCountBytes - 1] == '\n' && strtoull(count, nullptr, 10) <= count_) return true;
  *error = path_ + kCut;
  return false;
}

bool DeletedKeys::TakeLine(const std::string& line) {
  const std::vector<std::string> words = android::base::Split(line, " ");
  if (words.size() != 2) return false;
  OfInstance& instance = instances_[words[0]];
  if (words[1] == kAll) {
    ++instance.era;
    instance.ids.clear();
    return true;
  }
  instance.ids.insert(words[1]);
  return IsHexId(words[1]);
}

bool DeletedKeys::Add(const std::string& instance, const KeyId& id, std::string* error) {
  return Append(instance + " " + Hex(id), error);
}

bool DeletedKeys::AddAll(const std::string& instance, std::string* error) {
  return Append(instance + " " + kAll, error);
}

// The count follows the deletion: a device that dies in between has one more than it counts.
bool DeletedKeys::Append(const std::string& line, std::string* error) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!Refresh(error)) return false;
  const unique_fd fd(open(path_.c_str(), O_WRONLY | O_CLOEXEC));
  char count[sizeof(kEmpty)];
  snprintf(count, sizeof(count), "%010llu\n", static_cast<unsigned long long>(count_) + 1);
  if (fd.ok() && ftruncate(fd.get(), end_) == 0 && WriteAt(fd, end_, line + "\n") &&
      fsync(fd.get()) == 0 && WriteAt(fd, 0, count)) {
    return true;
  }
  *error = Reason(path_);
  if (fd.ok() && ftruncate(fd.get(), end_) != 0) *error += ", and half a line stays in it";
  return false;
}

bool DeletedKeys::IsKnown() {
  std::string error;
  if (Refresh(&error)) return true;
  fprintf(stderr, "simulated device: %s\n", error.c_str());
  return false;
}

uint32_t DeletedKeys::Era(const std::string& instance) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return IsKnown() ? instances_[instance].era : UINT32_MAX;
}

bool DeletedKeys::Contains(const std::string& instance, uint32_t era, const KeyId& id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!IsKnown()) return true;
  const OfInstance& known = instances_[instance];
  return known.era != era || known.ids.count(Hex(id)) != 0;
}

}  // namespace orx_sim
