// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/device_ids.h"

#include <android-base/strings.h>
#include <stdlib.h>

#include <algorithm>
#include <iterator>

namespace orx_sim {
namespace {

// Where the value of an identifier comes from: a product property ("brand" is
// "ro.product.vendor.brand" or "ro.product.brand"), another property, or a setting.
enum class Source { kProduct, kProperty, kSetting };

struct DeviceId {
  Tag tag;
  Source source;
  const char* key;
  const char* name;  // in "provisioned-ids"
};
constexpr DeviceId kDeviceIds[] = {
    {Tag::ATTESTATION_ID_BRAND, Source::kProduct, "brand", "brand"},
    {Tag::ATTESTATION_ID_DEVICE, Source::kProduct, "device", "device"},
    {Tag::ATTESTATION_ID_PRODUCT, Source::kProduct, "name", "product"},
    {Tag::ATTESTATION_ID_SERIAL, Source::kProperty, "ro.vendor.boot.serialno", "serial"},
    {Tag::ATTESTATION_ID_IMEI, Source::kSetting, "imei", "imei"},
    {Tag::ATTESTATION_ID_SECOND_IMEI, Source::kSetting, "second-imei", "second-imei"},
    {Tag::ATTESTATION_ID_MEID, Source::kSetting, "meid", "meid"},
    {Tag::ATTESTATION_ID_MANUFACTURER, Source::kProduct, "manufacturer", "manufacturer"},
    {Tag::ATTESTATION_ID_MODEL, Source::kProduct, "model", "model"},
};

// The first API level whose devices keep their names in vendor properties.
constexpr int kFirstApiLevelWithVendorNames = 34;

using Properties = std::map<std::string, std::string>;

std::string Find(const Properties& properties, const std::string& name) {
  const auto found = properties.find(name);
  return found == properties.end() ? "" : found->second;
}

std::string ValueOf(const DeviceId& id, const DeviceConf& conf, const Properties& properties) {
  if (id.source == Source::kSetting) return conf.Get(id.key);
  if (id.source == Source::kProperty) return Find(properties, id.key);
  const int api_level = atoi(Find(properties, "ro.product.first_api_level").c_str());
  const char* const prefix =
      api_level >= kFirstApiLevelWithVendorNames ? "ro.product.vendor." : "ro.product.";
  return Find(properties, std::string(prefix) + id.key);
}

// The settings of "provisioned-ids", by name.
Properties Differences(const DeviceConf& conf) {
  Properties differences;
  for (const std::string& entry : android::base::Split(conf.Get("provisioned-ids"), ",")) {
    const size_t equals = entry.find('=');
    if (equals == std::string::npos) continue;
    differences[android::base::Trim(entry.substr(0, equals))] = entry.substr(equals + 1);
  }
  return differences;
}

bool IsDeviceId(Tag tag, int32_t interface_version) {
  constexpr int32_t kFirstVersionWithSecondImei = 3;
  if (tag == Tag::ATTESTATION_ID_SECOND_IMEI) {
    return interface_version >= kFirstVersionWithSecondImei;
  }
  return std::any_of(std::begin(kDeviceIds), std::end(kDeviceIds),
                     [tag](const DeviceId& id) { return id.tag == tag; });
}

bool IsOwn(const km::KeyParameter& param, const DeviceIds& provisioned) {
  const auto own = provisioned.find(param.tag);
  if (own == provisioned.end() || param.value.getTag() != km::KeyParameterValue::blob) return false;
  const auto& value = param.value.get<km::KeyParameterValue::blob>();
  return std::equal(value.begin(), value.end(), own->second.begin(), own->second.end(),
                    [](uint8_t a, char b) { return a == static_cast<uint8_t>(b); });
}

}  // namespace

DeviceIds ProvisionedIds(const DeviceConf& conf) {
  DeviceIds ids;
  if (!conf.IsYes("id-attestation")) return ids;
  Properties properties;
  for (const Assignment& property : conf.properties()) {
    properties[property.name] = property.value;
  }
  const Properties differences = Differences(conf);
  for (const DeviceId& id : kDeviceIds) {
    const auto different = differences.find(id.name);
    const std::string value =
        different != differences.end() ? different->second : ValueOf(id, conf, properties);
    if (!value.empty()) ids[id.tag] = value;
  }
  return ids;
}

bool SelectDeviceIds(const KeyParams& params, const DeviceIds& provisioned,
                     int32_t interface_version, KeyParams* attested) {
  for (const km::KeyParameter& param : params) {
    if (!IsDeviceId(param.tag, interface_version)) continue;
    if (!IsOwn(param, provisioned)) return false;
    attested->push_back(param);
  }
  return true;
}

}  // namespace orx_sim
