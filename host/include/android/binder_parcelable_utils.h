// SPDX-License-Identifier: Apache-2.0
// Stands in for the binder NDK's <android/binder_parcelable_utils.h>: the stability constants that
// AIDL types carry. Left out: reading and writing, as there are no parcels here, and the parcelable
// holder.
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_parcel.h>
#include <stdint.h>

namespace ndk {

typedef int32_t parcelable_stability_t;
enum : parcelable_stability_t { STABILITY_LOCAL = 0, STABILITY_VINTF = 1 };

}  // namespace ndk
