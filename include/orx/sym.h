/* SPDX-License-Identifier: Apache-2.0 */
#ifndef ORX_SYM_H_
#define ORX_SYM_H_

#include <orx/export.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

ORX_BEGIN_DECLS

typedef struct _ORX_SYM_CONTEXT_S ORX_SYM_CONTEXT;

ORX_EXPORT uint32_t ORX_SYM_ImportProtectedKey(int key_type, int key_id, const uint8_t* key,
                                               int key_length, struct _ORX_SYM_CONTEXT_S** context);

ORX_EXPORT uint32_t ORX_SYM_GetContextForID(struct _ORX_SYM_CONTEXT_S** context, int key_id);

ORX_EXPORT uint32_t ORX_SYM_GetIDFromContext(struct _ORX_SYM_CONTEXT_S* context, int* key_id);

ORX_EXPORT uint32_t ORX_SYM_DestroyContext(struct _ORX_SYM_CONTEXT_S* context);

ORX_EXPORT uint32_t ORX_SYM_DeleteKeyID(int key_id);

ORX_EXPORT uint32_t ORX_SYM_EncryptBegin(struct _ORX_SYM_CONTEXT_S* context, const uint8_t* iv,
                                         int iv_length, int mode);

ORX_EXPORT uint32_t ORX_SYM_DecryptBegin(struct _ORX_SYM_CONTEXT_S* context, const uint8_t* iv,
                                         int iv_length, int mode);

ORX_EXPORT uint32_t ORX_SYM_Encrypt(struct _ORX_SYM_CONTEXT_S* context, const uint8_t* input,
                                    uint8_t* output, uint32_t* length);

ORX_EXPORT uint32_t ORX_SYM_Decrypt(struct _ORX_SYM_CONTEXT_S* context, const uint8_t* input,
                                    uint8_t* output, uint32_t* length);

ORX_EXPORT uint32_t ORX_SYM_EncryptEnd(struct _ORX_SYM_CONTEXT_S* context);

ORX_EXPORT uint32_t ORX_SYM_DecryptEnd(struct _ORX_SYM_CONTEXT_S* context);

ORX_EXPORT uint32_t ORX_SYM_Decrypt_Wrapper(struct _ORX_SYM_CONTEXT_S* context,
                                            const uint8_t* input, uint8_t* output,
                                            uint32_t* length);

ORX_END_DECLS

#endif /* ORX_SYM_H_ */
