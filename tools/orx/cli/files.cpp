// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/files.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "tools/orx/cli/process.h"
#include "tools/orx/cli/signals.h"
#include "tools/orx/cli/terminal.h"

namespace orx_tool {
namespace {

// How much is read first from an input that does not tell its size.
constexpr uint64_t kFirstReadBytes = 64UL * 1024;
// How many left-over temporary names of other processes are passed by.
constexpr int kMaxNames = 100;

bool IsStandardStream(const std::string& path) {
  return path == "-";
}

std::string ResolveLink(const std::string& path) {
  char resolved[PATH_MAX];
  return realpath(path.c_str(), resolved) != nullptr ? resolved : path;
}

bool IsSpecialFile(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

void SyncFolder(const std::string& path) {
  const int fd = open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  fsync(fd);  // the file's own bytes are safe already
  close(fd);
}

// OpenUnnamed opens a file that no name leads to, so that even a killed process leaves none behind;
// -1 where that is not to be had. An Android domain may create files but seldom link them.
int OpenUnnamed(const std::string& folder) {
#ifdef __ANDROID__
  static_cast<void>(folder);
  return -1;
#else
  if (access("/proc/self/fd", X_OK) != 0) return -1;
  return open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
#endif
}

Problem ReadFailure(const std::string& name, int error) {
  return MakeProblem("INPUT-UNREADABLE", "cannot read " + name + ": " + strerror(error));
}

}  // namespace

Input::Input(const std::string& path, std::optional<Problem>* problem)
    : name_(IsStandardStream(path) ? "standard input" : path) {
  fd_ = IsStandardStream(path) ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status;
  if (fd_ < 0 || fstat(fd_, &status) != 0) {
    *problem = ReadFailure(name_, errno);
  } else if (S_ISDIR(status.st_mode)) {
    *problem = ReadFailure(name_, EISDIR);
  }
}

Input::~Input() {
  if (fd_ >= 0) close(fd_);
}

ssize_t Input::ReadFully(uint8_t* bytes, size_t size, std::optional<Problem>* problem) {
  size_t done = 0;
  while (done < size) {
    const ssize_t got = TEMP_FAILURE_RETRY(read(fd_, bytes + done, size - done));
    if (got == 0) break;
    if (got < 0) {
      *problem = ReadFailure(name_, errno);
      return -1;
    }
    done += static_cast<size_t>(got);
  }
  return static_cast<ssize_t>(done);
}

std::optional<uint64_t> Input::size() const {
  struct stat status;
  if (fstat(fd_, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return static_cast<uint64_t>(status.st_size);
}

std::optional<SecretBytes> ReadWhole(const std::string& path, size_t limit,
                                     std::optional<Problem>* problem) {
  Input input(path, problem);
  if (*problem) return std::nullopt;
  // A size of its own is a hint only: pipes have none, and files may grow. One byte more than
  // expected shows the end.
  SecretBytes bytes(std::min<uint64_t>(input.size().value_or(kFirstReadBytes), limit) + 1);
  size_t size = 0;
  for (;;) {
    const ssize_t got = input.ReadFully(bytes.data() + size, bytes.size() - size, problem);
    if (got < 0) return std::nullopt;
    size += static_cast<size_t>(got);
    if (size < bytes.size()) break;
    if (size > limit) {
      *problem = MakeProblem("INPUT-TOO-LARGE",
                             input.name() + " has more than " + std::to_string(limit) + " bytes");
      return std::nullopt;
    }
    SecretBytes larger(std::min(2 * size + 1, limit + 1));
    memcpy(larger.data(), bytes.data(), size);
    bytes = std::move(larger);
  }
  bytes.resize(size);
  return bytes;
}

FileOutput::FileOutput(const std::string& path, Privacy privacy, std::optional<Problem>* problem)
    : name_(IsStandardStream(path) ? "standard output" : path), path_(ResolveLink(path)) {
  if (IsStandardStream(path)) {
    fd_ = dup(STDOUT_FILENO);
  } else if (IsSpecialFile(path_)) {
    fd_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
  } else {
    OpenUnfinished(privacy);
  }
  if (fd_ < 0) *problem = Failure(errno);
}

FileOutput::~FileOutput() {
  if (fd_ >= 0) close(fd_);
  if (temporary_.empty()) return;
  unlink(temporary_.c_str());
  RemoveOnSignal(nullptr);
}

void FileOutput::OpenUnfinished(Privacy privacy) {
  fd_ = OpenUnnamed(FolderOf(path_));
  unnamed_ = fd_ >= 0;
  if (!unnamed_) OpenTemporary();
  if (fd_ < 0) return;
  struct stat old;
  if (stat(path_.c_str(), &old) == 0) {
    // What the user set on the file stays. Only root may give a file away.
    const bool given = fchown(fd_, old.st_uid, old.st_gid) == 0;
    fchmod(fd_, old.st_mode & (given ? 07777 : 0777));
  } else {
    fchmod(fd_, privacy == Privacy::kSecret ? 0600 : UserMode(0666));
  }
}

void FileOutput::OpenTemporary() {
  // A short name of its own: the file's may have no room for a suffix.
  temporary_ = FolderOf(path_) + "/.orx.XXXXXX";
  const EndingSignalsBlocked blocked;
  fd_ = mkostemp(temporary_.data(), O_CLOEXEC);  // mode 0600
  if (fd_ >= 0 && RemoveOnSignal(temporary_.c_str())) return;
  const int error = fd_ < 0 ? errno : ENAMETOOLONG;
  if (fd_ >= 0) unlink(temporary_.c_str());
  if (fd_ >= 0) close(fd_);
  temporary_.clear();
  fd_ = -1;
  errno = error;
}

// NameUnfinished gives the unnamed file a name: its own, or while an old file has that, one from
// which Commit renames it.
bool FileOutput::NameUnfinished() {
  const std::string source = "/proc/self/fd/" + std::to_string(fd_);
  const auto link_to = [&](const std::string& name) {
    return linkat(AT_FDCWD, source.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
  };
  if (link_to(path_)) return true;
  const EndingSignalsBlocked blocked;
  for (int i = 0; errno == EEXIST && i < kMaxNames; ++i) {
    temporary_ = FolderOf(path_) + "/.orx." + std::to_string(getpid()) + "." + std::to_string(i);
    if (link_to(temporary_)) return RemoveOnSignal(temporary_.c_str());
  }
  temporary_.clear();
  return false;
}

bool FileOutput::Write(const void* bytes, size_t size, std::optional<Problem>* problem) {
  if (fd_ >= 0 && !unnamed_ && temporary_.empty()) ClearStatus();  // it may be the same terminal
  const auto* next = static_cast<const uint8_t*>(bytes);
  while (size > 0) {
    const ssize_t written = TEMP_FAILURE_RETRY(write(fd_, next, size));
    if (written < 0) {
      *problem = Failure(errno);
      return false;
    }
    next += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

bool FileOutput::Commit(std::optional<Problem>* problem) {
  if (!unnamed_ && temporary_.empty()) return true;
  const bool synced = fsync(fd_) == 0 || errno == EINVAL || errno == EROFS;
  if (!synced || (unnamed_ && !NameUnfinished()) ||
      (!temporary_.empty() && rename(temporary_.c_str(), path_.c_str()) != 0)) {
    *problem = Failure(errno);
    return false;
  }
  RemoveOnSignal(nullptr);
  temporary_.clear();
  unnamed_ = false;
  SyncFolder(path_);
  return true;
}

Problem FileOutput::Failure(int error) const {
  return MakeProblem("OUTPUT-FAILED", "cannot write " + name_ + ": " + strerror(error));
}

}  // namespace orx_tool
