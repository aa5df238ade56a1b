// SPDX-License-Identifier: Apache-2.0
#include "sim/channel/faults.h"

#include <android/binder_manager.h>
#include <android_host/host.h>
#include <gmock/gmock.h>
#include <openssl/err.h>

#include <array>

#include "sim/channel/channel.h"
#include "sim/device.h"
#include "tests/sim/simulated_device.h"
#include "tests/support/mock_hals.h"
#include "tests/support/temp_folder.h"

namespace orx_sim {
namespace {

using km::KeyPurpose;

template <typename Interface>
std::shared_ptr<Interface> Service(const std::string& instance) {
  const std::string name = std::string(Interface::descriptor) + "/" + instance;
  return Interface::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(name.c_str())));
}

// A device as a process sees it once attached.
class FaultsTest : public ::testing::Test {
 protected:
  FaultsTest() {
    android_host::DisableDeviceModule();
    std::string error;
    device_ = Device::Create(parent_ / "device", "dual-sim", &error);
    EXPECT_TRUE(device_) << error;
  }
  ~FaultsTest() override { android_host::ClearServices(); }

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
    return keymint.begin(KeyPurpose::ENCRYPT, key.keyBlob, AesUse(), std::nullopt, result);
  }

  static int32_t BeginCode(km::IKeyMintDevice& keymint) {
    km::BeginResult result;
    return static_cast<int32_t>(CodeOf(Begin(keymint, &result)));
  }

  orx_test::TempFolder parent_;
  std::unique_ptr<Device> device_;
  std::shared_ptr<km::IKeyMintDevice> tee_;
  std::shared_ptr<km::IKeyMintDevice> strongbox_;
};

TEST_F(FaultsTest, WrongSpecificationsAreNamed) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "not of the form"},
      {"begin:-62:1", "not of the form"},
      {"start:-62", "\"start\" is not a method"},
      {"operation.begin:-62", "\"operation.begin\" is not a method"},
      {"begin:-62@0", "\"@0\" is not a count"},
      {"begin:empty-blob", "\"empty-blob\" is not an effect on begin; there are a number, dead"},
      {"begin:transaction", "transaction=STATUS"},
      {"begin:delay=-1", "delay=SECONDS"},
      {"begin:-62x", "is not an effect"},
      {"getSharedSecretParameters:seed=-1", "is not an effect"},
      {"getSharedSecretParameters:seed=4097", "is not an effect"},
      {"getSharedSecretParameters:nonce=-1", "is not an effect"},
      {"getSharedSecretParameters:nonce=4097", "is not an effect"},
      {"service:tee:absent", "\"tee\" is not a service; there are default and strongbox"},
      {"service:strongbox:gone", "not of the form"},
      {"service:strongbox:absent@1", "leave out @1"},
      {"modem:hoarse", "there are delay=SECONDS, late, "},
      {"modem:late@0", "\"@0\" is not a count"},
      {"write:ENOTHING", "not the name of an error"},
      {"persist:full", "can be missing or read-only"},
  };
  for (const auto& [spec, reason] : cases) {
    SCOPED_TRACE(spec);
    std::string error;
    EXPECT_FALSE(device_->faults().Add(spec, &error));
    EXPECT_THAT(error, testing::StartsWith("fault \"" + std::string(spec) + "\": "));
    EXPECT_THAT(error, testing::HasSubstr(reason));
    EXPECT_EQ(error.find('\n'), std::string::npos);
  }
  Attach();
  EXPECT_EQ(BeginCode(*tee_), 0);
  Add("getSharedSecretParameters:seed=4096");
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

TEST_F(FaultsTest, ARequestMeetsAllFaultsThatAreDue) {
  for (const char* fault : {"modem:late@2", "modem:echo", "open:EROFS"}) Add(fault);
  FaultTable& faults = device_->faults();
  EXPECT_EQ(faults.OnModemRequest(), (ModemFaults{{ModemFault::kEcho, 0}}));
  EXPECT_EQ(faults.OnModemRequest(),
            (ModemFaults{{ModemFault::kEcho, 0}, {ModemFault::kDelay, 5000}}));
  EXPECT_EQ(faults.OnModemRequest().size(), 1u);
  EXPECT_EQ(faults.OnFileCall("open", false), 0) << "reading is possible on a read-only disk";
}

TEST_F(FaultsTest, AnOutdatedKeyIsOneUntilItIsUpgraded) {
  Add("begin:outdated");
  Attach();
  EXPECT_EQ(BeginCode(*tee_), -62);
  EXPECT_EQ(BeginCode(*tee_), -62);
  km::KeyCreationResult key;
  ASSERT_TRUE(Import(*tee_, &key).isOk());
  Bytes upgraded;
  EXPECT_TRUE(tee_->upgradeKey(key.keyBlob, {}, &upgraded).isOk());
  EXPECT_FALSE(upgraded.empty());
  EXPECT_EQ(BeginCode(*tee_), 0);
}

TEST_F(FaultsTest, AnEarlierVersionDoesNotKnowLaterMethods) {
  for (const int version : {1, 2}) {
    Attach({"keymint-version=" + std::to_string(version), "strongbox-attestation=none"});
    std::array<uint8_t, 16> challenge = {};
    EXPECT_EQ(tee_->getRootOfTrustChallenge(&challenge).getStatus(),
              version == 1 ? STATUS_UNKNOWN_TRANSACTION : STATUS_OK);
    int32_t answered = 0;
    EXPECT_TRUE(tee_->getInterfaceVersion(&answered).isOk());
    EXPECT_EQ(answered, version);
    std::string hash;
    EXPECT_TRUE(tee_->getInterfaceHash(&hash).isOk());
    EXPECT_EQ(hash.substr(0, 4), version == 1 ? "cd86" : "70c7");
    EXPECT_TRUE(strongbox_->getInterfaceVersion(&answered).isOk());
    EXPECT_EQ(answered, 3);
    EXPECT_EQ(Service<km::IRemotelyProvisionedComponent>("strongbox"), nullptr);
    android_host::ClearServices();
  }
}

TEST_F(FaultsTest, StatusesOfEveryKindReachTheCaller) {
  const std::tuple<const char*, binder_exception_t, int32_t> rows[] = {
      {"begin:-62@1", EX_SERVICE_SPECIFIC, -62},
      {"begin:0@2", EX_SERVICE_SPECIFIC, 0},
      {"begin:dead-object@3", EX_TRANSACTION_FAILED, STATUS_DEAD_OBJECT},
      {"begin:transaction=-74@4", EX_TRANSACTION_FAILED, STATUS_UNKNOWN_TRANSACTION},
      {"begin:exception=-1@5", EX_SECURITY, 0},
  };
  for (const auto& row : rows) Add(std::get<0>(row));
  Add("importKey:chain@6");
  Attach();
  for (const auto& [fault, exception, code] : rows) {
    SCOPED_TRACE(fault);
    km::BeginResult result;
    result.challenge = 77;
    const ndk::ScopedAStatus status = Begin(*tee_, &result);
    EXPECT_EQ(status.getExceptionCode(), exception);
    EXPECT_EQ(status.getServiceSpecificError() + status.getStatus(), code);
    EXPECT_EQ(result.challenge, 77) << "a failed call leaves its outputs alone";
  }
  km::KeyCreationResult key;
  EXPECT_TRUE(Import(*tee_, &key).isOk());
  EXPECT_EQ(key.certificateChain.size(), 1u) << "one too many";
}

TEST_F(FaultsTest, ATransactionBeyondTheBufferFails) {
  constexpr size_t kHeads = 64;  // of the structures around the bytes, at most
  constexpr size_t kFits = kTransactionBytes - kParcelOverheadBytes - kHeads;
  // Bytes of request and answer; whether they reach the device and come back.
  const std::tuple<size_t, size_t, bool, bool> rows[] = {{kFits, kFits, true, true},
                                                         {kTransactionBytes, 5, false, false},
                                                         {5, kTransactionBytes, true, false}};
  for (const auto& [request, answer, reaches, comes_back] : rows) {
    const auto service = ndk::SharedRefBase::make<orx_test::MockSharedSecret>();
    ON_CALL(*service, computeSharedSecret).WillByDefault(orx_test::Succeeds(Bytes(answer)));
    EXPECT_CALL(*service, computeSharedSecret).Times(reaches ? 1 : 0);
    const auto channel = std::dynamic_pointer_cast<ss::ISharedSecret>(
        Connect(service, {std::make_shared<FaultTable>(), "default", "sharedsecret", 1, -1}));
    Bytes output = {7};
    const ndk::ScopedAStatus status =
        channel->computeSharedSecret({{Bytes(request), Bytes()}}, &output);
    EXPECT_EQ(status.getStatus(), comes_back ? STATUS_OK : STATUS_FAILED_TRANSACTION);
    EXPECT_EQ(output.size(), comes_back ? answer : 1);
  }
}

TEST_F(FaultsTest, TheDevicesCryptographyLeavesNoTraceInTheCallersErrorQueue) {
  Attach();
  ERR_clear_error();
  ERR_put_error(ERR_LIB_USER, 0, 1, __FILE__, __LINE__);
  const uint32_t own = ERR_peek_error();
  const KeyParams rsa = RequestOf(km::Algorithm::RSA, KeyPurpose::SIGN);
  km::KeyCreationResult key;
  key.keyBlob = {7};
  EXPECT_FALSE(tee_->importKey(rsa, km::KeyFormat::PKCS8, Bytes(100, 0x30), {}, &key).isOk());
  EXPECT_EQ(key.keyBlob, Bytes{7}) << "a failed call leaves its outputs alone";
  EXPECT_EQ(ERR_get_error(), own);
  EXPECT_EQ(ERR_get_error(), 0u);
}

}  // namespace
}  // namespace orx_sim
