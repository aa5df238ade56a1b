// SPDX-License-Identifier: Apache-2.0
// What happens where memory runs out: the process ends, and no key file is lost.
#include <android-base/file.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <orx/attest.h>
#include <orx/rsa.h>
#include <orx/sym.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/src/keymint/attestation_fixture.h"
#include "tests/support/failing_new.h"
#include "tests/support/rsa_components.h"

namespace orx_test {
namespace {

using ::testing::AnyOf;

constexpr char kFile50[] = "/mnt/vendor/persist/security/zol_key_user0";
constexpr uint8_t kBytes[16] = {1, 2, 3};
constexpr int kReturned = 7, kThrew = 8;

class NoMemoryTest : public AttestationFixture {
 protected:
  // Runs `body` in a process of its own, in which the operator new that follows `count` others
  // fails, and returns how it ended.
  static int Run(const std::function<void()>& body, size_t count) {
    const pid_t child = fork();
    if (child == 0) {
      const rlimit no_core = {0, 0};
      setrlimit(RLIMIT_CORE, &no_core);
      // Where the C++ library says what it ends for.
      dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
      try {
        FailNewAt(count);
        body();
        _exit(NewFailed() ? kReturned : 0);
      } catch (...) {
        _exit(kThrew);
      }
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
  }
};

TEST_F(NoMemoryTest, EveryFailedAllocationEndsTheProcessAndKeepsTheKeyFile) {
  key_chain = MakeChain(ChainFields({EcKey(0), EcKey(1), EcKey(2), EcKey(3)}));
  ON_CALL(*tee.device, generateKey).WillByDefault([this](auto&&, auto&&, auto* created) {
    created->keyBlob = {1};
    created->certificateChain = key_chain;
    return ::ndk::ScopedAStatus::ok();
  });
  // Blobs that no short string holds without memory.
  const std::string old_blob(100, 'o'), new_blob(101, 'n'), upgraded_blob(102, 'u');
  ON_CALL(*tee.device, importKey).WillByDefault(Succeeds(MockKeyMintDevice::Created(new_blob)));
  ON_CALL(*tee.device, upgradeKey)
      .WillByDefault(Succeeds(Bytes(upgraded_blob.begin(), upgraded_blob.end())));
  const RsaComponents components = ComponentsOf(NewRsaKey(1024).get());
  ON_CALL(*tee.device, begin)
      .WillByDefault(
          [this](km::KeyPurpose purpose, const Bytes& blob, auto&&, auto&&, auto* begun) {
            if (purpose == km::KeyPurpose::DECRYPT && blob.size() == 100) {
              return ::ndk::ScopedAStatus::fromServiceSpecificError(-62);
            }
            begun->operation = tee.operation;
            return ::ndk::ScopedAStatus::ok();
          });
  ORX_SYM_CONTEXT* context;
  uint8_t output[64];
  uint32_t length;
  const auto select = [&] { ORX_SYM_GetContextForID(&context, 50); };
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"import", [&] { ORX_SYM_ImportProtectedKey(0, 50, kBytes, 16, &context); }},
      {"select and begin", [&] { select(), ORX_SYM_EncryptBegin(nullptr, kBytes, 16, 0); }},
      {"encrypt",
       [&] {
         select(), ORX_SYM_EncryptBegin(nullptr, kBytes, 16, 0);
         ORX_SYM_Encrypt(nullptr, kBytes, output, &(length = 16));
       }},
      {"delete", [&] { select(), ORX_SYM_DeleteKeyID(50); }},
      {"import components", [&] { ImportRsaComponents(components, 50); }},
      {"sign", [&] { ORX_RSA_Sign(50, kBytes, output, 16, &(length = 64), 2, 1); }},
      {"upgrade and decrypt",
       [&] { ORX_RSA_EncryptDecrypt(50, 1, kBytes, output, 16, &(length = 64), nullptr, 2); }},
      {"attestation", [&] { ORX_validate_attestation_model("M1", false, false); }},
  };
  for (const auto& [title, body] : rows) {
    SCOPED_TRACE(title);
    size_t count = 0;
    for (int status = -1; status != 0; ++count) {
      ASSERT_TRUE(android::base::WriteStringToFile(old_blob, kFile50));
      status = Run(body, count);
      if (status == 0) break;
      ASSERT_TRUE(WIFSIGNALED(status)) << count << ": " << WEXITSTATUS(status);
      ASSERT_EQ(WTERMSIG(status), SIGABRT) << count;
      std::string content;
      ASSERT_TRUE(android::base::ReadFileToString(kFile50, &content));
      ASSERT_THAT(content, AnyOf(old_blob, new_blob, upgraded_blob)) << count;
    }
    EXPECT_GT(count, 5u);
  }
}

TEST_F(NoMemoryTest, AMessageAtANullPointerEndsTheProcessToo) {
  uint32_t length = 16;
  uint8_t output[16];
  const int status = Run([&] { ORX_SYM_Encrypt(nullptr, nullptr, output, &length); }, 1 << 20);
  EXPECT_TRUE(WIFSIGNALED(status));
}

}  // namespace
}  // namespace orx_test
