// SPDX-License-Identifier: Apache-2.0
#include <keymint/authorization_set.h>
#include <orx/attest.h>
#include <orx/device.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "keymint/device_id_records.h"
#include "orx_log.h"

// The device-ID records.

namespace android::hardware::keymint::ORX {
namespace {

struct PropertyRecord {
  km::Tag tag;
  const char* (*get)();
};

// Records 0 to 5, in their order.
constexpr PropertyRecord kPropertyRecords[] = {
    {km::Tag::ATTESTATION_ID_BRAND, ORX_get_brand_name},
    {km::Tag::ATTESTATION_ID_DEVICE, ORX_get_device_name},
    {km::Tag::ATTESTATION_ID_PRODUCT, ORX_get_product_name},
    {km::Tag::ATTESTATION_ID_SERIAL, ORX_get_serial},
    {km::Tag::ATTESTATION_ID_MANUFACTURER, ORX_get_manufacturer_name},
    {km::Tag::ATTESTATION_ID_MODEL, ORX_get_model_name},
};

// Copies `length` bytes, and aborts when they do not fit the `room` bytes at `out`.
void CheckedCopy(uint8_t* out, size_t room, const char* text, size_t length) {
  if (length > room) abort();
  memcpy(out, text, length);
}

// IdRecordArea is the zeroed area in which all records are assembled.
class IdRecordArea {
 public:
  const DeviceIdRecords& records() const { return records_; }

  void SetTag(size_t index, km::Tag tag) { records_[index].tag = static_cast<uint32_t>(tag); }

  void SetLength(size_t index, size_t length) {
    records_[index].length = static_cast<uint32_t>(std::min(length, kDeviceIdValueSize));
  }

  void SetValue(size_t index, const char* text, size_t length) {
    const size_t offset = index * sizeof(DeviceIdRecord) + offsetof(DeviceIdRecord, value);
    CheckedCopy(reinterpret_cast<uint8_t*>(&records_) + offset, sizeof(records_) - offset, text,
                length);
  }

 private:
  DeviceIdRecords records_ = {};
};

bool AddPropertyRecords(IdRecordArea& area) {
  size_t index = 0;
  for (const PropertyRecord& record : kPropertyRecords) {
    const char* value = record.get();
    if (value == nullptr) {  // removed since the properties were checked
      ORX_LOG("ATTEST: fail to validate generic device ids");
      return false;
    }
    area.SetTag(index, record.tag);
    area.SetValue(index, value, strlen(value));
    area.SetLength(index, strlen(value));
    ++index;
  }
  return true;
}

// Adds the IMEI record and leaves the IMEI in `imei`.
bool AddImeiRecord(IdRecordArea& area, char (&imei)[kDeviceIdValueSize]) {
  area.SetTag(kImeiRecord, km::Tag::ATTESTATION_ID_IMEI);
  if (ORX_DEVICE_GetImei(imei, sizeof(imei)) != 0) {
    ORX_LOG("ATTEST: ORX get IMEI fail");
    return false;
  }
  const size_t length = strnlen(imei, sizeof(imei));
  area.SetValue(kImeiRecord, imei, length);
  area.SetLength(kImeiRecord, length);
  return true;
}

// The record's length field stays 0; a MEID that the modem does not have is the IMEI without its
// check digit (3GPP TS 23.003).
void AddMeidRecord(IdRecordArea& area, const char (&imei)[kDeviceIdValueSize]) {
  char meid[kDeviceIdValueSize] = {};
  area.SetTag(kMeidRecord, km::Tag::ATTESTATION_ID_MEID);
  if (ORX_DEVICE_GetMeid(meid, sizeof(meid)) != 0) {
    ORX_LOG("ATTEST: ORX get MEID fail, convert IMEI to MEID");
    memset(meid, 0, sizeof(meid));
    // An empty IMEI, which ORX_DEVICE_GetImei() never reports as success, ends in the abort.
    CheckedCopy(reinterpret_cast<uint8_t*>(meid), sizeof(meid), imei,
                strnlen(imei, sizeof(imei)) - 1);
  }
  area.SetValue(kMeidRecord, meid, strnlen(meid, sizeof(meid)));
}

int GetAttestationIds(uint8_t* buf, uint32_t* len) {
  if (buf == nullptr || len == nullptr) {
    ORX_LOG("ATTEST: invalid device id inputs");
    return 1;
  }
  if (*len < sizeof(DeviceIdRecords)) {
    ORX_LOG("ATTEST: insufficient input buffer to store device ids");
    return 1;
  }
  if (ORX_device_id_attestation_properties_ok() != 0) {
    ORX_LOG("ATTEST: fail to validate generic device ids");
    return 1;
  }
  IdRecordArea area;
  if (!AddPropertyRecords(area)) return 1;
  char imei[kDeviceIdValueSize] = {};
  if (!AddImeiRecord(area, imei)) return 1;
  AddMeidRecord(area, imei);

  *len = kReturnedDeviceIdBytes;
  memcpy(buf, &area.records(), kReturnedDeviceIdBytes);
  return 0;
}

}  // namespace
}  // namespace android::hardware::keymint::ORX

int ORX_get_attestation_id(uint8_t* buf, uint32_t* len) {
  return android::hardware::keymint::ORX::GetAttestationIds(buf, len);
}
