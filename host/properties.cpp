// SPDX-License-Identifier: Apache-2.0
#include <android-base/properties.h>
#include <android_host/host.h>
#include <cutils/properties.h>
#include <errno.h>
#include <inttypes.h>
#include <stdlib.h>
#include <string.h>
#include <sys/system_properties.h>

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "host/device_module.h"

// The value is in libbase's map; this holds what that map does not offer. Entries are never
// removed, as callers keep pointers to them.
struct prop_info {
  std::string name;
  bool exists = false;
  uint32_t serial = 0;
};

namespace {

constexpr std::string_view kLongValueNotice = "Must use __system_property_read_callback() to read";

// Guards libbase's map as well, which has no lock of its own.
std::mutex mutex;

std::map<std::string, prop_info>& Entries() {
  static auto& entries = *new std::map<std::string, prop_info>;
  return entries;
}

bool IsReadOnly(std::string_view name) {
  return name.substr(0, 3) == "ro.";
}

bool IsPropertyName(std::string_view name) {
  constexpr std::string_view kAllowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789.-@:_";
  return !name.empty() && name.front() != '.' && name.back() != '.' &&
         name.find("..") == std::string_view::npos &&
         name.find_first_not_of(kAllowed) == std::string_view::npos;
}

enum class Overwrite { kReadOnlyToo, kNotReadOnly };

// Returns why the property cannot be set, or null when it is set.
const char* SetProperty(const std::string& name, const std::string& value, Overwrite overwrite) {
  if (!IsPropertyName(name)) return "not a property name";
  if (value.size() >= PROP_VALUE_MAX && !IsReadOnly(name)) return "value longer than 91 characters";
  if (value.find('\0') != std::string::npos) return "value with a NUL character";
  const std::lock_guard<std::mutex> lock(mutex);
  prop_info& entry = Entries()[name];
  if (overwrite == Overwrite::kNotReadOnly && IsReadOnly(name) && entry.exists) {
    return "read-only property that has a value already";
  }
  android::base::SetProperty(name, value);
  entry.name = name;
  entry.exists = true;
  ++entry.serial;
  return nullptr;
}

// strtoimax's rules: white space and a sign in front, the base by prefix, the rest ignored.
intmax_t GetInteger(const char* key, intmax_t lowest, intmax_t highest, intmax_t default_value) {
  char value[PROPERTY_VALUE_MAX];
  if (key == nullptr || property_get(key, value, nullptr) == 0) return default_value;
  char* end = value;
  errno = 0;
  const intmax_t number = strtoimax(value, &end, 0);
  if (end == value || errno == ERANGE || number < lowest || number > highest) return default_value;
  return number;
}

}  // namespace

int __system_property_get(const char* name, char* value) {
  android_host::EnsureDevice();
  std::string text;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    text = android::base::GetProperty(name, "");
  }
  if (text.size() >= PROP_VALUE_MAX) {
    text = IsReadOnly(name) ? std::string(kLongValueNotice) : text.substr(0, PROP_VALUE_MAX - 1);
  }
  memcpy(value, text.c_str(), text.size() + 1);
  return static_cast<int>(text.size());
}

int __system_property_set(const char* name, const char* value) {
  android_host::EnsureDevice();
  if (name == nullptr || value == nullptr) return -1;
  return SetProperty(name, value, Overwrite::kNotReadOnly) == nullptr ? 0 : -1;
}

const prop_info* __system_property_find(const char* name) {
  android_host::EnsureDevice();
  const std::lock_guard<std::mutex> lock(mutex);
  const auto entry = Entries().find(name);
  return entry != Entries().end() && entry->second.exists ? &entry->second : nullptr;
}

void __system_property_read_callback(const prop_info* pi,
                                     void (*callback)(void* cookie, const char* name,
                                                      const char* value, uint32_t serial),
                                     void* cookie) {
  std::string value;
  uint32_t serial = 0;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    value = android::base::GetProperty(pi->name, "");
    serial = pi->serial;
  }
  callback(cookie, pi->name.c_str(), value.c_str(), serial);
}

int __system_property_foreach(void (*propfn)(const prop_info* pi, void* cookie), void* cookie) {
  android_host::EnsureDevice();
  std::vector<const prop_info*> present;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    for (const auto& [name, entry] : Entries()) {
      if (entry.exists) present.push_back(&entry);
    }
  }
  for (const prop_info* entry : present) propfn(entry, cookie);
  return 0;
}

int property_get(const char* key, char* value, const char* default_value) {
  const int length = __system_property_get(key, value);
  if (length > 0 || default_value == nullptr) return length;
  const size_t default_length = strnlen(default_value, PROPERTY_VALUE_MAX - 1);
  memcpy(value, default_value, default_length);
  value[default_length] = '\0';
  return static_cast<int>(default_length);
}

int property_set(const char* key, const char* value) {
  return __system_property_set(key, value);
}

int8_t property_get_bool(const char* key, int8_t default_value) {
  if (key == nullptr) return default_value;
  char value[PROPERTY_VALUE_MAX];
  property_get(key, value, "");
  for (const char* word : {"1", "y", "yes", "on", "true"}) {
    if (strcmp(value, word) == 0) return 1;
  }
  for (const char* word : {"0", "n", "no", "off", "false"}) {
    if (strcmp(value, word) == 0) return 0;
  }
  return default_value;
}

int64_t property_get_int64(const char* key, int64_t default_value) {
  return GetInteger(key, INT64_MIN, INT64_MAX, default_value);
}

int32_t property_get_int32(const char* key, int32_t default_value) {
  return static_cast<int32_t>(GetInteger(key, INT32_MIN, INT32_MAX, default_value));
}

int property_list(void (*propfn)(const char* key, const char* value, void* cookie), void* cookie) {
  struct Caller {
    void (*propfn)(const char* key, const char* value, void* cookie);
    void* cookie;
  } caller{propfn, cookie};
  return __system_property_foreach(
      [](const prop_info* entry, void* outer) {
        __system_property_read_callback(
            entry,
            [](void* inner, const char* name, const char* value, uint32_t) {
              const auto* const to = static_cast<Caller*>(inner);
              to->propfn(name, value, to->cookie);
            },
            outer);
      },
      &caller);
}

namespace android_host {

void ClearProperties() {
  const std::lock_guard<std::mutex> lock(mutex);
  for (auto& [name, entry] : Entries()) {
    android::base::SetProperty(name, "");
    entry.exists = false;
    ++entry.serial;
  }
}

bool SetProperty(const std::string& name, const std::string& value, std::string* error) {
  EnsureDevice();
  const char* const reason = ::SetProperty(name, value, Overwrite::kReadOnlyToo);
  if (reason != nullptr && error != nullptr) *error = "property \"" + name + "\": " + reason;
  return reason == nullptr;
}

}  // namespace android_host
