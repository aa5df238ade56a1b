// SPDX-License-Identifier: Apache-2.0
#include "support/counted_sleep.h"

namespace {

std::vector<unsigned> sleeps;

}  // namespace

// The program's definition precedes libc's: half a minute of waiting for a modem tells no more.
extern "C" unsigned sleep(unsigned seconds) {
  sleeps.push_back(seconds);
  return 0;
}

namespace orx_test {

const std::vector<unsigned>& Sleeps() {
  return sleeps;
}

}  // namespace orx_test
