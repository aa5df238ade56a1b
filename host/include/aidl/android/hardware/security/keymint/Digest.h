// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <android_host/aidl_types.h>

#define ENUMERATORS(E) \
  E(NONE, 0)           \
  E(MD5, 1)            \
  E(SHA1, 2)           \
  E(SHA_2_224, 3)      \
  E(SHA_2_256, 4)      \
  E(SHA_2_384, 5)      \
  E(SHA_2_512, 6)
ANDROID_HOST_AIDL_ENUM(keymint, Digest, ENUMERATORS)
#undef ENUMERATORS
