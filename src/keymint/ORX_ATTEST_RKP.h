// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/MacedPublicKey.h>
#include <openssl/evp.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "keymint/ORX_ATTEST.h"

namespace android::hardware::keymint::ORX::RKP {

using legacy::add_tag_from_prop;
using legacy::make_name_from_str;
using legacy::parse_cert_blob;

// UniquePtrDeleter makes a free function the deleter of a std::unique_ptr.
template <typename T, void (*free_function)(T*)>
struct UniquePtrDeleter {
  void operator()(T* pointer) const { free_function(pointer); }
};

using PublicKeyPtr = std::unique_ptr<EVP_PKEY, UniquePtrDeleter<EVP_PKEY, EVP_PKEY_free>>;

// check_maced_pubkey checks that `macedPubKey` is a COSE_Mac0 (RFC 9052, 6.2) with HMAC-SHA-256 as
// its only header parameter, a COSE_Key for ES256 on P-256 as its payload and a tag of 32 bytes,
// and hands out the payload as it is. On failure it logs the reason, returns false and leaves
// `*payload_value`.
//
// WARNING: the MAC is not verified (only the secure environment has its key), trailing bytes are
// accepted at every level, and the key's type, algorithm and curve must be consecutive in this
// order, which is that of the canonical encoding. p256_pub_key() judges the rest.
//
// The platform's CBOR parser has no limit of depth before Android 15: input of tens of thousands of
// nested levels overflows the stack.
bool check_maced_pubkey(const km::MacedPublicKey& macedPubKey, std::vector<uint8_t>* payload_value);

// p256_pub_key makes the P-256 public key of an encoded COSE_Key (RFC 9053, 7.1.1) that
// check_maced_pubkey() handed out. On failure it logs the reason, returns false and leaves
// `*pubkey`.
bool p256_pub_key(const std::vector<uint8_t>& coseKeyData, PublicKeyPtr* pubkey);

}  // namespace android::hardware::keymint::ORX::RKP
