// SPDX-License-Identifier: Apache-2.0
#include <android-base/properties.h>
#include <android_host/host.h>
#include <cutils/properties.h>
#include <string.h>
#include <sys/system_properties.h>

#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "host/device_module.h"

namespace {

constexpr std::string_view kLongValueNotice = "Must use __system_property_read_callback() to read";

// Guards libbase's map as well, which has no lock of its own.
std::mutex mutex;

// The properties that were set here; their values are in libbase's map, which cannot tell an empty
// one from none.
std::set<std::string>& Names() {
  static auto& names = *new std::set<std::string>;
  return names;
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
  const bool is_new = Names().insert(name).second;
  if (overwrite == Overwrite::kNotReadOnly && IsReadOnly(name) && !is_new) {
    return "read-only property that has a value already";
  }
  android::base::SetProperty(name, value);
  return nullptr;
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

namespace android_host {

void ClearProperties() {
  const std::lock_guard<std::mutex> lock(mutex);
  for (const std::string& name : Names()) android::base::SetProperty(name, "");
  Names().clear();
}

bool SetProperty(const std::string& name, const std::string& value, std::string* error) {
  EnsureDevice();
  const char* const reason = ::SetProperty(name, value, Overwrite::kReadOnlyToo);
  if (reason != nullptr && error != nullptr) *error = "property \"" + name + "\": " + reason;
  return reason == nullptr;
}

}  // namespace android_host
