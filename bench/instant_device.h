// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/BnKeyMintDevice.h>
#include <aidl/android/hardware/security/keymint/BnKeyMintOperation.h>
#include <android/binder_manager.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orx_bench {

namespace km = ::aidl::android::hardware::security::keymint;

// OnFinish is what the device below does with a message besides answering with as many zeros;
// nothing if null.
inline auto& OnFinish() {
  static bool (*work)(const std::vector<uint8_t>& in, std::vector<uint8_t>* out) = nullptr;
  return work;
}

class InstantOperation : public km::IKeyMintOperationDefault {
 public:
  using Bytes = std::vector<uint8_t>;
  using Time = std::optional<::aidl::android::hardware::security::secureclock::TimeStampToken>;

  ::ndk::ScopedAStatus finish(const std::optional<Bytes>& input, const std::optional<Bytes>&,
                              const std::optional<km::HardwareAuthToken>&, const Time&,
                              const std::optional<Bytes>&, Bytes* output) override {
    output->resize(input->size());
    if (OnFinish() != nullptr) OnFinish()(*input, output);
    return ::ndk::ScopedAStatus::ok();
  }
};

class InstantKeyMint : public km::IKeyMintDeviceDefault {
 public:
  ::ndk::ScopedAStatus begin(km::KeyPurpose, const std::vector<uint8_t>&,
                             const std::vector<km::KeyParameter>&,
                             const std::optional<km::HardwareAuthToken>&,
                             km::BeginResult* result) override {
    result->operation = operation_;
    return ::ndk::ScopedAStatus::ok();
  }
  ::ndk::SpAIBinder asBinder() override {
    using namespace ::android_host::internal;
    return NewBinder(ClassOf<km::IKeyMintDevice>(), this);
  }

 private:
  const std::shared_ptr<InstantOperation> operation_ =
      ::ndk::SharedRefBase::make<InstantOperation>();
};

// InstantDevice registers a TEE that answers at once, whatever the key, and returns it.
inline std::shared_ptr<km::IKeyMintDevice> InstantDevice() {
  const auto device = ::ndk::SharedRefBase::make<InstantKeyMint>();
  const std::string name = std::string(km::IKeyMintDevice::descriptor) + "/default";
  const bool added = AServiceManager_addService(device->asBinder().get(), name.c_str()) == EX_NONE;
  return added ? device : nullptr;
}

}  // namespace orx_bench
