// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <android_host/aidl_types.h>

namespace aidl::android::hardware::security::keymint {

class Certificate {
 public:
#define FIELDS(F) F(std::vector<uint8_t>, encodedCertificate, )
  ANDROID_HOST_AIDL_PARCELABLE(keymint, Certificate, FIELDS)
#undef FIELDS
};

}  // namespace aidl::android::hardware::security::keymint
