// SPDX-License-Identifier: Apache-2.0
#include "tests/support/interposed/counted_sleep.h"

namespace {

std::vector<unsigned> sleeps;

}  // namespace

// The program's definition precedes libc's: half a minute of waiting for a modem tells no more.
extern "C" unsigned sleep(unsigned seconds) {
  sleeps.push_back(seconds);
  return 0;
}

// A program that looks for a modem in vain keeps the copy of its command, which the library does
// not release on that path, on purpose.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:ORX_communicate_with_modem\n";
}

namespace orx_test {

const std::vector<unsigned>& Sleeps() {
  return sleeps;
}

}  // namespace orx_test
