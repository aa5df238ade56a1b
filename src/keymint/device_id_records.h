// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace android::hardware::keymint::ORX {

// A value has the size of a system property's longest value with its terminator.
inline constexpr size_t kDeviceIdValueSize = 92;

// DeviceIdRecord is one entry of the buffer that ORX_get_attestation_id() fills. Native byte order.
struct DeviceIdRecord {
  uint32_t tag;                    // KeyMint tag, type BYTES
  uint32_t length;                 // of the value, capped at its size
  char value[kDeviceIdValueSize];  // zero-padded
};
static_assert(sizeof(DeviceIdRecord) == 100, "records lie back to back without padding");

// Positions of the records.
enum : size_t {
  kBrandRecord,
  kDeviceRecord,
  kProductRecord,
  kSerialRecord,
  kManufacturerRecord,
  kModelRecord,
  kImeiRecord,
  kMeidRecord,
  kDeviceIdRecordCount,
};

// The MEID record is assembled but not returned: callers read it as zeros.
inline constexpr size_t kReturnedDeviceIdBytes = kMeidRecord * sizeof(DeviceIdRecord);

using DeviceIdRecords = std::array<DeviceIdRecord, kDeviceIdRecordCount>;

// DeviceIdValue returns the value of record `index` up to its terminator; an empty string for an
// index behind the last record.
inline std::string DeviceIdValue(const DeviceIdRecords& records, size_t index) {
  if (index >= records.size()) return "";
  const DeviceIdRecord& record = records[index];
  return std::string(record.value, strnlen(record.value, sizeof(record.value)));
}

}  // namespace android::hardware::keymint::ORX
