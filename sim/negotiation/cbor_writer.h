// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace orx_sim {

// CborWriter appends CBOR items (RFC 8949) with definite lengths and the shortest form of every
// head. Array(n), Map(n) and Tag(n) are followed by the items they announce; map entries stand in
// the order in which the caller writes them, so canonical order is the caller's.
class CborWriter {
 public:
  CborWriter& Unsigned(uint64_t value) { return Head(0, value); }
  CborWriter& Integer(int64_t value) {
    return value < 0 ? Head(1, ~static_cast<uint64_t>(value)) : Unsigned(value);
  }
  template <typename Container>
  CborWriter& Bytes(const Container& bytes) {
    Head(2, bytes.size());
    return Append(bytes);
  }
  CborWriter& Text(std::string_view text) {
    Head(3, text.size());
    return Append(text);
  }
  CborWriter& Array(uint64_t count) { return Head(4, count); }
  CborWriter& Map(uint64_t count) { return Head(5, count); }
  CborWriter& Tag(uint64_t number) { return Head(6, number); }
  CborWriter& Bool(bool value) { return Head(7, value ? 21 : 20); }

  std::vector<uint8_t> Take() { return std::move(out_); }

 private:
  CborWriter& Head(uint8_t major_type, uint64_t argument) {
    const uint8_t type = static_cast<uint8_t>(major_type << 5);
    if (argument < 24) {
      out_.push_back(type | static_cast<uint8_t>(argument));
      return *this;
    }
    int size_code = 0;  // 0..3: the argument follows in 1, 2, 4 or 8 bytes
    while (size_code < 3 && argument >> (8 << size_code) != 0) ++size_code;
    out_.push_back(type | static_cast<uint8_t>(24 + size_code));
    for (int shift = (8 << size_code) - 8; shift >= 0; shift -= 8) {
      out_.push_back(static_cast<uint8_t>(argument >> shift));
    }
    return *this;
  }
  template <typename Container>
  CborWriter& Append(const Container& bytes) {
    out_.insert(out_.end(), bytes.begin(), bytes.end());
    return *this;
  }

  std::vector<uint8_t> out_;
};

}  // namespace orx_sim
