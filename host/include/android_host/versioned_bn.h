// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android_host/aidl_types.h>

#include <string>

namespace android_host {

// VersionedBn is the base of an implementation that answers another interface version than the
// compiled-in one, as a server of an older (or newer) release does: BnFoo's answers are final. It
// is found by IFoo::fromBinder() like any other. The implementation itself answers the methods that
// its version lacks, with ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION).
template <typename INTERFACE>
class VersionedBn : public ::ndk::BnCInterface<INTERFACE> {
 public:
  explicit VersionedBn(int32_t interface_version = INTERFACE::version,
                       const std::string& interface_hash = INTERFACE::hash)
      : version_(interface_version), hash_(interface_hash) {}

  ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) override {
    *_aidl_return = version_;
    return ::ndk::ScopedAStatus::ok();
  }

  ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) override {
    *_aidl_return = hash_;
    return ::ndk::ScopedAStatus::ok();
  }

 protected:
  ::ndk::SpAIBinder createBinder() override {
    return internal::NewBinder(internal::ClassOf<INTERFACE>(), this);
  }

 private:
  const int32_t version_;
  const std::string hash_;
};

}  // namespace android_host
