// SPDX-License-Identifier: Apache-2.0
// Stands in for the binder NDK's <android/binder_parcel.h>: the type's name only. Services live in
// the caller's process here, so nothing is ever put into a parcel or read from one.
#pragma once

#include <android/binder_status.h>
#include <sys/cdefs.h>

__BEGIN_DECLS

struct AParcel;
typedef struct AParcel AParcel;

__END_DECLS
