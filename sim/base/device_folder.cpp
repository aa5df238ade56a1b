// SPDX-License-Identifier: Apache-2.0
#include "sim/base/device_folder.h"

#include <android-base/unique_fd.h>
#include <errno.h>
#include <openssl/digest.h>
#include <openssl/hkdf.h>
#include <openssl/mem.h>
#include <openssl/rand.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace orx_sim {
namespace {

using android::base::unique_fd;

constexpr size_t kRootKeyBytes = 32;
constexpr char kFormat[] = "format";
constexpr char kFormatVersion[] = "1\n";
constexpr char kConf[] = "device.conf";
constexpr char kRootKey[] = "root.key";
constexpr char kDeletedKeys[] = "deleted.keys";

bool WriteRootKey(const std::string& path, Lifetime lifetime, std::string* error) {
  SecretBytes key(kRootKeyBytes);
  if (RAND_bytes(key.data(), key.size()) != 1) {
    *error = "no random numbers";
    return false;
  }
  return WriteNewFile(path, {reinterpret_cast<const char*>(key.data()), key.size()}, lifetime,
                      error);
}

bool Fill(const std::string& folder, const DeviceConf& conf, Lifetime lifetime,
          std::string* error) {
  return WriteNewFile(folder + "/" + kFormat, kFormatVersion, lifetime, error) &&
         WriteNewFile(folder + "/" + kConf, conf.text(), lifetime, error) &&
         WriteNewFile(folder + "/" + kDeletedKeys, DeletedKeys::kEmpty, lifetime, error) &&
         MakeFolder(folder + "/persist", error) &&
         WriteRootKey(folder + "/" + kRootKey, lifetime, error);
}

// A folder that anybody else could read or change would be no secure hardware.
bool CheckPrivate(const std::string& path, std::string* error) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    *error = Reason(path);
  } else if (!S_ISDIR(status.st_mode)) {
    *error = path + ": not a folder";
  } else if (status.st_uid != geteuid()) {
    *error = path + ": belongs to another user (uid " + std::to_string(status.st_uid) + ")";
  } else if (access((path + "/" + kConf).c_str(), F_OK) != 0) {
    *error = path + ": not a simulated device: there is no " + kConf + " in it";
  } else if ((status.st_mode & 077) != 0) {
    *error = path + ": open to other users; chmod 700 closes it";
  } else {
    return true;
  }
  return false;
}

bool CheckFormat(const DeviceFolder& folder, std::string* error) {
  std::string version;
  std::string no_format;
  if (ReadFile(folder.File(kFormat), &version, &no_format) && version == kFormatVersion) {
    return true;
  }
  *error = folder.path() + ": made by another version of orx-sim, which this one cannot open; " +
           "orx-sim new makes a device anew";
  return false;
}

bool ReadConf(const DeviceFolder& folder, DeviceConf* conf, std::string* error) {
  std::string text;
  return ReadFile(folder.File(kConf), &text, error) && conf->Parse(text, folder.File(kConf), error);
}

// Whether `fd` is the user's own folder that has the name `path` itself, not through a link.
bool IsOwn(const unique_fd& fd, const std::string& path) {
  struct stat open_one {};
  struct stat named_one {};
  return fstat(fd.get(), &open_one) == 0 && lstat(path.c_str(), &named_one) == 0 &&
         open_one.st_ino == named_one.st_ino && open_one.st_dev == named_one.st_dev &&
         open_one.st_uid == geteuid();
}

// Makes a folder for what is not complete yet, or takes over the one that a killed process left:
// its lock is free then.
unique_fd ClaimFolder(const std::string& path, std::string* error) {
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
    *error = Reason(path);
    return unique_fd();
  }
  unique_fd lock = LockFolder(path, error);
  if (!lock.ok()) return lock;
  // Whoever held the lock before may have completed the folder and given it its name.
  if (!IsOwn(lock, path)) {
    *error = path + ": another process's";
    return unique_fd();
  }
  RemoveContent(path);
  return lock;
}

}  // namespace

DeviceFolder::DeviceFolder(std::string path)
    : path_(std::move(path)), deleted_(path_ + "/" + kDeletedKeys) {}

std::shared_ptr<DeviceFolder> DeviceFolder::Create(const std::string& path,
                                                   const std::string& profile, std::string* error,
                                                   Lifetime lifetime) {
  DeviceConf conf;
  if (!LoadProfile(profile, &conf, error)) return nullptr;
  const std::string incomplete = path + ".orx-sim-new";
  const unique_fd lock = ClaimFolder(incomplete, error);
  if (!lock.ok()) return nullptr;
  const bool filled = Fill(incomplete, conf, lifetime, error);
  if (filled && rename(incomplete.c_str(), path.c_str()) == 0) return Open(path, error);
  if (filled) *error = Reason(path);
  RemoveTree(incomplete);
  return nullptr;
}

std::shared_ptr<DeviceFolder> DeviceFolder::Open(const std::string& path, std::string* error) {
  const std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), free);
  if (real == nullptr) {
    *error = Reason(path);
    return nullptr;
  }
  std::shared_ptr<DeviceFolder> folder(new DeviceFolder(real.get()));
  if (!CheckPrivate(folder->path(), error) || !folder->Load(error)) return nullptr;
  return folder;
}

bool DeviceFolder::Load(std::string* error) {
  std::string key;
  DeviceConf conf;
  if (!CheckFormat(*this, error) || !ReadConf(*this, &conf, error) || !deleted_.Check(error) ||
      !ReadFile(File(kRootKey), &key, error)) {
    return false;
  }
  conf_ = std::make_shared<const DeviceConf>(std::move(conf));
  root_key_.assign(key.begin(), key.end());
  OPENSSL_cleanse(key.data(), key.size());
  if (root_key_.size() == kRootKeyBytes) return true;
  *error = File(kRootKey) + ": not a key of " + std::to_string(kRootKeyBytes) + " bytes";
  return false;
}

std::shared_ptr<const DeviceConf> DeviceFolder::conf() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return conf_;
}

bool DeviceFolder::Set(const std::vector<std::string>& assignments, std::string* error) {
  std::string text;
  DeviceConf conf;
  const unique_fd lock = LockFolder(path_, error);
  if (!lock.ok() || !ReadFile(File(kConf), &text, error) || !conf.Parse(text, File(kConf), error)) {
    return false;
  }
  for (const std::string& assignment : assignments) {
    if (!conf.Set(assignment, error)) return false;
  }
  if (!ReplaceFile(File(kConf), conf.text(), error)) return false;
  const std::lock_guard<std::mutex> guard(mutex_);
  conf_ = std::make_shared<const DeviceConf>(std::move(conf));
  return true;
}

SecretBytes DeviceFolder::DeriveKey(const std::string& purpose, size_t length) const {
  SecretBytes key(length);
  // Fails only for lengths beyond 255 blocks, which no key has.
  if (HKDF(key.data(), key.size(), EVP_sha256(), root_key_.data(), root_key_.size(), nullptr, 0,
           reinterpret_cast<const uint8_t*>(purpose.data()), purpose.size()) != 1) {
    abort();
  }
  return key;
}

bool DeviceFolder::DeleteKey(const std::string& instance, const KeyId& id) {
  std::string error;
  const unique_fd lock = LockFolder(path_, &error);
  if (lock.ok() && deleted_.Add(instance, id, &error)) return true;
  fprintf(stderr, "simulated device: %s\n", error.c_str());
  return false;
}

bool DeviceFolder::DeleteAllKeys(const std::string& instance) {
  std::string error;
  const unique_fd lock = LockFolder(path_, &error);
  if (lock.ok() && deleted_.AddAll(instance, &error)) return true;
  fprintf(stderr, "simulated device: %s\n", error.c_str());
  return false;
}

}  // namespace orx_sim
