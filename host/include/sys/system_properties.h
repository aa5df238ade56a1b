// SPDX-License-Identifier: Apache-2.0
// Stands in for bionic's <sys/system_properties.h>, on top of libbase's property map: properties of
// this process, with Android's limits. Values set through android::base::SetProperty() are found by
// name but not enumerated. Where the environment names a device module (see android_host/host.h),
// the first call loads it. Left out: waiting for changes, access by number, and the deprecated
// __system_property_read().
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/cdefs.h>

__BEGIN_DECLS

typedef struct prop_info prop_info;

// With the terminator.
#define PROP_VALUE_MAX 92
// Obsolete: names have no length limit.
#define PROP_NAME_MAX 32

// Copies the value, at most 91 characters, and returns its length; 0 and "" for a missing property.
// A longer "ro." value reads as a notice to use __system_property_read_callback.
int __system_property_get(const char* name, char* value);

// Returns 0, or -1 for a name that is not a property name, a value over 91 characters (but "ro."
// values have no limit), or an "ro." property that has a value already.
int __system_property_set(const char* name, const char* value);

// The result stays valid for the life of the process; null for a missing property.
const prop_info* __system_property_find(const char* name);

// Calls back with the name, the whole value and its serial, which changes with the value.
void __system_property_read_callback(const prop_info* pi,
                                     void (*callback)(void* cookie, const char* name,
                                                      const char* value, uint32_t serial),
                                     void* cookie);

// Calls back for every property, in no stated order. Returns 0.
int __system_property_foreach(void (*propfn)(const prop_info* pi, void* cookie), void* cookie);

__END_DECLS
