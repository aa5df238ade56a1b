// SPDX-License-Identifier: Apache-2.0
#include "tests/support/maced_key.h"

#include <cppbor.h>
#include <openssl/ec.h>
#include <openssl/ec_key.h>
#include <openssl/evp.h>

namespace orx_test {

std::vector<uint8_t> CoseKey(const EVP_PKEY* key) {
  const EC_KEY* ec_key = EVP_PKEY_get0_EC_KEY(key);
  std::vector<uint8_t> point(65);
  EC_POINT_point2oct(EC_KEY_get0_group(ec_key), EC_KEY_get0_public_key(ec_key),
                     POINT_CONVERSION_UNCOMPRESSED, point.data(), point.size(), nullptr);
  const auto x = point.begin() + 1;
  return cppbor::Map(1, 2, 3, -7, -1, 1, -2, std::vector<uint8_t>(x, x + 32), -3,
                     std::vector<uint8_t>(x + 32, point.end()))
      .encode();
}

std::vector<uint8_t> MacedKey(const std::vector<uint8_t>& payload) {
  return cppbor::Array(cppbor::Map(1, 5).encode(), cppbor::Map(), payload,
                       std::vector<uint8_t>(32, 0xAA))
      .encode();
}

}  // namespace orx_test
