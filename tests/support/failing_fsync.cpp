// SPDX-License-Identifier: Apache-2.0
#include "tests/support/failing_fsync.h"

#include <errno.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

int fsync_error = 0;
int fsync_calls = 0;

}  // namespace

// The program's definition precedes libc's: no file system here can be told to refuse a sync.
extern "C" int fsync(int fd) {
  ++fsync_calls;
  if (fsync_error == 0) return static_cast<int>(syscall(SYS_fsync, fd));
  errno = fsync_error;
  return -1;
}

namespace orx_test {

void FailFsync(int error) {
  fsync_error = error;
}
int FsyncCalls() {
  return fsync_calls;
}

}  // namespace orx_test
