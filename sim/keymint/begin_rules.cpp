// SPDX-License-Identifier: Apache-2.0
#include "sim/keymint/begin_rules.h"

namespace orx_sim {
namespace {

using km::BlockMode;
using km::Digest;
using km::KeyPurpose;
using km::PaddingMode;

constexpr size_t kAesBlockBytes = 16;

bool IsOperationPurpose(KeyPurpose purpose) {
  return purpose == KeyPurpose::ENCRYPT || purpose == KeyPurpose::DECRYPT ||
         purpose == KeyPurpose::SIGN || purpose == KeyPurpose::VERIFY ||
         purpose == KeyPurpose::AGREE_KEY;
}

ErrorCode CheckLifetime(const BeginRequest& request, int64_t now_ms) {
  const auto date = [&request](Tag tag) {
    // Dates are unsigned; none lies before 1970.
    return FindDate(request.key.authorizations, tag);
  };
  const auto now = static_cast<uint64_t>(now_ms);
  const bool originates =
      request.purpose == KeyPurpose::ENCRYPT || request.purpose == KeyPurpose::SIGN;
  const Tag end = originates ? Tag::ORIGINATION_EXPIRE_DATETIME : Tag::USAGE_EXPIRE_DATETIME;
  if (date(Tag::ACTIVE_DATETIME).value_or(0) > now) return ErrorCode::KEY_NOT_YET_VALID;
  if (date(end).value_or(UINT64_MAX) <= now) return ErrorCode::KEY_EXPIRED;
  return ErrorCode::OK;
}

bool FitsBlockMode(PaddingMode padding, BlockMode mode) {
  if (padding == PaddingMode::NONE) return true;
  return padding == PaddingMode::PKCS7 && (mode == BlockMode::CBC || mode == BlockMode::ECB);
}

ErrorCode CheckNonce(const BeginRequest& request, BlockMode mode) {
  const Bytes* const nonce = FindBlob(request.params, Tag::NONCE);
  if (mode == BlockMode::ECB) return ErrorCode::OK;
  const bool encrypts = request.purpose == KeyPurpose::ENCRYPT;
  if (nonce == nullptr) return encrypts ? ErrorCode::OK : ErrorCode::MISSING_NONCE;
  // Demanded for encryption alone: what the device encrypted under its own nonce must decrypt.
  if (encrypts && !Has(request.key.authorizations, Tag::CALLER_NONCE)) {
    return ErrorCode::CALLER_NONCE_PROHIBITED;
  }
  return nonce->size() == kAesBlockBytes ? ErrorCode::OK : ErrorCode::INVALID_NONCE;
}

// Which paddings serve a purpose of a private key; public-key operations mirror them.
bool Serves(PaddingMode padding, KeyPurpose purpose) {
  const bool signs = purpose == KeyPurpose::SIGN || purpose == KeyPurpose::VERIFY;
  switch (padding) {
    case PaddingMode::NONE:
      return true;
    case PaddingMode::RSA_PKCS1_1_5_SIGN:
    case PaddingMode::RSA_PSS:
      return signs;
    case PaddingMode::RSA_PKCS1_1_5_ENCRYPT:
    case PaddingMode::RSA_OAEP:
      return !signs;
    default:
      return false;
  }
}

ErrorCode CheckRsaPurpose(KeyPurpose purpose, bool public_operations) {
  switch (purpose) {
    case KeyPurpose::SIGN:
    case KeyPurpose::DECRYPT:
      return ErrorCode::OK;
    case KeyPurpose::VERIFY:
    case KeyPurpose::ENCRYPT:
      return public_operations ? ErrorCode::OK : ErrorCode::UNSUPPORTED_PURPOSE;
    default:
      return ErrorCode::UNSUPPORTED_PURPOSE;
  }
}

int DigestBits(Digest digest) {
  switch (digest) {
    case Digest::MD5:
      return 128;
    case Digest::SHA1:
      return 160;
    case Digest::SHA_2_224:
      return 224;
    case Digest::SHA_2_256:
      return 256;
    case Digest::SHA_2_384:
      return 384;
    case Digest::SHA_2_512:
      return 512;
    default:
      return 0;
  }
}

ErrorCode CheckDigestOfPadding(const BeginRequest& request, PaddingMode padding, Digest digest) {
  const int64_t key_bits = FindNumber(request.key.authorizations, Tag::KEY_SIZE).value_or(0);
  const bool is_none = digest == Digest::NONE;
  if (padding == PaddingMode::NONE && !is_none) return ErrorCode::INCOMPATIBLE_DIGEST;
  if (padding == PaddingMode::RSA_OAEP && is_none) return ErrorCode::INCOMPATIBLE_DIGEST;
  if (padding == PaddingMode::RSA_PSS && (is_none || key_bits < 2 * DigestBits(digest) + 9)) {
    return ErrorCode::INCOMPATIBLE_DIGEST;
  }
  return ErrorCode::OK;
}

ErrorCode CheckRsaDigest(const BeginRequest& request, RsaMode* mode) {
  const bool signs = request.purpose == KeyPurpose::SIGN || request.purpose == KeyPurpose::VERIFY;
  if (!signs && mode->padding != PaddingMode::RSA_OAEP) return ErrorCode::OK;
  if (CountOf(request.params, Tag::DIGEST) != 1) return ErrorCode::UNSUPPORTED_DIGEST;
  mode->digest = FindEnum<Digest>(request.params, Tag::DIGEST).value_or(Digest::NONE);
  if (!Contains(request.key.authorizations, Tag::DIGEST, mode->digest)) {
    return ErrorCode::INCOMPATIBLE_DIGEST;
  }
  return CheckDigestOfPadding(request, mode->padding, mode->digest);
}

ErrorCode CheckMgfDigest(const BeginRequest& request, RsaMode* mode) {
  const std::optional<Digest> wanted = FindEnum<Digest>(request.params, Tag::RSA_OAEP_MGF_DIGEST);
  if (mode->padding != PaddingMode::RSA_OAEP || !wanted) return ErrorCode::OK;
  if (*wanted == Digest::NONE ||
      !Contains(request.key.authorizations, Tag::RSA_OAEP_MGF_DIGEST, *wanted)) {
    return ErrorCode::INCOMPATIBLE_MGF_DIGEST;
  }
  mode->mgf_digest = *wanted;
  return ErrorCode::OK;
}

}  // namespace

ErrorCode CheckUse(const BeginRequest& request, int64_t now_ms) {
  const KeyParams& allowed = request.key.authorizations;
  if (Has(allowed, Tag::BOOTLOADER_ONLY)) return ErrorCode::INVALID_KEY_BLOB;
  if (Has(allowed, Tag::STORAGE_KEY)) return ErrorCode::INVALID_OPERATION;
  if (!IsOperationPurpose(request.purpose)) return ErrorCode::UNSUPPORTED_PURPOSE;
  if (!HasPurpose(allowed, request.purpose)) return ErrorCode::INCOMPATIBLE_PURPOSE;
  // No authentication tokens exist here, so a key that wants one stays locked.
  if (Has(allowed, Tag::USER_SECURE_ID)) return ErrorCode::KEY_USER_NOT_AUTHENTICATED;
  return CheckLifetime(request, now_ms);
}

ErrorCode CheckAesBegin(const BeginRequest& request, AesMode* mode) {
  const KeyParams& allowed = request.key.authorizations;
  if (request.purpose != KeyPurpose::ENCRYPT && request.purpose != KeyPurpose::DECRYPT) {
    return ErrorCode::UNSUPPORTED_PURPOSE;
  }
  if (CountOf(request.params, Tag::BLOCK_MODE) != 1) return ErrorCode::UNSUPPORTED_BLOCK_MODE;
  mode->block_mode = FindEnum<BlockMode>(request.params, Tag::BLOCK_MODE).value_or(BlockMode{});
  if (!Contains(allowed, Tag::BLOCK_MODE, mode->block_mode)) {
    return ErrorCode::INCOMPATIBLE_BLOCK_MODE;
  }
  if (mode->block_mode == BlockMode::GCM) return ErrorCode::UNSUPPORTED_BLOCK_MODE;
  if (CountOf(request.params, Tag::PADDING) != 1) return ErrorCode::UNSUPPORTED_PADDING_MODE;
  mode->padding = FindEnum<PaddingMode>(request.params, Tag::PADDING).value_or(PaddingMode{});
  if (!Contains(allowed, Tag::PADDING, mode->padding) ||
      !FitsBlockMode(mode->padding, mode->block_mode)) {
    return ErrorCode::INCOMPATIBLE_PADDING_MODE;
  }
  mode->nonce = BlobOrEmpty(request.params, Tag::NONCE);
  return CheckNonce(request, mode->block_mode);
}

ErrorCode CheckRsaBegin(const BeginRequest& request, bool public_operations, RsaMode* mode) {
  const ErrorCode purpose = CheckRsaPurpose(request.purpose, public_operations);
  if (purpose != ErrorCode::OK) return purpose;
  if (CountOf(request.params, Tag::PADDING) != 1) return ErrorCode::UNSUPPORTED_PADDING_MODE;
  mode->padding = FindEnum<PaddingMode>(request.params, Tag::PADDING).value_or(PaddingMode{});
  if (!Serves(mode->padding, request.purpose)) return ErrorCode::UNSUPPORTED_PADDING_MODE;
  if (!Contains(request.key.authorizations, Tag::PADDING, mode->padding)) {
    return ErrorCode::INCOMPATIBLE_PADDING_MODE;
  }
  const ErrorCode digest = CheckRsaDigest(request, mode);
  return digest == ErrorCode::OK ? CheckMgfDigest(request, mode) : digest;
}

}  // namespace orx_sim
