// SPDX-License-Identifier: Apache-2.0
// Stands in for bionic's <sys/system_properties.h>, on top of libbase's property map: properties of
// this process, with Android's limits. Where the environment names a device module (see
// android_host/host.h), the first call loads it. Left out: finding and enumerating properties, the
// callback that reads long values, waiting for changes; and of <cutils/properties.h>, integers and
// the list.
#pragma once

#include <sys/cdefs.h>

__BEGIN_DECLS

// With the terminator.
#define PROP_VALUE_MAX 92
// Obsolete: names have no length limit.
#define PROP_NAME_MAX 32

// Copies the value, at most 91 characters, and returns its length; 0 and "" for a missing property.
// A longer "ro." value, which only the callback could carry, reads as a notice to use it.
int __system_property_get(const char* name, char* value);

// Returns 0, or -1 for a name that is not a property name, a value over 91 characters (but "ro."
// values have no limit), or an "ro." property that has a value already.
int __system_property_set(const char* name, const char* value);

__END_DECLS
