// SPDX-License-Identifier: Apache-2.0
#pragma once

// Stand-in for the parser of Android's libcppbor (state of Android 14), with the platform's
// leniency: long forms of integers and lengths, any bytes in text strings, duplicate keys and bytes
// behind the item are accepted; indefinite lengths, floating-point numbers and simple values other
// than false, true and null are not. Left out: parseWithViews() and the streaming ParseClient.
//
// Memory follows the input's length, never a length or count that it claims. An item deeper than
// kMaxParseDepth (the outermost lies at 0) is refused as newer platforms refuse it; Android 14
// itself recurses without a limit.

#include <cppbor.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace cppbor {

inline constexpr size_t kMaxParseDepth = 1000;

// On success the item, the first byte behind it and ""; on failure null, the header byte of the
// item that could not be read (for missing entries: that of their container) and the reason.
using ParseResult = std::tuple<std::unique_ptr<Item>, const uint8_t*, std::string>;

ParseResult parse(const uint8_t* begin, const uint8_t* end);

inline ParseResult parse(const uint8_t* begin, size_t size) {
  return parse(begin, begin + size);
}

inline ParseResult parse(const std::vector<uint8_t>& encoding) {
  return parse(encoding.data(), encoding.data() + encoding.size());
}

ParseResult parse(const Bstr* bstr);

}  // namespace cppbor
