// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/Algorithm.h>
#include <aidl/android/hardware/security/keymint/Digest.h>
#include <aidl/android/hardware/security/keymint/KeyFormat.h>
#include <aidl/android/hardware/security/keymint/KeyPurpose.h>
#include <openssl/digest.h>

#include <memory>

#include "sim/base/bytes.h"
#include "sim/base/instance.h"
#include "sim/keys/key_params.h"

namespace orx_sim {

// Computation is the cryptography of one operation. Both functions append what is ready to `*out`.
class Computation {
 public:
  virtual ~Computation() = default;
  virtual ErrorCode Update(const Bytes& input, Bytes* out) = 0;
  // Gets the last input and, for verification, the signature.
  virtual ErrorCode Finish(const Bytes& input, const Bytes& signature, Bytes* out) = 0;
};

// BeginRequest is what the caller of begin() wants of a key that has the purpose.
struct BeginRequest {
  const Key& key;
  km::KeyPurpose purpose;
  const KeyParams& params;
  // Whether a key pair's purposes VERIFY and ENCRYPT are taken too. KeyMint does not offer them,
  // but devices exist that do.
  bool public_key_operations;
};

// Started is an operation that began: its computation, and the parameters that the device chose.
struct Started {
  std::unique_ptr<Computation> computation;
  KeyParams params;
};

// Algorithm is what the device does with the keys of one algorithm. The order of the checks is that
// of the functions' lines.
struct Algorithm {
  km::Algorithm name;

  // generate makes the secret or the pair of a key as its authorizations ask for it, import_key
  // takes it from `data`. Both add to the authorizations what the caller left out and the key tells
  // (KEY_SIZE, EC_CURVE, RSA_PUBLIC_EXPONENT).
  ErrorCode (*generate)(const Instance& instance, Key* key);
  ErrorCode (*import_key)(const Instance& instance, km::KeyFormat format, const Bytes& data,
                          Key* key);

  // begin checks the request and starts its computation.
  ErrorCode (*begin)(const BeginRequest& request, Started* started);
};

// AES-128 in CBC mode without padding. What else KeyMint knows of AES is refused.
extern const Algorithm kAes;
// RSA signatures and decryption with PKCS #1 v1.5 padding or none; no PSS, no OAEP.
extern const Algorithm kRsa;
// ECDSA on the NIST curves.
extern const Algorithm kEc;

// FindAlgorithm returns one of these, or null.
const Algorithm* FindAlgorithm(km::Algorithm name);

// AgreeOn adds to the key's authorizations what its material tells, unless the caller gave it;
// returns false if the caller gave something else.
bool AgreeOn(const km::KeyParameter& told, Key* key);

// DigestFunction returns the function of a digest, null for NONE.
const EVP_MD* DigestFunction(km::Digest digest);

// TheOne returns the value of an enum parameter of which a request must have exactly one, and the
// code that says so otherwise.
template <typename Enum>
ErrorCode TheOne(const KeyParams& params, Tag tag, ErrorCode otherwise, Enum* value) {
  if (CountOf(params, tag) != 1) return otherwise;
  *value = FindEnum<Enum>(params, tag).value_or(Enum{});
  return ErrorCode::OK;
}

}  // namespace orx_sim
