// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace orx_test {

// CryptoMemory stands between BoringSSL and the heap while it lives: it fails the allocation of a
// chosen number and counts. Takes effect where crypto_memory.cpp is linked into the program; one at
// a time.
class CryptoMemory {
 public:
  // Lets every allocation succeed.
  CryptoMemory();
  ~CryptoMemory();
  CryptoMemory(const CryptoMemory&) = delete;
  CryptoMemory& operator=(const CryptoMemory&) = delete;

  // FailAt fails the allocation that comes after `count` more, once, and starts counting anew.
  void FailAt(size_t count);

  // failed returns whether an allocation was failed since FailAt().
  bool failed() const;

  // allocations returns how many were asked for since FailAt() or construction.
  size_t allocations() const;

  // live returns how many more were allocated than freed since construction. Empties the thread's
  // error queue, which owns memory too.
  ptrdiff_t live() const;
};

}  // namespace orx_test
