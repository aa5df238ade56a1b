// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace orx_test {

// FailNewAt makes the operator new that comes after `count` more throw std::bad_alloc, once. Takes
// effect where failing_new.cpp is linked into the program.
void FailNewAt(size_t count);

// NewFailed returns whether one was failed since FailNewAt().
bool NewFailed();

}  // namespace orx_test
