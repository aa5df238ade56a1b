// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/mem.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace orx_sim {

using Bytes = std::vector<uint8_t>;

// WipingAllocator wipes memory before it is released.
template <typename T>
struct WipingAllocator {
  using value_type = T;

  WipingAllocator() = default;
  template <typename U>
  WipingAllocator(const WipingAllocator<U>&) {}

  T* allocate(size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T* memory, size_t count) {
    OPENSSL_cleanse(memory, count * sizeof(T));
    std::allocator<T>().deallocate(memory, count);
  }
  bool operator==(const WipingAllocator&) const { return true; }
  bool operator!=(const WipingAllocator&) const { return false; }
};

// SecretBytes holds key material.
using SecretBytes = std::vector<uint8_t, WipingAllocator<uint8_t>>;

}  // namespace orx_sim
