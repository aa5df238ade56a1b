// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/mem.h>

#include <cstdint>
#include <vector>

namespace orx_tool {

// SecretBytes is a buffer whose bytes are overwritten before their memory is released. Its storage
// is allocated once; Shrink only forgets the bytes at the end.
class SecretBytes {
 public:
  explicit SecretBytes(size_t size) : bytes_(size) {}
  ~SecretBytes() { Clear(); }

  SecretBytes(SecretBytes&&) noexcept = default;
  SecretBytes& operator=(SecretBytes&& other) noexcept {
    Clear();
    bytes_ = std::move(other.bytes_);
    return *this;
  }

  uint8_t* data() { return bytes_.data(); }
  const uint8_t* data() const { return bytes_.data(); }
  size_t size() const { return bytes_.size(); }
  bool empty() const { return bytes_.empty(); }
  uint8_t& operator[](size_t index) { return bytes_[index]; }
  uint8_t operator[](size_t index) const { return bytes_[index]; }

  void Shrink(size_t size) {
    OPENSSL_cleanse(bytes_.data() + size, bytes_.size() - size);
    bytes_.resize(size);
  }

 private:
  void Clear() { OPENSSL_cleanse(bytes_.data(), bytes_.size()); }

  std::vector<uint8_t> bytes_;
};

}  // namespace orx_tool
