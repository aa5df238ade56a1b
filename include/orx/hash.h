/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_HASH_H_
#define ORX_HASH_H_

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

ORX_EXPORT uint32_t ORX_HASH_Begin(uint32_t algorithm, uint32_t* handle);

ORX_EXPORT uint32_t ORX_HASH_Update(uint32_t handle, const void* data, size_t length);

ORX_EXPORT uint32_t ORX_HASH_End(uint32_t handle, uint8_t* digest, uint32_t* digest_length);

ORX_EXPORT uint32_t ORX_HASH(uint32_t algorithm, const void* data, size_t length, uint8_t* digest,
                             uint32_t* digest_length);

ORX_END_DECLS

#endif /* ORX_HASH_H_ */
