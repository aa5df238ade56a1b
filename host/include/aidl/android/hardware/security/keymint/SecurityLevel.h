// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <android_host/aidl_types.h>

#define ENUMERATORS(E)      \
  E(SOFTWARE, 0)            \
  E(TRUSTED_ENVIRONMENT, 1) \
  E(STRONGBOX, 2)           \
  E(KEYSTORE, 100)
ANDROID_HOST_AIDL_ENUM(keymint, SecurityLevel, ENUMERATORS)
#undef ENUMERATORS
