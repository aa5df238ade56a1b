// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <android_host/aidl_types.h>

#define ENUMERATORS(E)                           \
  E(INVALID, 0)                                  \
  E(ENUM, static_cast<int32_t>(0x10000000u))     \
  E(ENUM_REP, static_cast<int32_t>(0x20000000u)) \
  E(UINT, static_cast<int32_t>(0x30000000u))     \
  E(UINT_REP, static_cast<int32_t>(0x40000000u)) \
  E(ULONG, static_cast<int32_t>(0x50000000u))    \
  E(DATE, static_cast<int32_t>(0x60000000u))     \
  E(BOOL, static_cast<int32_t>(0x70000000u))     \
  E(BIGNUM, static_cast<int32_t>(0x80000000u))   \
  E(BYTES, static_cast<int32_t>(0x90000000u))    \
  E(ULONG_REP, static_cast<int32_t>(0xa0000000u))
ANDROID_HOST_AIDL_ENUM(keymint, TagType, ENUMERATORS)
#undef ENUMERATORS
