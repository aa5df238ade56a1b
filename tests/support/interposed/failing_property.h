// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orx_test {

// FailPropertyGet makes the property_get() that follows `calls` other ones find nothing, as when
// the property was removed just before. Takes effect where failing_property.cpp is linked into the
// program.
void FailPropertyGet(int calls);

}  // namespace orx_test
