// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/file_calls.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <iterator>

namespace orx_sim {
namespace {

#if defined(__x86_64__)
constexpr uint32_t kArchitecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr uint32_t kArchitecture = AUDIT_ARCH_AARCH64;
#elif defined(__arm__)
constexpr uint32_t kArchitecture = AUDIT_ARCH_ARM;
#else
#error "no architecture whose system calls are known"
#endif

}  // namespace

int FilterFileCalls() {
  constexpr size_t kRows = std::size(kSystemCalls);
  sock_filter filter[4 + 2 * kRows + 1] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kArchitecture, 1, 0),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
  sock_filter* next = filter + 4;
  for (const SystemCall& row : kSystemCalls) {
    *next++ = BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(row.number), 0, 1);
    *next++ = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF);
  }
  *next = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
  const sock_fprog program = {static_cast<unsigned short>(std::size(filter)), filter};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return -1;
  return static_cast<int>(
      syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
}

}  // namespace orx_sim
