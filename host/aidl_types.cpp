// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/BnKeyMintDevice.h>
#include <aidl/android/hardware/security/keymint/BnKeyMintOperation.h>
#include <aidl/android/hardware/security/keymint/BnRemotelyProvisionedComponent.h>
#include <aidl/android/hardware/security/sharedsecret/BnSharedSecret.h>
#include <android/log.h>
#include <android_host/aidl_types.h>
#include <stdio.h>
#include <stdlib.h>

namespace android_host::internal {
namespace {

// Transactions come from other processes, of which there are none.
binder_status_t NoTransaction(AIBinder*, transaction_code_t, const AParcel*, AParcel*) {
  return STATUS_UNKNOWN_TRANSACTION;
}

}  // namespace

void AssertionFailed(const char* file, int line, const char* function, const char* text) {
  fprintf(stderr, "%s:%d: %s: assertion \"%s\" failed\n", file, line, function, text);
  abort();
}

::ndk::SpAIBinder NewBinder(const AIBinder_Class* clazz, ::ndk::ICInterface* implementation) {
  return ::ndk::SpAIBinder(AIBinder_new(clazz, implementation));
}

std::shared_ptr<::ndk::ICInterface> FromBinder(const ::ndk::SpAIBinder& binder,
                                               const AIBinder_Class* clazz) {
  if (!AIBinder_associateClass(binder.get(), clazz)) return nullptr;
  return ::ndk::ICInterface::asInterface(binder.get());
}

}  // namespace android_host::internal

// ANDROID_HOST_AIDL_DEFINE(package, Foo): everything of IFoo that is not in its headers.
#define ANDROID_HOST_AIDL_DEFINE(package, Foo)                                              \
  template <>                                                                               \
  const AIBinder_Class*                                                                     \
  android_host::internal::ClassOf<::aidl::android::hardware::security::package::I##Foo>() { \
    static const AIBinder_Class* const clazz = ::ndk::ICInterface::defineClass(             \
        ::aidl::android::hardware::security::package::I##Foo::descriptor, NoTransaction);   \
    return clazz;                                                                           \
  }                                                                                         \
                                                                                            \
  namespace aidl::android::hardware::security::package {                                    \
  const char* I##Foo::descriptor = "android.hardware.security." #package ".I" #Foo;         \
  I##Foo::I##Foo() = default;                                                               \
  I##Foo::~I##Foo() = default;                                                              \
  std::shared_ptr<I##Foo> I##Foo::fromBinder(const ::ndk::SpAIBinder& binder) {             \
    using namespace ::android_host::internal;                                               \
    return std::static_pointer_cast<I##Foo>(FromBinder(binder, ClassOf<I##Foo>()));         \
  }                                                                                         \
                                                                                            \
  Bn##Foo::Bn##Foo() = default;                                                             \
  Bn##Foo::~Bn##Foo() = default;                                                            \
  ::ndk::ScopedAStatus Bn##Foo::getInterfaceVersion(int32_t* _aidl_return) {                \
    *_aidl_return = I##Foo::version;                                                        \
    return ::ndk::ScopedAStatus::ok();                                                      \
  }                                                                                         \
  ::ndk::ScopedAStatus Bn##Foo::getInterfaceHash(std::string* _aidl_return) {               \
    *_aidl_return = I##Foo::hash;                                                           \
    return ::ndk::ScopedAStatus::ok();                                                      \
  }                                                                                         \
  ::ndk::SpAIBinder Bn##Foo::createBinder() {                                               \
    using namespace ::android_host::internal;                                               \
    return NewBinder(ClassOf<I##Foo>(), this);                                              \
  }                                                                                         \
                                                                                            \
  ::ndk::SpAIBinder I##Foo##Default::asBinder() {                                           \
    return ::ndk::SpAIBinder();                                                             \
  }                                                                                         \
  bool I##Foo##Default::isRemote() {                                                        \
    return false;                                                                           \
  }                                                                                         \
  ::ndk::ScopedAStatus I##Foo##Default::getInterfaceVersion(int32_t* _aidl_return) {        \
    *_aidl_return = 0;                                                                      \
    return ::ndk::ScopedAStatus::ok();                                                      \
  }                                                                                         \
  ::ndk::ScopedAStatus I##Foo##Default::getInterfaceHash(std::string* _aidl_return) {       \
    *_aidl_return = "";                                                                     \
    return ::ndk::ScopedAStatus::ok();                                                      \
  }                                                                                         \
  }

ANDROID_HOST_AIDL_DEFINE(keymint, KeyMintDevice)
ANDROID_HOST_AIDL_DEFINE(keymint, KeyMintOperation)
ANDROID_HOST_AIDL_DEFINE(keymint, RemotelyProvisionedComponent)
ANDROID_HOST_AIDL_DEFINE(sharedsecret, SharedSecret)
