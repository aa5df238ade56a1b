// SPDX-License-Identifier: Apache-2.0
#pragma once

// Stand-in for Android's libcppcose: the labels and values of COSE (RFC 9052, RFC 9053) that a
// MACed public key has. Left out: every function, and what belongs to signed and encrypted
// messages.

#include <cppbor.h>
#include <cppbor_parse.h>

namespace cppcose {

constexpr int kCoseMac0EntryCount = 4;
constexpr int kCoseMac0ProtectedParams = 0;
constexpr int kCoseMac0UnprotectedParams = 1;
constexpr int kCoseMac0Payload = 2;
constexpr int kCoseMac0Tag = 3;
constexpr int kCoseMac0SemanticTag = 17;

// Header parameters of a message.
enum Label : int { ALGORITHM = 1, KEY_ID = 4, IV = 5, COSE_KEY = -1 };

enum CoseKeyAlgorithm : int {
  AES_GCM_256 = 3,
  HMAC_256 = 5,
  ES256 = -7,
  EDDSA = -8,
  ECDH_ES_HKDF_256 = -25,
  ES384 = -35,
};

enum CoseKeyCurve : int { P256 = 1, P384 = 2, X25519 = 4, ED25519 = 6 };
enum CoseKeyType : int { OCTET_KEY_PAIR = 1, EC2 = 2, SYMMETRIC_KEY = 4 };

// The two kinds of labels share names, on the platform too.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"
class CoseKey {
 public:
  // Parameters of a key.
  enum Label : int {
    KEY_TYPE = 1,
    KEY_ID = 2,
    ALGORITHM = 3,
    KEY_OPS = 4,
    CURVE = -1,
    PUBKEY_X = -2,
    PUBKEY_Y = -3,
    PRIVATE_KEY = -4,
    TEST_KEY = -70000,
  };
};
#pragma GCC diagnostic pop

}  // namespace cppcose
