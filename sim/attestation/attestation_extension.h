// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/SecurityLevel.h>

#include <cstdint>

#include "sim/base/verified_boot.h"
#include "sim/keys/key_params.h"

namespace orx_sim {

// What the attestation extension of a certificate says about its key.
struct AttestationRecord {
  int32_t interface_version = 3;  // of the KeyMint interface: 1 to 3
  km::SecurityLevel security_level;
  Bytes challenge;
  // Authorizations in any order. Those that the record has no field for are left out.
  KeyParams software_enforced;
  KeyParams hardware_enforced;
  RootOfTrust root_of_trust;  // goes into the hardware-enforced list
};

// EncodeKeyDescription returns the DER of KeyDescription, empty if memory runs out. Which ASN.1
// type each field has follows the Android key attestation schema (attestation version 100, 200 or
// 300).
Bytes EncodeKeyDescription(const AttestationRecord& record);

}  // namespace orx_sim
