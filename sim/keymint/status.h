// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <android/binder_auto_utils.h>

namespace orx_sim {

// AsStatus makes the binder status of a KeyMint error code.
inline ndk::ScopedAStatus AsStatus(::aidl::android::hardware::security::keymint::ErrorCode code) {
  using ::aidl::android::hardware::security::keymint::ErrorCode;
  if (code == ErrorCode::OK) return ndk::ScopedAStatus::ok();
  return ndk::ScopedAStatus::fromServiceSpecificError(static_cast<int32_t>(code));
}

}  // namespace orx_sim
