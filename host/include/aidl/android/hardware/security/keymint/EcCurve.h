// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <android_host/aidl_types.h>

#define ENUMERATORS(E) \
  E(P_224, 0)          \
  E(P_256, 1)          \
  E(P_384, 2)          \
  E(P_521, 3)          \
  E(CURVE_25519, 4)
ANDROID_HOST_AIDL_ENUM(keymint, EcCurve, ENUMERATORS)
#undef ENUMERATORS
