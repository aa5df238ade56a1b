// SPDX-License-Identifier: Apache-2.0
// Stands in for the binder NDK's <android/binder_auto_utils.h>: owners of binders and statuses.
// Left out: the owners of parcels and death recipients, which do not exist here, and of
// descriptors.
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_parcel.h>
#include <android/binder_status.h>
#include <assert.h>
#include <string.h>

#include <cstddef>
#include <iostream>
#include <string>

namespace ndk {

// SpAIBinder owns one strong reference to a binder, or nothing.
class SpAIBinder {
 public:
  SpAIBinder() = default;
  SpAIBinder(std::nullptr_t) {}  // NOLINT(google-explicit-constructor): as on the platform
  // Takes over a reference of the caller's; does not add one.
  explicit SpAIBinder(AIBinder* binder) : binder_(binder) {}
  SpAIBinder(const SpAIBinder& other) { *this = other; }
  ~SpAIBinder() { set(nullptr); }

  SpAIBinder& operator=(const SpAIBinder& other) {
    if (this == &other) return *this;
    AIBinder_incStrong(other.binder_);
    set(other.binder_);
    return *this;
  }

  void set(AIBinder* binder) {
    AIBinder* const old = binder_;
    binder_ = binder;
    if (old != nullptr) AIBinder_decStrong(old);
  }
  AIBinder* get() const { return binder_; }
  // The slot for a C function's out parameter; what it holds is not released.
  AIBinder** getR() { return &binder_; }

 private:
  AIBinder* binder_ = nullptr;
};

#define ANDROID_HOST_COMPARE_BINDERS(op)                                  \
  inline bool operator op(const SpAIBinder& lhs, const SpAIBinder& rhs) { \
    return lhs.get() op rhs.get();                                        \
  }                                                                       \
  inline bool operator op(const SpAIBinder& lhs, const AIBinder* rhs) {   \
    return lhs.get() op rhs;                                              \
  }                                                                       \
  inline bool operator op(const AIBinder* lhs, const SpAIBinder& rhs) {   \
    return lhs op rhs.get();                                              \
  }
ANDROID_HOST_COMPARE_BINDERS(==)
ANDROID_HOST_COMPARE_BINDERS(!=)
ANDROID_HOST_COMPARE_BINDERS(<)
ANDROID_HOST_COMPARE_BINDERS(<=)
ANDROID_HOST_COMPARE_BINDERS(>)
ANDROID_HOST_COMPARE_BINDERS(>=)
#undef ANDROID_HOST_COMPARE_BINDERS

namespace impl {

// ScopedAResource owns a resource of the C interface; kDefault stands for none and is destroyed
// like any other value.
template <typename T, auto kDestroy, T kDefault>
class ScopedAResource {
 public:
  explicit ScopedAResource(T resource = kDefault) : resource_(resource) {}
  ScopedAResource(const ScopedAResource&) = delete;
  ScopedAResource& operator=(const ScopedAResource&) = delete;
  ScopedAResource(ScopedAResource&& other) noexcept : resource_(other.release()) {}
  ScopedAResource& operator=(ScopedAResource&& other) noexcept {
    set(other.release());
    return *this;
  }
  ~ScopedAResource() { kDestroy(resource_); }

  void set(T resource) {
    const T old = resource_;
    resource_ = resource;
    kDestroy(old);
  }
  T get() { return resource_; }
  T get() const { return resource_; }
  [[nodiscard]] T release() {
    const T resource = resource_;
    resource_ = kDefault;
    return resource;
  }
  // The slot for a C function's out parameter; what it holds is not destroyed.
  T* getR() { return &resource_; }

 private:
  T resource_;
};

}  // namespace impl

// ScopedAStatus owns a status object. A default-constructed one has none: only isOk(), which is
// then false, may be called on it.
class ScopedAStatus : public impl::ScopedAResource<AStatus*, AStatus_delete, nullptr> {
 public:
  explicit ScopedAStatus(AStatus* status = nullptr) : ScopedAResource(status) {}

  bool isOk() const { return get() != nullptr && AStatus_isOk(get()); }
  binder_exception_t getExceptionCode() const { return AStatus_getExceptionCode(get()); }
  int32_t getServiceSpecificError() const { return AStatus_getServiceSpecificError(get()); }
  binder_status_t getStatus() const { return AStatus_getStatus(get()); }
  const char* getMessage() const { return AStatus_getMessage(get()); }
  std::string getDescription() const {
    const char* const text = AStatus_getDescription(get());
    std::string description(text);
    AStatus_deleteDescription(text);
    return description;
  }

  static ScopedAStatus ok() { return ScopedAStatus(AStatus_newOk()); }
  static ScopedAStatus fromExceptionCode(binder_exception_t exception) {
    return ScopedAStatus(AStatus_fromExceptionCode(exception));
  }
  static ScopedAStatus fromExceptionCodeWithMessage(binder_exception_t exception,
                                                    const char* message) {
    return ScopedAStatus(AStatus_fromExceptionCodeWithMessage(exception, message));
  }
  static ScopedAStatus fromServiceSpecificError(int32_t serviceSpecific) {
    return ScopedAStatus(AStatus_fromServiceSpecificError(serviceSpecific));
  }
  static ScopedAStatus fromServiceSpecificErrorWithMessage(int32_t serviceSpecific,
                                                           const char* message) {
    return ScopedAStatus(AStatus_fromServiceSpecificErrorWithMessage(serviceSpecific, message));
  }
  static ScopedAStatus fromStatus(binder_status_t status) {
    return ScopedAStatus(AStatus_fromStatus(status));
  }
};

inline std::ostream& operator<<(std::ostream& stream, const ScopedAStatus& status) {
  return stream << status.getDescription();
}

class ScopedAIBinder_Weak
    : public impl::ScopedAResource<AIBinder_Weak*, AIBinder_Weak_delete, nullptr> {
 public:
  explicit ScopedAIBinder_Weak(AIBinder_Weak* weak = nullptr) : ScopedAResource(weak) {}

  SpAIBinder promote() const { return SpAIBinder(AIBinder_Weak_promote(get())); }
};

}  // namespace ndk
