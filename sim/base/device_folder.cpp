// SPDX-License-Identifier: Apache-2.0
#include "sim/base/device_folder.h"

#include <android-base/strings.h>
#include <errno.h>
#include <openssl/digest.h>
#include <openssl/hkdf.h>
#include <openssl/rand.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace orx_sim {
namespace {

constexpr size_t kRootKeyBytes = 32;
constexpr char kConf[] = "device.conf";
constexpr char kBuildProp[] = "build.prop";
constexpr char kRootKey[] = "root.key";
constexpr char kDeletedKeys[] = "deleted.keys";

std::string Hex(const KeyId& id) {
  std::string text;
  for (const uint8_t byte : id) {
    char digits[3];
    snprintf(digits, sizeof(digits), "%02x", byte);
    text += digits;
  }
  return text;
}

bool WriteRootKey(const std::string& path, Lifetime lifetime, std::string* error) {
  SecretBytes key(kRootKeyBytes);
  if (RAND_bytes(key.data(), key.size()) != 1) {
    *error = "no random numbers";
    return false;
  }
  return WriteNewFile(path, {reinterpret_cast<const char*>(key.data()), key.size()}, lifetime,
                      error);
}

bool Fill(const std::string& folder, const Profile& profile, Lifetime lifetime,
          std::string* error) {
  const std::string conf = "profile = " + profile.name + "\n" + profile.settings;
  return WriteNewFile(folder + "/" + kConf, conf, lifetime, error) &&
         WriteNewFile(folder + "/" + kBuildProp, profile.build_prop, lifetime, error) &&
         WriteNewFile(folder + "/" + kDeletedKeys, "", lifetime, error) &&
         MakeFolder(folder + "/persist", error) &&
         WriteRootKey(folder + "/" + kRootKey, lifetime, error);
}

// A folder that anybody else could read or change would be no secure hardware.
bool CheckPrivate(const std::string& path, std::string* error) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) {
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

const Assignment* Find(const std::vector<Assignment>& assignments, const std::string& name) {
  const auto found = std::find_if(assignments.rbegin(), assignments.rend(),
                                  [&name](const Assignment& a) { return a.name == name; });
  return found == assignments.rend() ? nullptr : &*found;
}

// Texts are the two files that describe the device.
struct Texts {
  std::string conf;
  std::string build_prop;
};

struct Parsed {
  std::vector<Assignment> settings;
  std::vector<Assignment> properties;
};

bool Read(const DeviceFolder& folder, Texts* texts, std::string* error) {
  return ReadFile(folder.File(kConf), &texts->conf, error) &&
         ReadFile(folder.File(kBuildProp), &texts->build_prop, error);
}

bool Parse(const DeviceFolder& folder, const Texts& texts, Parsed* parsed, std::string* error) {
  return ParseSettings(texts.conf, folder.File(kConf), &parsed->settings, error) &&
         ParseBuildProp(texts.build_prop, folder.File(kBuildProp), 1, &parsed->properties, error);
}

// Puts the line in the place of the last one that assigned the name, or at the end.
void PutLine(std::string* text, const Assignment* old, const std::string& line) {
  std::vector<std::string> lines = android::base::Split(*text, "\n");
  if (old != nullptr) {
    lines[static_cast<size_t>(old->line) - 1] = line;
  } else {
    lines.insert(lines.back().empty() ? lines.end() - 1 : lines.end(), line);
  }
  *text = android::base::Join(lines, "\n");
}

bool Apply(const DeviceFolder& folder, const std::string& assignment, Texts* texts,
           std::string* error) {
  const size_t equals = assignment.find('=');
  if (equals == std::string::npos || assignment.find('\n') != std::string::npos) {
    *error = "\"" + assignment + "\" is not of the form NAME=VALUE";
    return false;
  }
  const std::string name = assignment.substr(0, equals);
  const std::string value = assignment.substr(equals + 1);
  const bool is_property = name.find('.') != std::string::npos;
  Parsed parsed;
  if (!(is_property ? CheckProperty : CheckSetting)(name, value, error) ||
      !Parse(folder, *texts, &parsed, error)) {
    return false;
  }
  PutLine(is_property ? &texts->build_prop : &texts->conf,
          Find(is_property ? parsed.properties : parsed.settings, name), name + "=" + value);
  return true;
}

}  // namespace

std::shared_ptr<DeviceFolder> DeviceFolder::Create(const std::string& path,
                                                   const std::string& profile, std::string* error,
                                                   Lifetime lifetime) {
  Profile content;
  if (!LoadProfile(profile, &content, error)) return nullptr;
  std::string temporary = path + ".XXXXXX";
  if (mkdtemp(temporary.data()) == nullptr) {
    *error = Reason(path);
    return nullptr;
  }
  const bool filled = Fill(temporary, content, lifetime, error);
  if (filled && rename(temporary.c_str(), path.c_str()) == 0) return Open(path, error);
  if (filled) *error = Reason(path);
  RemoveTree(temporary);
  return nullptr;
}

std::shared_ptr<DeviceFolder> DeviceFolder::Open(const std::string& path, std::string* error) {
  if (!CheckPrivate(path, error)) return nullptr;
  std::shared_ptr<DeviceFolder> folder(new DeviceFolder(path));
  if (!folder->Load(error)) return nullptr;
  return folder;
}

bool DeviceFolder::Load(std::string* error) {
  std::string key;
  Texts texts;
  Parsed parsed;
  if (!ReadFile(File(kRootKey), &key, error) || !Read(*this, &texts, error) ||
      !Parse(*this, texts, &parsed, error)) {
    return false;
  }
  settings_ = std::move(parsed.settings);
  properties_ = std::move(parsed.properties);
  root_key_.assign(key.begin(), key.end());
  OPENSSL_cleanse(key.data(), key.size());
  if (root_key_.size() == kRootKeyBytes) return true;
  *error = File(kRootKey) + ": not a key of " + std::to_string(kRootKeyBytes) + " bytes";
  return false;
}

std::string DeviceFolder::Get(const std::string& setting) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const Assignment* const found = Find(settings_, setting);
  if (found != nullptr) return found->value;
  const Setting* const row = FindSetting(setting);
  return row == nullptr ? "" : row->fallback;
}

int64_t DeviceFolder::GetNumber(const std::string& setting) const {
  return atoll(Get(setting).c_str());
}

std::vector<Assignment> DeviceFolder::properties() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return properties_;
}

bool DeviceFolder::Set(const std::vector<std::string>& assignments, std::string* error) {
  Texts texts;
  Parsed parsed;
  const android::base::unique_fd lock = LockFolder(path_, error);
  if (!lock.ok() || !Read(*this, &texts, error)) return false;
  for (const std::string& assignment : assignments) {
    if (!Apply(*this, assignment, &texts, error)) return false;
  }
  if (!Parse(*this, texts, &parsed, error) || !ReplaceFile(File(kConf), texts.conf, error) ||
      !ReplaceFile(File(kBuildProp), texts.build_prop, error)) {
    return false;
  }
  const std::lock_guard<std::mutex> guard(mutex_);
  settings_ = std::move(parsed.settings);
  properties_ = std::move(parsed.properties);
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

bool DeviceFolder::AppendDeletion(const std::string& line) {
  std::string error;
  const android::base::unique_fd lock = LockFolder(path_, &error);
  if (lock.ok() && AppendLine(File(kDeletedKeys), line, &error)) return true;
  fprintf(stderr, "simulated device: %s\n", error.c_str());
  return false;
}

bool DeviceFolder::DeleteKey(const std::string& instance, const KeyId& id) {
  return AppendDeletion(instance + " " + Hex(id));
}

bool DeviceFolder::DeleteAllKeys(const std::string& instance) {
  return AppendDeletion(instance + " *");
}

bool DeviceFolder::ReadDeletions(std::vector<std::string>* lines) const {
  std::string text;
  std::string error;
  const bool read = ReadFile(File(kDeletedKeys), &text, &error);
  if (!read) fprintf(stderr, "simulated device: %s\n", error.c_str());
  *lines = android::base::Split(text, "\n");
  return read;
}

uint32_t DeviceFolder::Era(const std::string& instance) const {
  std::vector<std::string> lines;
  if (!ReadDeletions(&lines)) return UINT32_MAX;
  return static_cast<uint32_t>(std::count(lines.begin(), lines.end(), instance + " *"));
}

// Without the list no key is known to be still there.
bool DeviceFolder::IsDeleted(const std::string& instance, uint32_t era, const KeyId& id) const {
  std::vector<std::string> lines;
  if (!ReadDeletions(&lines)) return true;
  if (std::count(lines.begin(), lines.end(), instance + " *") != era) return true;
  return std::find(lines.begin(), lines.end(), instance + " " + Hex(id)) != lines.end();
}

}  // namespace orx_sim
