// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <orx/device.h>

#include <cstdint>

namespace android::hardware::keymint::ORX {

// get_sec_uid_prop returns the unique ID text that the bootloader hands over: a static buffer whose
// first 16 characters count, or 16 zeros when the property is missing, short or all zeros.
const char* get_sec_uid_prop();

// get_imei_from_modem asks the modem with `command` and leaves the 15 digits of an IMEI (3GPP TS
// 23.003) in `buf`, which holds `len` (16 or more) bytes, zero beyond the fifteenth. With `quoted`
// the IMEI is what stands between the answer's first pair of double quotes. Returns 0, or 1 with
// what has arrived so far in `buf`.
int get_imei_from_modem(const char* command, char* buf, uint32_t len, int quoted);

}  // namespace android::hardware::keymint::ORX
