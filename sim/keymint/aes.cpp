// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/BlockMode.h>
#include <aidl/android/hardware/security/keymint/PaddingMode.h>
#include <openssl/cipher.h>
#include <openssl/rand.h>
#include <stdlib.h>

#include "sim/keymint/algorithm.h"

namespace orx_sim {
namespace {

using km::BlockMode;
using km::KeyPurpose;
using km::PaddingMode;

constexpr int64_t kKeyBits = 128;
constexpr size_t kBlockBytes = 16;

ErrorCode Generate(const Instance&, Key* key) {
  if (FindNumber(key->authorizations, Tag::KEY_SIZE) != kKeyBits) {
    return ErrorCode::UNSUPPORTED_KEY_SIZE;
  }
  key->secret.resize(kKeyBits / 8);
  RAND_bytes(key->secret.data(), key->secret.size());
  return ErrorCode::OK;
}

ErrorCode Import(const Instance&, km::KeyFormat format, const Bytes& data, Key* key) {
  const auto bits = static_cast<int64_t>(data.size()) * 8;
  if (format != km::KeyFormat::RAW) return ErrorCode::INCOMPATIBLE_KEY_FORMAT;
  if (!AgreeOn(UintParam(Tag::KEY_SIZE, bits), key)) return ErrorCode::IMPORT_PARAMETER_MISMATCH;
  if (bits != kKeyBits) return ErrorCode::UNSUPPORTED_KEY_SIZE;
  key->secret.assign(data.begin(), data.end());
  return ErrorCode::OK;
}

ErrorCode CheckBlockMode(const BeginRequest& request) {
  BlockMode mode{};
  const ErrorCode code =
      TheOne(request.params, Tag::BLOCK_MODE, ErrorCode::UNSUPPORTED_BLOCK_MODE, &mode);
  if (code != ErrorCode::OK) return code;
  if (!Contains(request.key.authorizations, Tag::BLOCK_MODE, mode)) {
    return ErrorCode::INCOMPATIBLE_BLOCK_MODE;
  }
  return mode == BlockMode::CBC ? ErrorCode::OK : ErrorCode::UNSUPPORTED_BLOCK_MODE;
}

ErrorCode CheckPadding(const BeginRequest& request) {
  PaddingMode padding{};
  const ErrorCode code =
      TheOne(request.params, Tag::PADDING, ErrorCode::UNSUPPORTED_PADDING_MODE, &padding);
  if (code != ErrorCode::OK) return code;
  if (!Contains(request.key.authorizations, Tag::PADDING, padding)) {
    return ErrorCode::INCOMPATIBLE_PADDING_MODE;
  }
  return padding == PaddingMode::NONE ? ErrorCode::OK : ErrorCode::UNSUPPORTED_PADDING_MODE;
}

ErrorCode CheckNonce(const BeginRequest& request, const Bytes* nonce) {
  const bool encrypts = request.purpose == KeyPurpose::ENCRYPT;
  if (nonce == nullptr) return encrypts ? ErrorCode::OK : ErrorCode::MISSING_NONCE;
  // Demanded for encryption alone: what the device encrypted under its own nonce must decrypt.
  if (encrypts && !Has(request.key.authorizations, Tag::CALLER_NONCE)) {
    return ErrorCode::CALLER_NONCE_PROHIBITED;
  }
  return nonce->size() == kBlockBytes ? ErrorCode::OK : ErrorCode::INVALID_NONCE;
}

class AesComputation : public Computation {
 public:
  AesComputation(const Key& key, bool encrypt, const Bytes& nonce) {
    if (EVP_CipherInit_ex(context_.get(), EVP_aes_128_cbc(), nullptr, key.secret.data(),
                          nonce.data(), encrypt) != 1 ||
        EVP_CIPHER_CTX_set_padding(context_.get(), 0) != 1) {
      ::abort();
    }
  }

  ErrorCode Update(const Bytes& input, Bytes* out) override {
    const size_t before = out->size();
    out->resize(before + input.size() + kBlockBytes);
    int written = 0;
    if (EVP_CipherUpdate(context_.get(), out->data() + before, &written, input.data(),
                         static_cast<int>(input.size())) != 1) {
      return ErrorCode::UNKNOWN_ERROR;
    }
    out->resize(before + static_cast<size_t>(written));
    total_ += input.size();
    return ErrorCode::OK;
  }

  // Without padding nothing is left to write at the end.
  ErrorCode Finish(const Bytes& input, const Bytes&, Bytes* out) override {
    const ErrorCode code = Update(input, out);
    if (code != ErrorCode::OK) return code;
    return total_ % kBlockBytes == 0 ? ErrorCode::OK : ErrorCode::INVALID_INPUT_LENGTH;
  }

 private:
  const bssl::UniquePtr<EVP_CIPHER_CTX> context_{EVP_CIPHER_CTX_new()};
  uint64_t total_ = 0;
};

ErrorCode Begin(const BeginRequest& request, Started* started) {
  const bool encrypts = request.purpose == KeyPurpose::ENCRYPT;
  if (!encrypts && request.purpose != KeyPurpose::DECRYPT) return ErrorCode::UNSUPPORTED_PURPOSE;
  ErrorCode code = CheckBlockMode(request);
  if (code == ErrorCode::OK) code = CheckPadding(request);
  const Bytes* const given = FindBlob(request.params, Tag::NONCE);
  if (code == ErrorCode::OK) code = CheckNonce(request, given);
  if (code != ErrorCode::OK) return code;
  Bytes nonce(kBlockBytes);
  if (given != nullptr) {
    nonce = *given;
  } else {
    RAND_bytes(nonce.data(), nonce.size());
    started->params = {BlobParam(Tag::NONCE, nonce)};
  }
  started->computation = std::make_unique<AesComputation>(request.key, encrypts, nonce);
  return ErrorCode::OK;
}

}  // namespace

const Algorithm kAes = {km::Algorithm::AES, Generate, Import, Begin};

}  // namespace orx_sim
