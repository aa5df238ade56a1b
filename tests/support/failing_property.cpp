// SPDX-License-Identifier: Apache-2.0
#include "tests/support/failing_property.h"

#include <cutils/properties.h>
#include <dlfcn.h>

namespace {

int calls_before = -1;

}  // namespace

// The program's definition precedes the platform's, which gets every call but the one.
extern "C" int property_get(const char* key, char* value, const char* default_value) {
  if (calls_before-- == 0) {
    value[0] = '\0';
    return 0;
  }
  static const auto platform =
      reinterpret_cast<decltype(&property_get)>(dlsym(RTLD_NEXT, "property_get"));
  return platform(key, value, default_value);
}

namespace orx_test {

void FailPropertyGet(int calls) {
  calls_before = calls;
}

}  // namespace orx_test
