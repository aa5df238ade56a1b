// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/mem.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
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

// Wipe overwrites the bytes of a container with zeros.
template <typename Container>
void Wipe(Container& bytes) {
  OPENSSL_cleanse(bytes.data(), bytes.size());
}
template <typename Container>
void Wipe(std::optional<Container>& bytes) {
  if (bytes) Wipe(*bytes);
}

// Wiped holds secret bytes where a given interface dictates the container, which may be an optional
// one. It is neither copied nor moved, and its container is filled once or with AppendSecret():
// growing it otherwise would leave unwiped storage behind.
template <typename Container>
class Wiped {
 public:
  template <typename... Args>
  explicit Wiped(Args&&... args) : bytes_(std::forward<Args>(args)...) {}
  ~Wiped() { Wipe(bytes_); }

  Wiped(const Wiped&) = delete;
  Wiped& operator=(const Wiped&) = delete;

  const Container& operator*() const { return bytes_; }
  Container& operator*() { return bytes_; }

 private:
  Container bytes_;
};

// CopyOf returns the bytes of a string or vector as another kind of container: by pointer and
// length, in one piece, where iterators of another type are copied byte by byte. Secrets go
// straight into a Wiped, as Wiped<std::string>(CopyOf<std::string>(bytes)).
template <typename To, typename From>
To CopyOf(const From& bytes) {
  const auto* first = reinterpret_cast<const typename To::value_type*>(bytes.data());
  return To(first, first + bytes.size());
}

// AppendSecret appends the bytes to `*text`. Storage that the text outgrows is wiped.
template <typename From>
void AppendSecret(const From& bytes, std::string* text) {
  const size_t length = text->size() + bytes.size();
  if (length > text->capacity()) {
    Wiped<std::string> outgrown;
    (*outgrown).reserve(std::max(length, 2 * text->capacity()));
    *outgrown += *text;
    text->swap(*outgrown);
  }
  text->append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

}  // namespace orx_common
