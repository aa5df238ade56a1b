// SPDX-License-Identifier: Apache-2.0
#include "sim/keymint/algorithm.h"

namespace orx_sim {

const Algorithm* FindAlgorithm(km::Algorithm name) {
  for (const Algorithm* algorithm : {&kAes, &kRsa, &kEc}) {
    if (algorithm->name == name) return algorithm;
  }
  return nullptr;
}

bool AgreeOn(const km::KeyParameter& told, Key* key) {
  const std::optional<int64_t> given = FindNumber(key->authorizations, told.tag);
  if (!given) key->authorizations.push_back(told);
  return !given || given == NumberOf(told.value);
}

const EVP_MD* DigestFunction(km::Digest digest) {
  switch (digest) {
    case km::Digest::MD5:
      return EVP_md5();
    case km::Digest::SHA1:
      return EVP_sha1();
    case km::Digest::SHA_2_224:
      return EVP_sha224();
    case km::Digest::SHA_2_256:
      return EVP_sha256();
    case km::Digest::SHA_2_384:
      return EVP_sha384();
    case km::Digest::SHA_2_512:
      return EVP_sha512();
    default:
      return nullptr;
  }
}

}  // namespace orx_sim
