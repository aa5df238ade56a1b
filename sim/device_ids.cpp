// SPDX-License-Identifier: Apache-2.0
#include "sim/device_ids.h"

#include <algorithm>
#include <iterator>

#include "sim/key_parameters.h"

namespace orx_sim {
namespace {

constexpr km::Tag kIdTags[] = {km::Tag::ATTESTATION_ID_BRAND,        km::Tag::ATTESTATION_ID_DEVICE,
                               km::Tag::ATTESTATION_ID_PRODUCT,      km::Tag::ATTESTATION_ID_SERIAL,
                               km::Tag::ATTESTATION_ID_IMEI,         km::Tag::ATTESTATION_ID_MEID,
                               km::Tag::ATTESTATION_ID_MANUFACTURER, km::Tag::ATTESTATION_ID_MODEL,
                               km::Tag::ATTESTATION_ID_SECOND_IMEI};

bool IsDeviceId(km::Tag tag) {
  return std::find(std::begin(kIdTags), std::end(kIdTags), tag) != std::end(kIdTags);
}

bool IsOwn(const km::KeyParameter& param, const DeviceIds& provisioned) {
  const auto own = provisioned.find(param.tag);
  if (own == provisioned.end() || param.value.getTag() != km::KeyParameterValue::blob) return false;
  const auto& value = param.value.get<km::KeyParameterValue::blob>();
  return std::equal(value.begin(), value.end(), own->second.begin(), own->second.end(),
                    [](uint8_t a, char b) { return a == static_cast<uint8_t>(b); });
}

}  // namespace

bool SelectDeviceIds(const std::vector<km::KeyParameter>& params, const DeviceIds& provisioned,
                     std::vector<km::KeyParameter>* attested) {
  for (const km::KeyParameter& param : params) {
    if (!IsDeviceId(param.tag)) continue;
    if (!IsOwn(param, provisioned)) return false;
    attested->push_back(param);
  }
  return true;
}

}  // namespace orx_sim
