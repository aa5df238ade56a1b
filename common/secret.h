// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/mem.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

// Memory for secrets, for the library, the simulated device and the tool alike. What is released
// through these types has been overwritten with zeros.
namespace orx_common {

// WipingAllocator wipes memory before it is released, so that a container may grow and shrink.
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

// SecretBytes holds key material, plaintext and the like.
using SecretBytes = std::vector<uint8_t, WipingAllocator<uint8_t>>;

// Wiped holds secret bytes where a given interface dictates the container. It is neither copied nor
// moved, and its container is filled once: growing it later would leave unwiped storage behind.
template <typename Container>
class Wiped {
 public:
  template <typename... Args>
  explicit Wiped(Args&&... args) : bytes_(std::forward<Args>(args)...) {}
  ~Wiped() { OPENSSL_cleanse(bytes_.data(), bytes_.size()); }

  Wiped(const Wiped&) = delete;
  Wiped& operator=(const Wiped&) = delete;

  const Container& operator*() const { return bytes_; }
  Container& operator*() { return bytes_; }

 private:
  Container bytes_;
};

}  // namespace orx_common
