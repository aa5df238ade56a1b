// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <android_host/aidl_types.h>

#define ENUMERATORS(E) \
  E(GENERATED, 0)      \
  E(DERIVED, 1)        \
  E(IMPORTED, 2)       \
  E(RESERVED, 3)       \
  E(SECURELY_IMPORTED, 4)
ANDROID_HOST_AIDL_ENUM(keymint, KeyOrigin, ENUMERATORS)
#undef ENUMERATORS
