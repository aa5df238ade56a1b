// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <android_host/aidl_types.h>

#define ENUMERATORS(E) \
  E(NONE, 0)           \
  E(PASSWORD, 1)       \
  E(FINGERPRINT, 2)    \
  E(ANY, -1)
ANDROID_HOST_AIDL_ENUM(keymint, HardwareAuthenticatorType, ENUMERATORS)
#undef ENUMERATORS
