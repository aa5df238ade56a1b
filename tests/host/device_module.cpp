// SPDX-License-Identifier: Apache-2.0
// A device module as small as one can be, for device_module_test.
#include <aidl/android/hardware/security/secureclock/BnSecureClock.h>
#include <android/binder_manager.h>
#include <android_host/host.h>

namespace {

namespace sc = ::aidl::android::hardware::security::secureclock;

class Clock : public sc::BnSecureClock {
 public:
  ndk::ScopedAStatus generateTimeStamp(int64_t, sc::TimeStampToken*) override {
    return ndk::ScopedAStatus::ok();
  }
};

}  // namespace

// The platform is in use while the module attaches.
extern "C" int android_host_device_attach() {
  const auto clock = ndk::SharedRefBase::make<Clock>();
  const std::string name = Clock::makeServiceName("default");
  if (AServiceManager_addService(clock->asBinder().get(), name.c_str()) != EX_NONE) return 1;
  if (!android_host::SetProperty("ro.product.device", "module", nullptr)) return 2;
  return ATTACH_RESULT;
}
