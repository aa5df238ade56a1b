// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.rkp, version 3
// (package keymint).
#pragma once

#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::keymint {

class RpcHardwareInfo {
 public:
  enum : int32_t { CURVE_NONE = 0 };
  enum : int32_t { CURVE_P256 = 1 };
  enum : int32_t { CURVE_25519 = 2 };
  enum : int32_t { MIN_SUPPORTED_NUM_KEYS_IN_CSR = 20 };

#define FIELDS(F)                           \
  F(int32_t, versionNumber, 0)              \
  F(std::string, rpcAuthorName, )           \
  F(int32_t, supportedEekCurve, 0)          \
  F(std::optional<std::string>, uniqueId, ) \
  F(int32_t, supportedNumKeysInCsr, 4)
  ANDROID_HOST_AIDL_PARCELABLE(keymint, RpcHardwareInfo, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::keymint
