// SPDX-License-Identifier: Apache-2.0
// A device module as small as one can be, for device_module_test.
#include <aidl/android/hardware/security/sharedsecret/BnSharedSecret.h>
#include <android/binder_manager.h>
#include <android_host/host.h>

namespace {

namespace ss = ::aidl::android::hardware::security::sharedsecret;

class SharedSecret : public ss::BnSharedSecret {
 public:
  ndk::ScopedAStatus getSharedSecretParameters(ss::SharedSecretParameters*) override {
    return ndk::ScopedAStatus::ok();
  }
  ndk::ScopedAStatus computeSharedSecret(const std::vector<ss::SharedSecretParameters>&,
                                         std::vector<uint8_t>*) override {
    return ndk::ScopedAStatus::ok();
  }
};

}  // namespace

// The platform is in use while the module attaches.
extern "C" int android_host_device_attach() {
  const auto service = ndk::SharedRefBase::make<SharedSecret>();
  const std::string name = SharedSecret::makeServiceName("default");
  if (AServiceManager_addService(service->asBinder().get(), name.c_str()) != EX_NONE) return 1;
  if (!android_host::SetProperty("ro.product.device", "module", nullptr)) return 2;
  return ATTACH_RESULT;
}
