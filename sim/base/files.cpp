// SPDX-License-Identifier: Apache-2.0
#include "sim/base/files.h"

#include <android-base/file.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

namespace orx_sim {

using android::base::unique_fd;

std::string Reason(const std::string& path) {
  return path + ": " + strerror(errno);
}

namespace {

bool Fail(const std::string& path, std::string* error) {
  *error = Reason(path);
  return false;
}

// Writes and syncs what is kept; on failure the file is removed again.
bool Fill(const unique_fd& fd, const std::string& path, std::string_view content, Lifetime lifetime,
          std::string* error) {
  if (android::base::WriteFully(fd, content.data(), content.size()) &&
      (lifetime == Lifetime::kThrownAway || fsync(fd.get()) == 0)) {
    return true;
  }
  Fail(path, error);
  unlink(path.c_str());
  return false;
}

}  // namespace

bool ReadFile(const std::string& path, std::string* content, std::string* error) {
  return android::base::ReadFileToString(path, content) || Fail(path, error);
}

bool WriteNewFile(const std::string& path, std::string_view content, Lifetime lifetime,
                  std::string* error) {
  const unique_fd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!fd.ok()) return Fail(path, error);
  return Fill(fd, path, content, lifetime, error);
}

bool ReplaceFile(const std::string& path, std::string_view content, std::string* error) {
  const std::string incomplete = path + ".new";
  unlink(incomplete.c_str());
  if (!WriteNewFile(incomplete, content, Lifetime::kKept, error)) return false;
  if (rename(incomplete.c_str(), path.c_str()) == 0) return true;
  Fail(path, error);
  unlink(incomplete.c_str());
  return false;
}

bool MakeFolder(const std::string& path, std::string* error) {
  return mkdir(path.c_str(), 0700) == 0 || Fail(path, error);
}

unique_fd LockFolder(const std::string& path, std::string* error) {
  unique_fd fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.ok() && TEMP_FAILURE_RETRY(flock(fd.get(), LOCK_EX)) == 0) return fd;
  Fail(path, error);
  return unique_fd();
}

void RemoveContent(const std::string& path) {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(path, ignored)) {
    RemoveTree(entry.path());
  }
}

void RemoveTree(const std::string& path) {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

}  // namespace orx_sim
