// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <android_host/aidl_types.h>

#define ENUMERATORS(E) \
  E(X509, 0)           \
  E(PKCS8, 1)          \
  E(RAW, 3)
ANDROID_HOST_AIDL_ENUM(keymint, KeyFormat, ENUMERATORS)
#undef ENUMERATORS
