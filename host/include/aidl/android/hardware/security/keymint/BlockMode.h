// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <android_host/aidl_types.h>

#define ENUMERATORS(E) \
  E(ECB, 1)            \
  E(CBC, 2)            \
  E(CTR, 3)            \
  E(GCM, 32)
ANDROID_HOST_AIDL_ENUM(keymint, BlockMode, ENUMERATORS)
#undef ENUMERATORS
