// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/file_faults.h"

#include <android-base/file.h>
#include <android-base/macros.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <utility>

#include "sim/tool/file_calls.h"

namespace orx_sim {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

const SystemCall* Find(int number) {
  const auto* const found =
      std::find_if(std::begin(kSystemCalls), std::end(kSystemCalls),
                   [number](const SystemCall& row) { return row.number == number; });
  return found == std::end(kSystemCalls) ? nullptr : found;
}

// Reads a path out of a process. A page that is not there may follow its end.
std::string PathAt(pid_t pid, uint64_t address) {
  constexpr size_t kPage = 4096;
  std::string path;
  while (path.size() < PATH_MAX) {
    char part[kPage];
    const size_t length = kPage - (address + path.size()) % kPage;
    const iovec to = {part, length};
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address in the other process, given as a number
    const iovec from = {reinterpret_cast<void*>(address + path.size()), length};
    const ssize_t got = process_vm_readv(pid, &to, 1, &from, 1, 0);
    if (got <= 0) return "";
    const size_t text = strnlen(part, static_cast<size_t>(got));
    path.append(part, text);
    if (text < static_cast<size_t>(got)) return path;
  }
  return "";
}

std::string Link(pid_t pid, const std::string& name) {
  std::string target;
  return android::base::Readlink("/proc/" + std::to_string(pid) + "/" + name, &target) ? target
                                                                                       : "";
}

// The path of the file that a call is about, as its process sees it.
std::string FileOf(const seccomp_notif& question, const SystemCall& row) {
  const auto pid = static_cast<pid_t>(question.pid);
  const int descriptor = row.descriptor == kNoArgument
                             ? AT_FDCWD
                             : static_cast<int>(question.data.args[row.descriptor]);
  const std::string start = descriptor == AT_FDCWD ? "cwd" : "fd/" + std::to_string(descriptor);
  if (row.path == kNoArgument) return Link(pid, start);
  const fs::path path = PathAt(pid, question.data.args[row.path]);
  return path.is_absolute() ? path.lexically_normal()
                            : (fs::path(Link(pid, start)) / path).lexically_normal();
}

bool Changes(const seccomp_notif& question, const SystemCall& row) {
  if (row.flags == kNoArgument) return row.call != std::string("read");
  const auto flags = static_cast<int>(question.data.args[row.flags]);
  return (flags & O_ACCMODE) != O_RDONLY || (flags & (O_CREAT | O_TRUNC)) != 0;
}

bool IsBelow(const std::string& file, const std::string& folder) {
  return file.size() > folder.size() && file[folder.size()] == '/' &&
         file.compare(0, folder.size(), folder) == 0;
}

}  // namespace

FileFaults::FileFaults(unique_fd questions, FaultTable* faults, std::vector<std::string> folders)
    : questions_(std::move(questions)),
      stop_(eventfd(0, EFD_CLOEXEC)),
      faults_(faults),
      folders_(std::move(folders)),
      thread_([this] { Serve(); }) {}

FileFaults::~FileFaults() {
  eventfd_write(stop_.get(), 1);
  thread_.join();
}

void FileFaults::Serve() const {
  for (;;) {
    pollfd fds[] = {{stop_.get(), POLLIN, 0}, {questions_.get(), POLLIN, 0}};
    if (TEMP_FAILURE_RETRY(poll(fds, 2, -1)) < 0 || fds[0].revents != 0) return;
    if ((fds[1].revents & POLLIN) == 0) return;  // nobody is left who could ask
    AnswerOne();
  }
}

void FileFaults::AnswerOne() const {
  seccomp_notif question{};
  if (ioctl(questions_.get(), SECCOMP_IOCTL_NOTIF_RECV, &question) != 0) return;
  seccomp_notif_resp answer{};
  answer.id = question.id;
  answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
  if (const SystemCall* const row = Find(question.data.nr)) {
    const std::string file = FileOf(question, *row);
    const bool ours = std::any_of(folders_.begin(), folders_.end(),
                                  [&file](const auto& folder) { return IsBelow(file, folder); });
    const int error_number = ours ? faults_->OnFileCall(row->call, Changes(question, *row)) : 0;
    if (error_number != 0) {
      answer.flags = 0;
      answer.error = -error_number;
    }
  }
  ioctl(questions_.get(), SECCOMP_IOCTL_NOTIF_SEND, &answer);
}

}  // namespace orx_sim
