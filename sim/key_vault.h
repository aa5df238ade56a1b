// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "sim/bytes.h"
#include "sim/device_folder.h"
#include "sim/key_params.h"

namespace orx_sim {

// Key is what a key blob holds.
struct Key {
  KeyId id{};
  uint32_t era = 0;
  KeyParams authorizations;  // what the device enforces, see KeyMintDevice::Enforced()
  SecretBytes material;      // AES: the key; RSA, EC: PrivateKeyInfo (PKCS#8, RFC 5208)

  km::Algorithm algorithm() const;
  bool Has(Tag tag) const { return orx_sim::Has(authorizations, tag); }
};

// Hidden is what a caller must present again to use a key; it is in no list that is handed out.
struct Hidden {
  Bytes application_id;
  Bytes application_data;

  static Hidden Of(const KeyParams& params);
};

// KeyVault seals keys into blobs and opens them again, for one KeyMint instance of one device. A
// blob:
//
//   magic       4 bytes   "OSKB"
//   version     1 byte    1
//   nonce       12 bytes  random
//   ciphertext            of the key: id (16), era (4), number of parameters (4), per parameter tag
//                         (4), kind of value (1) and value (8, or length (4) and bytes), then the
//                         length of the material (4) and the material; numbers are little-endian
//   tag         16 bytes
//
// Encryption is AES-256-GCM (NIST SP 800-38D) under a key of the device and the instance; magic,
// version and Hidden are authenticated with it.
class KeyVault {
 public:
  KeyVault(std::shared_ptr<DeviceFolder> folder, std::string instance);

  // NewKey begins a key: fresh id, current era.
  Key NewKey() const;

  Bytes Seal(const Key& key, const Hidden& hidden) const;

  // Open returns false for what is not a blob of this instance that is sealed with `hidden`, and for
  // a deleted key.
  bool Open(const Bytes& blob, const Hidden& hidden, Key* key) const;

  // Delete makes the key of a blob, and all that it was or will be upgraded to, unusable for good.
  bool Delete(const Key& key) const;
  bool DeleteAll() const;

 private:
  bool Decrypt(const Bytes& blob, const Hidden& hidden, SecretBytes* plain) const;

  const std::shared_ptr<DeviceFolder> folder_;
  const std::string instance_;
  const SecretBytes sealing_key_;
};

}  // namespace orx_sim
