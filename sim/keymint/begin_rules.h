// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/BlockMode.h>
#include <aidl/android/hardware/security/keymint/Digest.h>
#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <aidl/android/hardware/security/keymint/KeyPurpose.h>
#include <aidl/android/hardware/security/keymint/PaddingMode.h>

#include "sim/keys/key_params.h"
#include "sim/keys/key_vault.h"

// What begin() checks before an operation starts, one function a table. The order of the checks is
// that of the functions' lines.
namespace orx_sim {

using km::ErrorCode;

// BeginRequest is what the caller of begin() wants of a key.
struct BeginRequest {
  const Key& key;
  km::KeyPurpose purpose;
  const KeyParams& params;
};

// CheckUse checks what holds for every key: that it may be used this way, now and by this caller.
ErrorCode CheckUse(const BeginRequest& request, int64_t now_ms);

// AesMode is how an AES operation works. `nonce` is empty when the caller gave none.
struct AesMode {
  km::BlockMode block_mode{};
  km::PaddingMode padding{};
  Bytes nonce;
};
ErrorCode CheckAesBegin(const BeginRequest& request, AesMode* mode);

// RsaMode is how an RSA operation works.
struct RsaMode {
  km::PaddingMode padding{};
  km::Digest digest = km::Digest::NONE;
  km::Digest mgf_digest = km::Digest::SHA1;
};
// With `public_operations` a key's purposes VERIFY and ENCRYPT are taken too. KeyMint does not
// offer them for asymmetric keys, but devices exist that do.
ErrorCode CheckRsaBegin(const BeginRequest& request, bool public_operations, RsaMode* mode);

}  // namespace orx_sim
