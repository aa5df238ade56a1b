// SPDX-License-Identifier: Apache-2.0
#include <openssl/cipher.h>
#include <openssl/rand.h>
#include <stdlib.h>

#include "sim/keymint/operation.h"

namespace orx_sim {
namespace {

using km::BlockMode;
using km::PaddingMode;

constexpr size_t kBlockBytes = 16;

const EVP_CIPHER* Cipher(BlockMode mode, size_t key_bytes) {
  const bool is_128 = key_bytes == 16;
  const bool is_192 = key_bytes == 24;
  switch (mode) {
    case BlockMode::ECB:
      return is_128 ? EVP_aes_128_ecb() : is_192 ? EVP_aes_192_ecb() : EVP_aes_256_ecb();
    case BlockMode::CBC:
      return is_128 ? EVP_aes_128_cbc() : is_192 ? EVP_aes_192_cbc() : EVP_aes_256_cbc();
    case BlockMode::CTR:
      return is_128 ? EVP_aes_128_ctr() : is_192 ? EVP_aes_192_ctr() : EVP_aes_256_ctr();
    default:
      return nullptr;
  }
}

class AesComputation : public Computation {
 public:
  AesComputation(const Key& key, bool encrypt, const AesMode& mode)
      : encrypt_(encrypt),
        pads_(mode.padding == PaddingMode::PKCS7),
        whole_blocks_(mode.block_mode != BlockMode::CTR) {
    if (EVP_CipherInit_ex(context_.get(), Cipher(mode.block_mode, key.material.size()), nullptr,
                          key.material.data(), mode.nonce.data(), encrypt) != 1 ||
        EVP_CIPHER_CTX_set_padding(context_.get(), pads_) != 1) {
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

  ErrorCode Finish(const Bytes& input, const Bytes&, Bytes* out) override {
    const ErrorCode code = Update(input, out);
    if (code != ErrorCode::OK) return code;
    const bool needs_blocks = whole_blocks_ && (!pads_ || !encrypt_);
    if (needs_blocks && total_ % kBlockBytes != 0) return ErrorCode::INVALID_INPUT_LENGTH;
    const size_t before = out->size();
    out->resize(before + kBlockBytes);
    int written = 0;
    // With whole blocks only a wrong padding makes this fail, an absent one included.
    if (EVP_CipherFinal_ex(context_.get(), out->data() + before, &written) != 1) {
      return ErrorCode::INVALID_ARGUMENT;
    }
    out->resize(before + static_cast<size_t>(written));
    return ErrorCode::OK;
  }

 private:
  const bool encrypt_;
  const bool pads_;
  const bool whole_blocks_;
  const bssl::UniquePtr<EVP_CIPHER_CTX> context_{EVP_CIPHER_CTX_new()};
  uint64_t total_ = 0;
};

}  // namespace

std::unique_ptr<Computation> StartAes(const Key& key, bool encrypt, AesMode* mode) {
  if (mode->nonce.empty() && mode->block_mode != BlockMode::ECB) {
    mode->nonce.resize(kBlockBytes);
    if (RAND_bytes(mode->nonce.data(), mode->nonce.size()) != 1) return nullptr;
  }
  return std::make_unique<AesComputation>(key, encrypt, *mode);
}

}  // namespace orx_sim
