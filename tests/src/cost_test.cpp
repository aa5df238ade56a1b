// SPDX-License-Identifier: Apache-2.0
// What a call costs that no machine changes: the time that it takes is ./dev bench's.
#include <android_host/host.h>
#include <gtest/gtest.h>
#include <keymint/ORX_KEYMINT.h>
#include <orx/orx.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <vector>

#include "bench/bench.h"
#include "bench/instant_device.h"
#include "tests/support/scripted_modem.h"

namespace android::hardware::keymint::ORX {
namespace {

using Bytes = std::vector<uint8_t>;

// Returns how many system calls `body` makes, in a process of its own after a first time; -1 where
// processes cannot be traced.
int SystemCalls(const std::function<void()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    body();
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
    raise(SIGSTOP);
    body();
    _exit(0);  // one call, which is not the body's
  }
  int status = 0, stops = 0;
  for (waitpid(child, &status, 0); WIFSTOPPED(status); waitpid(child, &status, 0), ++stops) {
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
  }
  // The first stop is the signal's; then each call stops on its way in and out, the last one in.
  return WEXITSTATUS(status) == 0 ? (stops - 2) / 2 : -1;
}

void Message(uint32_t length) {
  const Bytes iv(16), in(length);
  static Bytes out(16384);
  EXPECT_EQ(ORX_SYM_EncryptBegin(nullptr, iv.data(), 16, 0), 0u);
  EXPECT_EQ(ORX_SYM_Encrypt(nullptr, in.data(), out.data(), &length), 0u);
}

void WriteToStore() {
  const uint8_t bytes[300] = {};
  EXPECT_EQ(ORX_STORE_Open(1, nullptr, 1), 0u);
  EXPECT_EQ(ORX_STORE_Write(bytes, 1, sizeof(bytes)), 0u);
  EXPECT_EQ(ORX_STORE_Close(0), 0u);
}

TEST(CostTest, AllocationsCopiesAndSystemCallsStayWhatTheyAre) {
  if (orx_bench::CountMemory == nullptr) GTEST_SKIP() << "another allocator, or an emulator";
  android_host::DisableDeviceModule();
  orx_bench::InstantDevice();
  orx_test::ScriptedModem modem(orx_test::ScriptedModem::Answers("answer"));
  const Bytes blob(300, 'b');
  ASSERT_EQ(store_key_blob(50, blob), 0);
  _ORX_SYM_CONTEXT_S* context = nullptr;
  ASSERT_EQ(ORX_SYM_GetContextForID(&context, 50), 0u);

  uint8_t bytes[4096] = {};
  uint32_t length = 32;
  const struct {
    const char* name;
    std::function<void()> body;
    size_t allocations, copied_bytes;
    int system_calls;
  } rows[] = {
      // Beside the message and the IV of the test itself: one list, one IV, input and output.
      {"message of 16 bytes", [] { Message(16); }, 6, 48, 0},
      {"message of 16 KiB", [] { Message(16384); }, 6, 2 * 16384 + 16, 0},
      {"RSA signature", [&] { ORX_RSA_Sign(50, bytes, bytes, 32, &length, 2, 1); }, 10, 827, 5},
      {"KDF of 128 blocks", [&] { ORX_LIB_KDF_Gen(1, 2, 32, bytes, 0, bytes, 4096, bytes); }, 257,
       4640, 0},
      {"blob loaded", [] { load_key_blob(50); }, 3, 642, 5},
      {"blob stored", [&] { store_key_blob(50, blob); }, 2, 600, 4},
      {"store written", WriteToStore, 2, 0, 3},
      {"modem asked", [&] { ORX_communicate_with_modem("AT+GMR", reinterpret_cast<char*>(bytes)); },
       1, 0, 13},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    row.body();
    const orx_bench::MemoryUse use = orx_bench::CountMemory(row.body);
    EXPECT_EQ(use.allocations, row.allocations);
    EXPECT_EQ(use.copied_bytes, row.copied_bytes);
    const int calls = SystemCalls(row.body);
    if (calls >= 0) {
      EXPECT_EQ(calls, row.system_calls);
    }
  }
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
