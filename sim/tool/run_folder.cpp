// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/run_folder.h"

#include <android-base/file.h>
#include <android-base/macros.h>
#include <android-base/strings.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "sim/base/files.h"

namespace orx_sim {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

constexpr char kPrefix[] = "orx-sim-run.";
constexpr char kLock[] = "/lock";

// Takes the lock of a folder if nobody has it. Invalid also when the folder went away meanwhile.
unique_fd TryLock(const std::string& folder, int flags) {
  const std::string path = folder + kLock;
  unique_fd lock(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC | flags, 0600));
  struct stat locked {};
  struct stat there {};
  if (lock.ok() && flock(lock.get(), LOCK_EX | LOCK_NB) == 0 && fstat(lock.get(), &locked) == 0 &&
      stat(path.c_str(), &there) == 0 && locked.st_ino == there.st_ino) {
    return lock;
  }
  return unique_fd();
}

bool IsOwnFolder(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid();
}

void RemoveLeftovers(const fs::path& parent) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(parent, error)) {
    const std::string path = entry.path();
    if (!android::base::StartsWith(entry.path().filename().string(), kPrefix)) continue;
    if (IsOwnFolder(path) && TryLock(path, 0).ok()) RemoveTree(path);
  }
}

// Waits until the run has ended, by whatever means, and removes what it left.
[[noreturn]] void Clean(const std::string& path, const unique_fd& run_ended) {
  char byte;
  TEMP_FAILURE_RETRY(read(run_ended.get(), &byte, sizeof(byte)));
  RemoveTree(path);
  _exit(0);
}

// Lets go of all that belongs to the run and its terminal, but for the descriptors to keep.
void LeaveTheRun(int keep, int keep_too) {
  setsid();
  if (chdir("/") != 0) _exit(1);
  const int null = open("/dev/null", O_RDWR);
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(null, fd);
  const unsigned low = static_cast<unsigned>(std::min(keep, keep_too));
  const unsigned high = static_cast<unsigned>(std::max(keep, keep_too));
  if (low > 3) close_range(3, low - 1, 0);
  if (high > low + 1) close_range(low + 1, high - 1, 0);
  close_range(high + 1, ~0U, 0);
}

}  // namespace

RunFolder::~RunFolder() {
  if (!path_.empty()) RemoveTree(path_);
  alive_.reset();
  if (cleaner_ > 0) TEMP_FAILURE_RETRY(waitpid(cleaner_, nullptr, 0));
}

bool RunFolder::Make(std::string* error) {
  // An empty TMPDIR is none, as it is to mktemp(1).
  const char* const named = getenv("TMPDIR");
  const fs::path parent = named == nullptr || named[0] == '\0' ? "/tmp" : named;
  std::error_code reason;
  if (!fs::is_directory(parent, reason)) {
    if (!reason) reason = std::make_error_code(std::errc::not_a_directory);
    *error = "the folder for temporary files, " + parent.string() + ": " + reason.message() +
             "; TMPDIR names another";
    return false;
  }
  RemoveLeftovers(parent);
  // Another run that looks for leftovers may take a folder that is not locked yet for one.
  for (int tries = 0; !lock_.ok() && tries < 3; ++tries) {
    std::string path = fs::absolute(parent / kPrefix, reason).string() + "XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
      *error = Reason(path);
      return false;
    }
    path_ = path;
    lock_ = TryLock(path, O_CREAT);
  }
  if (!lock_.ok()) {
    *error = Reason(path_ + kLock);
    return false;
  }
  return StartCleaner(error) && MakeFolder(*this / "socket", error);
}

bool RunFolder::StartCleaner(std::string* error) {
  unique_fd run_ended;
  if (!android::base::Pipe(&run_ended, &alive_, O_CLOEXEC)) {
    *error = Reason("pipe");
    return false;
  }
  cleaner_ = fork();
  if (cleaner_ < 0) *error = Reason("fork");
  if (cleaner_ != 0) return cleaner_ > 0;
  alive_.reset();
  LeaveTheRun(run_ended.get(), lock_.get());
  Clean(path_, run_ended);
}

}  // namespace orx_sim
