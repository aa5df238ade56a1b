/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_STORE_H_
#define ORX_STORE_H_

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

ORX_EXPORT uint32_t ORX_STORE_Open(int file_number, uint32_t* handle, int write);

ORX_EXPORT uint32_t ORX_STORE_Close(uint32_t handle);

ORX_EXPORT uint32_t ORX_STORE_Read(uint8_t* buffer, size_t element_size, size_t element_count);

ORX_EXPORT uint32_t ORX_STORE_Write(const uint8_t* buffer, size_t element_size,
                                    size_t element_count);

ORX_EXPORT uint32_t ORX_STORE_Size(uint32_t handle, uint32_t* size);

ORX_EXPORT uint32_t ORX_STORE_Delete(int file_number);

ORX_END_DECLS

#endif /* ORX_STORE_H_ */
