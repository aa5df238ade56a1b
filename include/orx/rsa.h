/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_RSA_H_
#define ORX_RSA_H_

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

ORX_EXPORT uint32_t ORX_RSA_ImportProtectedKey(
    const void* ignored, uint32_t e_length, const uint8_t* e, uint32_t n_length, const uint8_t* n,
    uint32_t d_length, const uint8_t* d, uint32_t p_length, const uint8_t* p, uint32_t q_length,
    const uint8_t* q, uint32_t dp_length, const uint8_t* dp, uint32_t dq_length, const uint8_t* dq,
    uint32_t qinv_length, const uint8_t* qinv, int key_id);

ORX_EXPORT uint32_t ORX_RSA_ImportKey(uint8_t* key, uint32_t key_length, int key_is_plain,
                                      int key_id);

ORX_EXPORT uint32_t ORX_RSA_Unwrap(void* buffer, uint32_t* length);

ORX_EXPORT uint32_t ORX_RSA_DeleteKeyID(int key_id);

ORX_EXPORT uint32_t ORX_RSA_Sign(int key_id, const uint8_t* data, uint8_t* signature,
                                 uint32_t data_length, uint32_t* signature_length, int digest,
                                 int padding);

ORX_EXPORT uint32_t ORX_RSA_Verify(int key_id, const uint8_t* data, const uint8_t* signature,
                                   uint32_t data_length, uint32_t signature_length, int digest,
                                   int padding);

ORX_EXPORT uint32_t ORX_RSA_EncryptDecrypt(int key_id, int padding, const uint8_t* input,
                                           uint8_t* output, uint32_t input_length,
                                           uint32_t* output_length, const void* ignored,
                                           int direction);

ORX_END_DECLS

#endif /* ORX_RSA_H_ */
