// SPDX-License-Identifier: Apache-2.0
// The public key that a remotely provisioned component hands out: a COSE_Mac0 around a COSE_Key.
#include <openssl/ec_key.h>

#include "src/keymint/ORX_ATTEST_RKP.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  namespace rkp = android::hardware::keymint::ORX::RKP;
  const std::vector<uint8_t> untouched = {1, 2, 3};
  std::vector<uint8_t> payload = untouched;
  if (!rkp::check_maced_pubkey({{data, data + size}}, &payload)) {
    ORX_FUZZ_CHECK(payload == untouched);
    // The fields behind the key's description are of interest on their own.
    payload.assign(data, data + size);
  }
  rkp::PublicKeyPtr key;
  ORX_FUZZ_CHECK(!rkp::check_maced_pubkey({{data, data + size}}, nullptr));
  const bool made = rkp::p256_pub_key(payload, &key);
  ORX_FUZZ_CHECK(made == (key != nullptr));
  ORX_FUZZ_CHECK(!made || EC_KEY_check_key(EVP_PKEY_get0_EC_KEY(key.get())) == 1);
  return 0;
}
