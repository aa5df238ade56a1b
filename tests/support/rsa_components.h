// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/rsa.h>
#include <orx/rsa.h>

#include <array>
#include <cstdint>
#include <vector>

namespace orx_test {

// The numbers of one RSA key, big-endian, in the order of ORX_RSA_ImportProtectedKey.
using RsaComponents = std::array<std::vector<uint8_t>, 8>;
inline constexpr const char* kRsaComponentNames[] = {"e", "n", "d", "p", "q", "dP", "dQ", "qInv"};

inline bssl::UniquePtr<RSA> NewRsaKey(int bits, uint32_t exponent = RSA_F4) {
  bssl::UniquePtr<RSA> rsa(RSA_new());
  bssl::UniquePtr<BIGNUM> e(BN_new());
  EXPECT_TRUE(BN_set_u64(e.get(), exponent));
  EXPECT_TRUE(RSA_generate_key_ex(rsa.get(), bits, e.get(), nullptr));
  return rsa;
}

inline RsaComponents ComponentsOf(const RSA* rsa) {
  const BIGNUM* const numbers[] = {RSA_get0_e(rsa),    RSA_get0_n(rsa),   RSA_get0_d(rsa),
                                   RSA_get0_p(rsa),    RSA_get0_q(rsa),   RSA_get0_dmp1(rsa),
                                   RSA_get0_dmq1(rsa), RSA_get0_iqmp(rsa)};
  RsaComponents components;
  for (size_t i = 0; i < components.size(); ++i) {
    components[i].resize(BN_num_bytes(numbers[i]));
    BN_bn2bin(numbers[i], components[i].data());
  }
  return components;
}

// Imports the components under `key_id`; an empty one as a null pointer.
inline uint32_t ImportRsaComponents(const RsaComponents& c, int key_id) {
  const auto length = [&c](size_t i) { return static_cast<uint32_t>(c[i].size()); };
  return ORX_RSA_ImportProtectedKey(nullptr, length(0), c[0].data(), length(1), c[1].data(),
                                    length(2), c[2].data(), length(3), c[3].data(), length(4),
                                    c[4].data(), length(5), c[5].data(), length(6), c[6].data(),
                                    length(7), c[7].data(), key_id);
}

}  // namespace orx_test
