// SPDX-License-Identifier: Apache-2.0
#include "sim/keys/private_key.h"

#include <openssl/bytestring.h>
#include <openssl/ec_key.h>
#include <stdlib.h>

namespace orx_sim {

bssl::UniquePtr<EVP_PKEY> ParsePrivateKey(const uint8_t* data, size_t length) {
  CBS cbs;
  CBS_init(&cbs, data, length);
  bssl::UniquePtr<EVP_PKEY> key(EVP_parse_private_key(&cbs));
  if (CBS_len(&cbs) != 0) return nullptr;
  return key;
}

SecretBytes EncodePrivateKey(const EVP_PKEY* key) {
  bssl::ScopedCBB cbb;
  // Fails only where memory ends.
  if (!CBB_init(cbb.get(), 256) || !EVP_marshal_private_key(cbb.get(), key) ||
      !CBB_flush(cbb.get())) {
    abort();
  }
  // The crypto library wipes the buffer when it frees it.
  return SecretBytes(CBB_data(cbb.get()), CBB_data(cbb.get()) + CBB_len(cbb.get()));
}

bssl::UniquePtr<EVP_PKEY> NewEcPair(int curve_nid) {
  const bssl::UniquePtr<EC_KEY> ec(EC_KEY_new_by_curve_name(curve_nid));
  bssl::UniquePtr<EVP_PKEY> pair(EVP_PKEY_new());
  if (!ec || !pair || !EC_KEY_generate_key(ec.get()) ||
      !EVP_PKEY_set1_EC_KEY(pair.get(), ec.get())) {
    return nullptr;
  }
  return pair;
}

}  // namespace orx_sim
