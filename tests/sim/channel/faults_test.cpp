// SPDX-License-Identifier: Apache-2.0
#include "sim/channel/faults.h"

#include <android/binder_manager.h>
#include <android_host/host.h>
#include <gmock/gmock.h>
#include <openssl/err.h>

#include <filesystem>

#include "sim/channel/channel.h"
#include "sim/device.h"
#include "tests/sim/simulated_device.h"

namespace orx_sim {
namespace {

using km::KeyPurpose;
using ::testing::HasSubstr;
using ::testing::StartsWith;

template <typename Interface>
std::shared_ptr<Interface> Service(const std::string& instance) {
  const std::string name = std::string(Interface::descriptor) + "/" + instance;
  return Interface::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(name.c_str())));
}

KeyParams AesRequest() {
  return {{Tag::ALGORITHM, km::Algorithm::AES},
          {Tag::PURPOSE, KeyPurpose::ENCRYPT},
          {Tag::BLOCK_MODE, km::BlockMode::ECB},
          {Tag::PADDING, km::PaddingMode::NONE},
          {Tag::NO_AUTH_REQUIRED, true}};
}

// A device as a process sees it once attached.
class FaultsTest : public ::testing::Test {
 protected:
  FaultsTest() {
    android_host::DisableDeviceModule();
    std::string pattern = ::testing::TempDir() + "/faults.XXXXXX";
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    parent_ = pattern;
    std::string error;
    device_ = Device::Create(parent_ + "/device", "dual-sim", &error);
    EXPECT_TRUE(device_) << error;
  }
  ~FaultsTest() override {
    android_host::ClearServices();
    RemoveTree(parent_);
  }

  void Add(const std::string& fault) {
    std::string error;
    EXPECT_TRUE(device_->faults().Add(fault, &error)) << error;
  }

  void Attach(const std::vector<std::string>& settings = {}) {
    std::string error;
    EXPECT_TRUE(device_->folder().Set(settings, &error)) << error;
    device_->Attach();
    tee_ = Service<km::IKeyMintDevice>("default");
    strongbox_ = Service<km::IKeyMintDevice>("strongbox");
  }

  static ndk::ScopedAStatus Import(km::IKeyMintDevice& keymint, km::KeyCreationResult* result) {
    return keymint.importKey(AesRequest(), km::KeyFormat::RAW, Bytes(16), std::nullopt, result);
  }

  static ndk::ScopedAStatus Begin(km::IKeyMintDevice& keymint, km::BeginResult* result) {
    km::KeyCreationResult key;
    EXPECT_TRUE(Import(keymint, &key).isOk());
    return keymint.begin(KeyPurpose::ENCRYPT, key.keyBlob, AesRequest(), std::nullopt, result);
  }

  static int32_t BeginCode(km::IKeyMintDevice& keymint) {
    km::BeginResult result;
    return static_cast<int32_t>(CodeOf(Begin(keymint, &result)));
  }

  std::string parent_;
  std::unique_ptr<Device> device_;
  std::shared_ptr<km::IKeyMintDevice> tee_;
  std::shared_ptr<km::IKeyMintDevice> strongbox_;
};

TEST_F(FaultsTest, WrongSpecificationsAreNamed) {
  struct Case {
    const char* spec;
    const char* reason;
  };
  const Case cases[] = {
      {"", "not of the form"},
      {"begin:-62:1", "not of the form"},
      {"start:-62", "\"start\" is no method"},
      {"operation.begin:-62", "\"operation.begin\" is no method"},
      {"begin:-62@0", "\"@0\" is no count"},
      {"begin:-62@x", "\"@x\" is no count"},
      {"begin:empty-blob", "\"empty-blob\" is no effect on begin; there are a number, dead-object"},
      {"begin:transaction", "transaction=STATUS"},
      {"begin:-62x", "is no effect"},
      {"getSharedSecretParameters:seed=-1", "is no effect"},
      {"service:tee:absent", "\"tee\" is no service; there are default and strongbox"},
      {"service:strongbox:gone", "not of the form"},
      {"modem:hoarse", "modem:late"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.spec);
    std::string error;
    EXPECT_FALSE(device_->faults().Add(c.spec, &error));
    EXPECT_THAT(error, StartsWith("fault \"" + std::string(c.spec) + "\": "));
    EXPECT_THAT(error, HasSubstr(c.reason));
    EXPECT_EQ(error.find('\n'), std::string::npos);
  }
  Attach();
  EXPECT_EQ(BeginCode(*tee_), 0);
}

TEST_F(FaultsTest, CountsTheCallsThatFit) {
  Add("begin:-62@2");
  Add("strongbox.keymint.begin:-31@1");
  Attach();
  EXPECT_EQ(BeginCode(*strongbox_), -31) << "the second fault; counts as the first's first call";
  EXPECT_EQ(BeginCode(*tee_), -62);
  EXPECT_EQ(BeginCode(*tee_), 0);
  EXPECT_EQ(BeginCode(*strongbox_), 0);
}

TEST_F(FaultsTest, StatusesOfEveryKindReachTheCaller) {
  struct Case {
    const char* fault;
    binder_exception_t exception;
    int32_t code;
  };
  const Case cases[] = {
      {"begin:-62@1", EX_SERVICE_SPECIFIC, -62},
      {"begin:0@2", EX_SERVICE_SPECIFIC, 0},
      {"begin:dead-object@3", EX_TRANSACTION_FAILED, STATUS_DEAD_OBJECT},
      {"begin:transaction=-74@4", EX_TRANSACTION_FAILED, STATUS_UNKNOWN_TRANSACTION},
      {"begin:exception=-1@5", EX_SECURITY, 0},
  };
  for (const Case& c : cases) Add(c.fault);
  Add("begin:null-status@6");
  Attach();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fault);
    km::BeginResult result;
    result.challenge = 77;
    const ndk::ScopedAStatus status = Begin(*tee_, &result);
    EXPECT_EQ(status.getExceptionCode(), c.exception);
    EXPECT_EQ(
        c.exception == EX_SERVICE_SPECIFIC ? status.getServiceSpecificError() : status.getStatus(),
        c.code);
    EXPECT_EQ(result.challenge, 77) << "a failed call leaves its outputs alone";
  }
  km::BeginResult result;
  EXPECT_EQ(Begin(*tee_, &result).get(), nullptr);
  EXPECT_EQ(BeginCode(*tee_), 0);
}

TEST_F(FaultsTest, AlteredAnswersAreAlteredAsNamed) {
  Add("importKey:empty-blob@1");
  Add("importKey:chain@2");
  Add("begin:params@1");
  Add("begin:no-operation@2");
  Attach();
  km::KeyCreationResult key;
  EXPECT_TRUE(Import(*tee_, &key).isOk());
  EXPECT_TRUE(key.keyBlob.empty());
  EXPECT_TRUE(Import(*tee_, &key).isOk());
  EXPECT_FALSE(key.keyBlob.empty());
  EXPECT_EQ(key.certificateChain.size(), 1u);
  km::BeginResult begun;
  EXPECT_TRUE(Begin(*tee_, &begun).isOk());
  EXPECT_EQ(begun.params.size(), 1u);
  EXPECT_TRUE(Begin(*tee_, &begun).isOk());
  EXPECT_EQ(begun.operation, nullptr);
}

TEST_F(FaultsTest, OperationsMisbehaveToo) {
  Add("finish:dead-object@2");
  Attach();
  for (const bool fails : {false, true, false}) {
    km::BeginResult begun;
    Bytes output;
    ASSERT_TRUE(Begin(*tee_, &begun).isOk());
    const ndk::ScopedAStatus status = begun.operation->finish(
        std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt, &output);
    EXPECT_EQ(status.getStatus(), fails ? STATUS_DEAD_OBJECT : STATUS_OK);
  }
}

TEST_F(FaultsTest, ARequestBeyondTheBufferNeverReachesTheDevice) {
  Attach();
  for (const size_t length : {kTransactionBytes - 1024, kTransactionBytes}) {
    const bool fits = length < kTransactionBytes;
    km::BeginResult begun;
    Bytes output = {5};
    ASSERT_TRUE(Begin(*tee_, &begun).isOk());
    EXPECT_EQ(
        begun.operation->update(Bytes(length), std::nullopt, std::nullopt, &output).getStatus(),
        fits ? STATUS_OK : STATUS_FAILED_TRANSACTION);
    EXPECT_EQ(output.size(), fits ? length : 1);
    EXPECT_TRUE(begun.operation->abort().isOk()) << "the operation is still open";
  }
}

// Bytes that an earlier update left to be encrypted make an answer larger than its request.
TEST_F(FaultsTest, AnAnswerBeyondTheBufferFails) {
  Attach();
  const KeyParams params =
      With(Without(AesRequest(), Tag::PADDING), {{Tag::PADDING, km::PaddingMode::PKCS7}});
  km::KeyCreationResult key;
  ASSERT_TRUE(tee_->importKey(params, km::KeyFormat::RAW, Bytes(16), std::nullopt, &key).isOk());
  const size_t longest = kTransactionBytes - kParcelOverheadBytes - 24;
  for (const size_t before : {0, 15}) {
    km::BeginResult begun;
    Bytes output = {5};
    ASSERT_TRUE(tee_->begin(KeyPurpose::ENCRYPT, key.keyBlob, params, std::nullopt, &begun).isOk());
    ASSERT_TRUE(begun.operation->update(Bytes(before), std::nullopt, std::nullopt, &output).isOk());
    const ndk::ScopedAStatus status = begun.operation->finish(
        Bytes(longest), std::nullopt, std::nullopt, std::nullopt, std::nullopt, &output);
    EXPECT_EQ(status.getStatus(), before == 0 ? STATUS_OK : STATUS_FAILED_TRANSACTION);
    EXPECT_EQ(output.size(), before == 0 ? (longest / 16 + 1) * 16 : 0);
  }
}

TEST_F(FaultsTest, TheDevicesCryptographyLeavesNoTraceInTheCallersErrorQueue) {
  Attach();
  ERR_clear_error();
  ERR_put_error(ERR_LIB_USER, 0, 1, __FILE__, __LINE__);
  const uint32_t own = ERR_peek_error();
  KeyParams rsa = EcRequest(KeyPurpose::SIGN);
  rsa[0] = {Tag::ALGORITHM, km::Algorithm::RSA};
  km::KeyCreationResult key;
  EXPECT_EQ(
      CodeOf(tee_->importKey(rsa, km::KeyFormat::PKCS8, Bytes(100, 0x30), std::nullopt, &key)),
      ErrorCode::INVALID_ARGUMENT);
  EXPECT_EQ(ERR_get_error(), own);
  EXPECT_EQ(ERR_get_error(), 0u);
}

}  // namespace
}  // namespace orx_sim
