// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/process.h"

#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include <new>
#include <optional>

#include "tools/orx/cli/signals.h"

namespace orx_tool {
namespace {

// Nothing for others; for the group only where the user lets it write, so that files are 0660 or
// 0600.
constexpr mode_t kOthers = 0007;
constexpr mode_t kGroupAndOthers = 0077;
std::optional<mode_t> user_umask;

void OpenIfClosed(int fd, int useless_direction) {
  // The lowest free descriptor is `fd`, as those below it are open.
  if (fcntl(fd, F_GETFD) < 0) open("/dev/null", useless_direction);
}

[[noreturn]] void OnNoMemory() {
  constexpr const char kLine[] = "orx: not enough memory [NO-MEMORY]\n";
  const ssize_t ignored = write(STDERR_FILENO, kLine, strlen(kLine));
  static_cast<void>(ignored);
  EndNow(1);
}

}  // namespace

void PrepareProcess() {
  OpenIfClosed(STDIN_FILENO, O_WRONLY);
  OpenIfClosed(STDOUT_FILENO, O_RDONLY);
  OpenIfClosed(STDERR_FILENO, O_RDWR);
  user_umask = umask(kGroupAndOthers);
  if ((*user_umask & S_IWGRP) == 0) umask(*user_umask | kOthers);
  std::set_new_handler(OnNoMemory);
  signal(SIGXFSZ, SIG_IGN);  // a file over the limit is a failed write, which is reported
}

mode_t UserMode(mode_t mode) {
  if (user_umask) return mode & ~*user_umask;
  const mode_t mask = umask(0);
  umask(mask);
  return mode & ~mask;
}

}  // namespace orx_tool
