// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <android_host/aidl_types.h>

#define ENUMERATORS(E) \
  E(RSA, 1)            \
  E(EC, 3)             \
  E(AES, 32)           \
  E(TRIPLE_DES, 33)    \
  E(HMAC, 128)
ANDROID_HOST_AIDL_ENUM(keymint, Algorithm, ENUMERATORS)
#undef ENUMERATORS
