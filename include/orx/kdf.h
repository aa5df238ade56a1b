/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_KDF_H_
#define ORX_KDF_H_

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

ORX_EXPORT uint32_t ORX_KDF_Gen(uint32_t mode, uint32_t hash, uint32_t z_length, const uint8_t* z,
                                uint32_t other_info_length, const uint8_t* other_info,
                                uint32_t output_length, uint8_t* output);

ORX_EXPORT uint32_t ORX_LIB_KDF_Gen(uint32_t mode, uint32_t hash, uint32_t z_length,
                                    const uint8_t* z, uint32_t other_info_length,
                                    const uint8_t* other_info, uint32_t output_length,
                                    uint8_t* output);

ORX_EXPORT uint32_t ORX_RNG_GetBytes(uint8_t* buffer, size_t length);

ORX_EXPORT uint32_t ORX_RNG_Reseed(void);

ORX_END_DECLS

#endif /* ORX_KDF_H_ */
