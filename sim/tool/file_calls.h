// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/syscall.h>

namespace orx_sim {

inline constexpr int kNoArgument = -1;

// SystemCall is a system call, the one of FileCalls() that it is, and which of its arguments are
// the path, the descriptor (with a path, that of the folder where it starts) and open(2)'s flags.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order of the table's columns
struct SystemCall {
  int number;
  const char* call;
  int path = kNoArgument;
  int descriptor = kNoArgument;
  int flags = kNoArgument;
};
inline constexpr SystemCall kSystemCalls[] = {
    {SYS_openat, "open", 1, 0, 2},
    {SYS_read, "read", kNoArgument, 0},
    {SYS_pread64, "read", kNoArgument, 0},
    {SYS_readv, "read", kNoArgument, 0},
    {SYS_write, "write", kNoArgument, 0},
    {SYS_pwrite64, "write", kNoArgument, 0},
    {SYS_writev, "write", kNoArgument, 0},
    {SYS_fsync, "fsync", kNoArgument, 0},
    {SYS_fdatasync, "fsync", kNoArgument, 0},
    {SYS_unlinkat, "unlink", 1, 0},
#if defined(__x86_64__) || defined(__arm__)
    {SYS_open, "open", 0, kNoArgument, 1},
    {SYS_creat, "open", 0},
    {SYS_unlink, "unlink", 0},
#endif
};

// FilterFileCalls has the kernel ask, before it does any of these in this process and those that it
// starts, whoever holds the descriptor that is returned (seccomp_unotify(2)): so faults show in
// every program, statically linked ones included. -1 with the reason in errno when it cannot.
int FilterFileCalls();

}  // namespace orx_sim
