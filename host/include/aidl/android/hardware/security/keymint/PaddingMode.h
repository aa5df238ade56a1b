// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <android_host/aidl_types.h>

#define ENUMERATORS(E)        \
  E(NONE, 1)                  \
  E(RSA_OAEP, 2)              \
  E(RSA_PSS, 3)               \
  E(RSA_PKCS1_1_5_ENCRYPT, 4) \
  E(RSA_PKCS1_1_5_SIGN, 5)    \
  E(PKCS7, 64)
ANDROID_HOST_AIDL_ENUM(keymint, PaddingMode, ENUMERATORS)
#undef ENUMERATORS
