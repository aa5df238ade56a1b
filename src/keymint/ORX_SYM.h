// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <keymint/ORX_KEYMINT.h>
#include <orx/sym.h>

#include <cstdint>
#include <vector>

namespace android::hardware::keymint::ORX {

// current_key_blob_ is the KeyMint blob of the selected symmetric key.
extern std::vector<uint8_t> current_key_blob_;

// InitSymKeymintService creates the process's one symmetric KeyMint client (TEE instance) if there
// is none yet. It is never destroyed.
void InitSymKeymintService();

// GetContextForID loads the blob file of `key_id` and selects the key; `*context` becomes null.
// Returns 0, or 1 with the selection unchanged.
uint32_t GetContextForID(_ORX_SYM_CONTEXT_S** context, int key_id);

// ORX_Process_AES_Begin starts AES-CBC without padding under the selected key with the `iv_length`
// bytes at `iv`.
uint32_t ORX_Process_AES_Begin(const unsigned char* iv, int iv_length, int mode,
                               km::KeyPurpose purpose);

// ORX_Process_AES_Finish hands the `*length` bytes at `input` to the operation and copies at most
// `*length` bytes of what it returns to `output`. `*length` is left as it is.
uint32_t ORX_Process_AES_Finish(const unsigned char* input, unsigned char* output,
                                unsigned int* length);

}  // namespace android::hardware::keymint::ORX
