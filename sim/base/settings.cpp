// SPDX-License-Identifier: Apache-2.0
#include "sim/base/settings.h"

#include <android-base/parseint.h>
#include <android-base/strings.h>
#include <stdlib.h>
#include <string.h>
#include <sys/system_properties.h>

#include <algorithm>

namespace orx_sim {
namespace {

bool IsDigits(const std::string& text, size_t count) {
  return text.size() == count && std::all_of(text.begin(), text.end(), isdigit);
}

bool IsMonth(const std::string& value) {
  if (!IsDigits(value, 6)) return false;
  const int month = atoi(value.c_str() + 4);
  return month >= 1 && month <= 12;
}

// The day may be 00, for a month's patches without a day.
bool IsDay(const std::string& value) {
  return IsDigits(value, 8) && IsMonth(value.substr(0, 6)) && atoi(value.c_str() + 6) <= 31;
}

bool IsWithin(const std::string& value, const std::string& range) {
  const size_t dots = range.find("..");
  int number = 0;
  return android::base::ParseInt(value, &number, atoi(range.c_str()),
                                 atoi(range.c_str() + dots + 2));
}

bool Matches(const std::string& value, const std::string& form) {
  if (form == "text") return value.find('\n') == std::string::npos;
  if (form == "YYYYMM") return IsMonth(value);
  if (form == "YYYYMMDD") return IsDay(value);
  if (form.find("..") != std::string::npos) return IsWithin(value, form);
  const std::vector<std::string> words = android::base::Split(form, "|");
  return std::find(words.begin(), words.end(), value) != words.end();
}

bool IsPropertyName(const std::string& name) {
  if (name.empty() || name.front() == '.' || name.back() == '.') return false;
  if (name.find("..") != std::string::npos) return false;
  return std::all_of(name.begin(), name.end(),
                     [](unsigned char c) { return isalnum(c) || strchr(".-@:_", c) != nullptr; });
}

}  // namespace

const std::vector<Setting>& Settings() {
  static const std::vector<Setting> settings = {
      {"profile", "", "text", "the profile that the device was made from"},
      {"keymint-version", "3", "1..3", "interface version of the TEE's KeyMint"},
      {"strongbox", "yes", "yes|no", "whether there is a StrongBox"},
      {"strongbox-keymint-version", "3", "1..3", "interface version of the StrongBox's KeyMint"},
      {"os-version", "140000", "0..999999", "Android version, MMmmss"},
      {"os-patch-level", "202611", "YYYYMM", "patch level of the system"},
      {"vendor-patch-level", "20261105", "YYYYMMDD", "patch level of the vendor partition"},
      {"boot-patch-level", "20261105", "YYYYMMDD", "patch level of the boot image"},
      {"operation-slots", "32", "1..1024", "operations that a KeyMint keeps open at once"},
      {"public-key-operations", "no", "yes|no", "whether begin takes RSA VERIFY and ENCRYPT"},
      {"attestation", "factory", "factory|remote|none",
       "attestation keys of the TEE: the factory's, remotely provisioned ones only, or neither"},
      {"strongbox-attestation", "remote", "factory|remote|none",
       "attestation keys of the StrongBox"},
      {"attestation-root", "/serialNumber=f92009e853b6b045", "text",
       "subject of the root of the factory's attestation keys"},
      {"attestation-expired", "no", "yes|no",
       "whether the certificates of the factory's attestation keys have expired"},
      {"provisioned-ids", "", "text",
       "where KeyMint's identifiers differ from the device's: NAME=VALUE,... (empty: not written)"},
      {"id-attestation", "yes", "yes|no", "whether KeyMint attests device identifiers"},
      {"strongbox-preshared-key", "shared", "shared|other",
       "whether the StrongBox has the TEE's pre-shared key"},
      {"modem", "yes", "yes|no", "whether a modem daemon answers"},
      {"imei", "", "text", "IMEI; empty: none"},
      {"second-imei", "", "text", "IMEI of the second slot; empty: none"},
      {"meid", "", "text", "MEID; empty: none"},
  };
  return settings;
}

const Setting* FindSetting(const std::string& name) {
  for (const Setting& setting : Settings()) {
    if (name == setting.name) return &setting;
  }
  return nullptr;
}

bool CheckSetting(const std::string& name, const std::string& value, std::string* error) {
  const Setting* const setting = FindSetting(name);
  if (setting == nullptr) {
    *error = "there is no setting \"" + name + "\"";
    return false;
  }
  if (Matches(value, setting->form)) return true;
  *error = "\"" + value + "\" is no value for " + name + ", which is " + setting->form;
  return false;
}

bool CheckProperty(const std::string& name, const std::string& value, std::string* error) {
  if (!IsPropertyName(name)) {
    *error = "\"" + name + "\" is no property name";
    return false;
  }
  if (value.size() < PROP_VALUE_MAX) return true;
  *error = "the value of " + name + " has " + std::to_string(value.size()) +
           " characters; the longest that Android takes has " + std::to_string(PROP_VALUE_MAX - 1);
  return false;
}

}  // namespace orx_sim
