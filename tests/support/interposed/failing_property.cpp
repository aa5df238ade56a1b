// SPDX-License-Identifier: Apache-2.0
#include "tests/support/interposed/failing_property.h"

#include "tests/support/interposed/interposed.h"

namespace {

int calls_before = -1;

bool FailsNow(uintptr_t value) {
  if (calls_before-- != 0) return false;
  *reinterpret_cast<char*>(value) = '\0';
  return true;
}

}  // namespace

ORX_INTERPOSED(property_get, FailsNow(b) ? 0 : real(a, b, c, d, e, f))

namespace orx_test {

void FailPropertyGet(int calls) {
  calls_before = calls;
}

}  // namespace orx_test
