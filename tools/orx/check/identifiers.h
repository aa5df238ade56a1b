// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/Tag.h>
#include <string.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {

// Identifier is a device identifier that the attestation self-tests can include: its bit in their
// mask and its KeyMint tag.
struct Identifier {
  const char* name;
  uint32_t bit;
  aidl::android::hardware::security::keymint::Tag tag;
};

// DeviceIdRecord is one entry of the buffer that ORX_get_attestation_id() fills.
struct DeviceIdRecord {
  uint32_t tag;
  uint32_t length;
  char value[92];
  std::string text() const { return {value, strnlen(value, sizeof(value))}; }
};
static_assert(sizeof(DeviceIdRecord) == 100);

// ParseIdentifiers reads "brand,imei", "all" or "none". Returns an empty string, or the error.
std::string ParseIdentifiers(const std::string& list, std::vector<Identifier>* identifiers);
uint32_t IdentifierMask(const std::vector<Identifier>& identifiers);

// IdentifiersIn gives the identifiers of a mask.
std::vector<Identifier> IdentifiersIn(uint32_t mask);

// AttestedIdentifiers gives the mask of those that the library asked KeyMint to attest, by its
// lines; `last` receives the name of the last one.
uint32_t AttestedIdentifiers(const std::vector<LogLine>& lines, std::string* last);

// JoinedNames is "serial, model".
std::string JoinedNames(const std::vector<Identifier>& identifiers);

}  // namespace orx_tool
