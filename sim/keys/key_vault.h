// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "sim/base/bytes.h"
#include "sim/base/device_folder.h"
#include "sim/keys/key_params.h"

namespace orx_sim {

// DigestHidden makes the digest of what a key's owner presents.
HiddenDigest DigestHidden(const Bytes& application_id, const Bytes& application_data);
HiddenDigest DigestHidden(const KeyParams& params);

// KeyVault seals keys into blobs and opens them again, for one KeyMint instance of one device. A
// blob:
//
//   magic       4 bytes   "OSKB"
//   version     1 byte    1
//   nonce       12 bytes  random
//   ciphertext            of the key: id (16), hidden (32), era (4), number of parameters (4), per
//                         parameter tag (4), kind of value (1) and value (8, or length (4) and
//                         bytes), then the length of the material (4) and the material, which is a
//                         symmetric key itself or the PrivateKeyInfo (PKCS#8, RFC 5208) of a pair;
//                         numbers are little-endian
//   tag         16 bytes
//
// Encryption is AES-256-GCM (NIST SP 800-38D) under a key of the device and the instance; magic and
// version are authenticated with it.
//
// Parsing an RSA key, whose numbers are checked then, takes nearly as long as a signature. So the
// vault keeps the pairs that it parsed. All methods may be called from any thread.
class KeyVault {
 public:
  KeyVault(std::shared_ptr<DeviceFolder> folder, std::string instance);

  // NewKey begins a key: fresh id, current era, hidden as in the request's parameters; the rest is
  // empty.
  Key NewKey(const KeyParams& params) const;

  Bytes Seal(const Key& key) const;

  // Unseal returns false for what is not a blob of this instance.
  bool Unseal(const Bytes& blob, Key* key) const;

  // Open is Unseal for use: false also for a key with another `hidden` and for a deleted one.
  bool Open(const Bytes& blob, const HiddenDigest& hidden, Key* key) const;

  // Delete makes a key, and all that it was or will be upgraded to, unusable for good. Both return
  // false if that could not be recorded.
  bool Delete(const Key& key) const;
  bool DeleteAll() const;

 private:
  // TakeMaterial gives a key that was opened its secret or its pair. False if it is no key.
  bool TakeMaterial(SecretBytes material, Key* key) const;

  const std::shared_ptr<DeviceFolder> folder_;
  const std::string instance_;
  const SecretBytes sealing_key_;
  mutable std::mutex mutex_;
  mutable std::map<KeyId, bssl::UniquePtr<EVP_PKEY>> pairs_;
};

}  // namespace orx_sim
