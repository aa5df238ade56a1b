// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <android_host/aidl_types.h>

#define ENUMERATORS(E) \
  E(ENCRYPT, 0)        \
  E(DECRYPT, 1)        \
  E(SIGN, 2)           \
  E(VERIFY, 3)         \
  E(WRAP_KEY, 5)       \
  E(AGREE_KEY, 6)      \
  E(ATTEST_KEY, 7)
ANDROID_HOST_AIDL_ENUM(keymint, KeyPurpose, ENUMERATORS)
#undef ENUMERATORS
