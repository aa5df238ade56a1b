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

ORX_EXPORT int ORX_get_attestation_id(uint8_t* buf, uint32_t* len);

ORX_END_DECLS

#endif /* ORX_ATTEST_H_ */
