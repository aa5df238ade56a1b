// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/mem.h>

#include <utility>

#include "boringssl.h"

namespace android::hardware::keymint::ORX {

// Wiped holds a copy of secret bytes in a contiguous container and overwrites them with zeros
// before their memory is released. It is neither copied nor moved, and its container is filled
// once: growing it later would leave unwiped storage behind.
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

}  // namespace android::hardware::keymint::ORX
