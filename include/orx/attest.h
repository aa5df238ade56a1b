/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_ATTEST_H_
#define ORX_ATTEST_H_

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

ORX_EXPORT int ORX_validate_attestation(bool attest_ids, uint32_t id_mask, bool relaxed,
                                        bool strongbox);

ORX_EXPORT int ORX_validate_attestation_model(const char* model, bool relaxed, bool strongbox);

ORX_EXPORT int ORX_validate_attestation_ids(bool attest_ids, uint32_t id_mask, bool relaxed,
                                            bool strongbox);

/*
 * ORX_get_attestation_id gathers the identifiers that KeyMint is asked to attest in records of 100
 * bytes, back to back in `buf`. `*len` is the capacity of `buf`, at least 800, and becomes 700.
 *
 *   offset  bytes  field (native byte order)
 *        0      4  KeyMint tag, type BYTES
 *        4      4  length of the value, at most 92
 *        8     92  value, terminated and padded with zeros
 *
 * The tags of the records are ATTESTATION_ID_BRAND, _DEVICE, _PRODUCT, _SERIAL, _MANUFACTURER,
 * _MODEL (the properties of <orx/device.h>) and _IMEI (ORX_DEVICE_GetImei(), which also says how
 * long the call can block).
 *
 * Returns 0, or 1 for a null argument, a capacity below 800, a missing property or an IMEI that the
 * modem did not give; `buf` and `*len` are untouched then. Callers serialise the functions of
 * <orx/device.h> and this one.
 *
 * WARNING: 800 bytes are required and 700 are written. The eighth record, the MEID (or the IMEI
 * without its last digit when the modem has no MEID), is assembled and left out: callers that zero
 * their 800 bytes first read it as an empty value.
 *
 * WARNING: it overwrites the static buffers that the getters of <orx/device.h> return.
 */
ORX_EXPORT int ORX_get_attestation_id(uint8_t* buf, uint32_t* len);

ORX_END_DECLS

#endif /* ORX_ATTEST_H_ */
