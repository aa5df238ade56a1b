// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sim/base/bytes.h"
#include "sim/base/files.h"
#include "sim/base/settings.h"

namespace orx_sim {

// KeyId names a key through all its upgrades.
using KeyId = std::array<uint8_t, 16>;

// DeviceFolder is a device's folder:
//
//   device.conf    settings, "name = value" (see settings.h)
//   build.prop     system properties, as Android reads them
//   root.key       32 random bytes; everything secret derives from them
//   deleted.keys   one line per deletion, only ever appended to: "INSTANCE KEYID" (32 hex digits),
//                  or "INSTANCE *" for all keys that were there
//   attestation.pem
//                  the factory's attestation keys, made at their first use (see factory_chain.h)
//   persist/       what the device sees as /mnt/vendor/persist/security
//
// Folders have mode 0700, files 0600. Several processes may use one folder: files are replaced by
// renaming, and changes are made under an exclusive lock of the folder. All methods may be called
// from any thread.
class DeviceFolder {
 public:
  // Create makes the folder from a profile, all or nothing. Open opens one. Both return null with
  // the reason in `*error`. A folder that is thrown away after use is not synced to the disk.
  static std::shared_ptr<DeviceFolder> Create(const std::string& path, const std::string& profile,
                                              std::string* error,
                                              Lifetime lifetime = Lifetime::kKept);
  static std::shared_ptr<DeviceFolder> Open(const std::string& path, std::string* error);

  const std::string& path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

  // Get returns the value of a setting of settings.h, its default if the device does not set it.
  std::string Get(const std::string& setting) const;
  bool IsYes(const std::string& setting) const { return Get(setting) == "yes"; }
  int64_t GetNumber(const std::string& setting) const;

  // Set changes settings and properties, "NAME=VALUE" each, all of them or none: a name with a dot
  // is a property of build.prop, any other a setting.
  bool Set(const std::vector<std::string>& assignments, std::string* error);

  // properties returns what build.prop sets, in its order.
  std::vector<Assignment> properties() const;

  // DeriveKey derives a key of `length` bytes from the root key: HKDF-SHA-256 (RFC 5869) with the
  // purpose as info.
  SecretBytes DeriveKey(const std::string& purpose, size_t length) const;

  // Deletions of keys, per KeyMint instance. A key belongs to the era in which it was made;
  // DeleteAllKeys begins the next. The deletions return false when the list cannot be written.
  bool DeleteKey(const std::string& instance, const KeyId& id);
  bool DeleteAllKeys(const std::string& instance);
  uint32_t Era(const std::string& instance) const;
  bool IsDeleted(const std::string& instance, uint32_t era, const KeyId& id) const;

 private:
  explicit DeviceFolder(std::string path) : path_(std::move(path)) {}
  bool Load(std::string* error);
  bool AppendDeletion(const std::string& line);
  bool ReadDeletions(std::vector<std::string>* lines) const;

  const std::string path_;
  SecretBytes root_key_;
  mutable std::mutex mutex_;
  std::vector<Assignment> settings_;
  std::vector<Assignment> properties_;
};

}  // namespace orx_sim
