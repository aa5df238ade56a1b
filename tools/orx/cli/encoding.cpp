// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/encoding.h"

#include <ctype.h>
#include <openssl/base64.h>
#include <string.h>

namespace orx_tool {
namespace {

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const int lower = tolower(static_cast<unsigned char>(c));
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

std::string ToHex(const uint8_t* bytes, size_t size) {
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(2 * size);
  for (size_t i = 0; i < size; ++i) {
    hex += kDigits[bytes[i] >> 4];
    hex += kDigits[bytes[i] & 15];
  }
  return hex;
}

std::optional<SecretBytes> ParseHex(const std::string& text) {
  SecretBytes bytes(text.size() / 2);
  size_t digits = 0;
  for (const char c : text) {
    if (c == ':' || isspace(static_cast<unsigned char>(c))) continue;
    const int value = HexValue(c);
    if (value < 0 || digits / 2 == bytes.size()) return std::nullopt;
    uint8_t& byte = bytes[digits / 2];
    byte = static_cast<uint8_t>(byte << 4 | value);
    ++digits;
  }
  if (digits % 2 != 0) return std::nullopt;
  bytes.resize(digits / 2);
  return bytes;
}

std::optional<Format> ParseFormat(const std::string& text) {
  if (text == "raw") return Format::kRaw;
  if (text == "hex") return Format::kHex;
  if (text == "base64") return Format::kBase64;
  return std::nullopt;
}

std::string Encode(Format format, const uint8_t* bytes, size_t size) {
  if (format == Format::kRaw) return std::string(reinterpret_cast<const char*>(bytes), size);
  if (format == Format::kHex) return ToHex(bytes, size) + "\n";
  std::string text(4 * ((size + 2) / 3) + 1, 0);  // with room for the terminator
  EVP_EncodeBlock(reinterpret_cast<uint8_t*>(text.data()), bytes, size);
  text.back() = '\n';
  return text;
}

void WipeString(std::string* text) {
  OPENSSL_cleanse(text->data(), text->size());
}

}  // namespace orx_tool
