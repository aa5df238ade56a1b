// SPDX-License-Identifier: Apache-2.0
// The tool's key files: an RSA key in any of its forms, or as eight lines of numbers.
#include <openssl/evp.h>

#include "common/secret.h"
#include "sim/keys/private_key.h"
#include "tests/fuzz/fuzz.h"
#include "tools/orx/commands/rsa_key.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = orx_fuzz::FileOf(data, size);
  std::optional<orx_tool::Problem> problem;
  const auto key = orx_tool::ReadRsaPrivateKey(path, &problem);
  ORX_FUZZ_CHECK(key.has_value() == !problem.has_value());
  if (key) {
    const auto parsed = orx_sim::ParsePrivateKey(key->der.data(), key->der.size());
    ORX_FUZZ_CHECK(parsed && static_cast<unsigned>(EVP_PKEY_bits(parsed.get())) == key->bits);
  }
  problem.reset();
  const auto numbers = orx_tool::ReadRsaComponents(path, &problem);
  ORX_FUZZ_CHECK(numbers.has_value() == !problem.has_value());
  if (numbers) {
    for (const auto& number : *numbers) ORX_FUZZ_CHECK(number && !number->empty());
  }
  return 0;
}
