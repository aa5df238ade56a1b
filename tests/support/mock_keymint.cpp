// SPDX-License-Identifier: Apache-2.0
#include "tests/support/mock_keymint.h"

namespace orx_test {

MockOperation::MockOperation() {
  ON_CALL(*this, update).WillByDefault(Succeeds(Bytes{}));
  ON_CALL(*this, finish).WillByDefault(Succeeds(Bytes{'o', 'u', 't', 'p', 'u', 't'}));
  ON_CALL(*this, abort).WillByDefault(SucceedsWithoutResult());
}

MockOperation::~MockOperation() = default;

MockKeyMintDevice::MockKeyMintDevice(const std::shared_ptr<MockOperation>& operation) {
  ON_CALL(*this, importKey).WillByDefault(Succeeds(Created("blob")));
  ON_CALL(*this, begin).WillByDefault(Succeeds(Begun(operation)));
  ON_CALL(*this, upgradeKey).WillByDefault(Succeeds(Bytes{'u', 'p', 'g', 'r', 'a', 'd', 'e', 'd'}));
  ON_CALL(*this, deleteKey).WillByDefault(SucceedsWithoutResult());
}

MockKeyMintDevice::~MockKeyMintDevice() = default;

::ndk::SpAIBinder MockKeyMintDevice::asBinder() {
  using namespace ::android_host::internal;
  return NewBinder(ClassOf<Interface>(), this);
}

MockKeyMint::MockKeyMint(const std::string& instance)
    : operation(::ndk::SharedRefBase::make<::testing::NiceMock<MockOperation>>()),
      device(::ndk::SharedRefBase::make<::testing::NiceMock<MockKeyMintDevice>>(operation)) {
  android_host::DisableDeviceModule();
  const std::string name = std::string(km::IKeyMintDevice::descriptor) + "/" + instance;
  EXPECT_EQ(EX_NONE, AServiceManager_addService(device->asBinder().get(), name.c_str()));
  ::testing::Mock::AllowLeak(device.get());
  ::testing::Mock::AllowLeak(operation.get());
}

MockKeyMint::~MockKeyMint() {
  android_host::ClearServices();
  ::testing::Mock::VerifyAndClear(device.get());
  ::testing::Mock::VerifyAndClear(operation.get());
}

}  // namespace orx_test

ORX_MOCK_PARTS()
