// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

namespace orx_test {

// Sleeps returns the seconds of every sleep() that this program asked for; none of them waited.
// Takes effect where counted_sleep.cpp is linked into the program.
const std::vector<unsigned>& Sleeps();

}  // namespace orx_test
