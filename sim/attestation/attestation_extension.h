// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/KeyParameter.h>
#include <aidl/android/hardware/security/keymint/SecurityLevel.h>

#include <cstdint>
#include <vector>

#include "sim/negotiation/root_of_trust.h"

namespace orx_sim {

// What the attestation extension of a certificate says about its key.
struct AttestationRecord {
  int32_t interface_version = 3;  // of the KeyMint interface: 1 to 3
  ::aidl::android::hardware::security::keymint::SecurityLevel security_level;
  std::vector<uint8_t> challenge;
  std::vector<uint8_t> unique_id;  // empty unless the key asked for one
  // Authorizations in any order. Those that the record has no field for are left out.
  std::vector<::aidl::android::hardware::security::keymint::KeyParameter> software_enforced;
  std::vector<::aidl::android::hardware::security::keymint::KeyParameter> hardware_enforced;
  RootOfTrust root_of_trust;  // goes into the hardware-enforced list
};

// EncodeKeyDescription returns the DER of KeyDescription, empty if memory runs out. Which fields
// there are and which ASN.1 type each has follows the Android key attestation schema of the
// interface's version (attestation version 100, 200 or 300).
std::vector<uint8_t> EncodeKeyDescription(const AttestationRecord& record);

}  // namespace orx_sim
