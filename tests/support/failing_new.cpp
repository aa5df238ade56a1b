// SPDX-License-Identifier: Apache-2.0
#include "tests/support/failing_new.h"

#include <stdlib.h>

#include <atomic>
#include <new>

namespace {

std::atomic<ptrdiff_t> calls_before{-1};

}  // namespace

// The program's own operators, in which all others of the C++ library end.
void* operator new(size_t size) {
  const bool fails = calls_before >= 0 && calls_before-- == 0;
  void* memory = fails ? nullptr : malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  free(memory);
}

namespace orx_test {

void FailNewAt(size_t count) {
  calls_before = static_cast<ptrdiff_t>(count);
}

bool NewFailed() {
  return calls_before < 0;
}

}  // namespace orx_test
