// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sim/base/bytes.h"
#include "sim/base/deleted_keys.h"
#include "sim/base/device_conf.h"
#include "sim/base/files.h"

namespace orx_sim {

// DeviceFolder is a device's folder:
//
//   format         "1": the version of what follows. A folder of another version is not opened.
//   device.conf    settings and system properties (see device_conf.h)
//   root.key       32 random bytes; everything secret derives from them
//   deleted.keys   the deletions of keys (see deleted_keys.h)
//   attestation.pem
//                  the factory's attestation keys, made at their first use (see factory_chain.h)
//   persist/       what the device sees as /mnt/vendor/persist/security
//
// Folders have mode 0700, files 0600. Several processes may use one folder: files are replaced by
// renaming, and changes are made under an exclusive lock of the folder. All methods may be called
// from any thread.
class DeviceFolder {
 public:
  // Create makes the folder from a profile, all or nothing: it is PATH.orx-sim-new until it is
  // complete, and what a killed creation left there is taken over. Open opens a folder, also
  // through a symbolic link. Both return null with the reason in `*error`. A folder that is thrown
  // away after use is not synced to the disk.
  static std::shared_ptr<DeviceFolder> Create(const std::string& path, const std::string& profile,
                                              std::string* error,
                                              Lifetime lifetime = Lifetime::kKept);
  static std::shared_ptr<DeviceFolder> Open(const std::string& path, std::string* error);

  // path is absolute and free of symbolic links.
  const std::string& path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

  // conf is what the device is like now. Get, IsYes, GetNumber and properties ask it.
  std::shared_ptr<const DeviceConf> conf() const;
  std::string Get(const std::string& setting) const { return conf()->Get(setting); }
  bool IsYes(const std::string& setting) const { return conf()->IsYes(setting); }
  int64_t GetNumber(const std::string& setting) const { return conf()->GetNumber(setting); }
  std::vector<Assignment> properties() const { return conf()->properties(); }

  // Set changes settings and properties, "NAME=VALUE" each (see DeviceConf::Set): all of them or
  // none, also when the process is killed.
  bool Set(const std::vector<std::string>& assignments, std::string* error);

  // DeriveKey derives a key of `length` bytes from the root key: HKDF-SHA-256 (RFC 5869) with the
  // purpose as info.
  SecretBytes DeriveKey(const std::string& purpose, size_t length) const;

  // The deletions of keys, see DeletedKeys. They return false when the list cannot be written.
  bool DeleteKey(const std::string& instance, const KeyId& id);
  bool DeleteAllKeys(const std::string& instance);
  uint32_t Era(const std::string& instance) { return deleted_.Era(instance); }
  bool IsDeleted(const std::string& instance, uint32_t era, const KeyId& id) {
    return deleted_.Contains(instance, era, id);
  }

 private:
  explicit DeviceFolder(std::string path);
  bool Load(std::string* error);

  const std::string path_;
  SecretBytes root_key_;
  DeletedKeys deleted_;
  mutable std::mutex mutex_;
  std::shared_ptr<const DeviceConf> conf_;
};

}  // namespace orx_sim
