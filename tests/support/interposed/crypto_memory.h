// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace orx_test {

// CryptoMemory counts what BoringSSL has of the heap while it lives. Takes effect where
// crypto_memory.cpp is linked into the program; one at a time.
class CryptoMemory {
 public:
  CryptoMemory();

  // live returns how many more were allocated than freed since construction. Empties the thread's
  // error queue, which owns memory too.
  ptrdiff_t live() const;
};

}  // namespace orx_test
