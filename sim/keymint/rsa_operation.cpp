// SPDX-License-Identifier: Apache-2.0
#include <openssl/digest.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include "sim/keymint/key_import.h"
#include "sim/keymint/operation.h"

namespace orx_sim {
namespace {

using km::Digest;
using km::KeyPurpose;
using km::PaddingMode;

constexpr size_t kPkcs1OverheadBytes = 11;  // RFC 8017, 7.2 and 9.2

int PaddingNumber(PaddingMode padding) {
  switch (padding) {
    case PaddingMode::RSA_OAEP:
      return RSA_PKCS1_OAEP_PADDING;
    case PaddingMode::RSA_PSS:
      return RSA_PKCS1_PSS_PADDING;
    case PaddingMode::NONE:
      return RSA_NO_PADDING;
    default:
      return RSA_PKCS1_PADDING;
  }
}

// Signs or verifies a message of any length through a digest.
class RsaMessage : public Computation {
 public:
  static std::unique_ptr<Computation> Start(EVP_PKEY* key, KeyPurpose purpose,
                                            const RsaMode& mode) {
    auto computation = std::make_unique<RsaMessage>();
    computation->verifies_ = purpose == KeyPurpose::VERIFY;
    EVP_PKEY_CTX* key_context = nullptr;
    const EVP_MD* const digest = DigestFunction(mode.digest);
    const auto init = computation->verifies_ ? EVP_DigestVerifyInit : EVP_DigestSignInit;
    if (init(computation->context_.get(), &key_context, digest, nullptr, key) != 1 ||
        EVP_PKEY_CTX_set_rsa_padding(key_context, PaddingNumber(mode.padding)) != 1) {
      return nullptr;
    }
    constexpr int kSaltOfDigestLength = -1;
    if (mode.padding == PaddingMode::RSA_PSS &&
        EVP_PKEY_CTX_set_rsa_pss_saltlen(key_context, kSaltOfDigestLength) != 1) {
      return nullptr;
    }
    return computation;
  }

  ErrorCode Update(const Bytes& input, Bytes*) override {
    const int result = verifies_
                           ? EVP_DigestVerifyUpdate(context_.get(), input.data(), input.size())
                           : EVP_DigestSignUpdate(context_.get(), input.data(), input.size());
    return result == 1 ? ErrorCode::OK : ErrorCode::UNKNOWN_ERROR;
  }

  ErrorCode Finish(const Bytes& input, const Bytes& signature, Bytes* out) override {
    const ErrorCode code = Update(input, out);
    if (code != ErrorCode::OK) return code;
    return verifies_ ? Verify(signature) : Sign(out);
  }

 private:
  ErrorCode Sign(Bytes* out) {
    size_t length = 0;
    if (EVP_DigestSignFinal(context_.get(), nullptr, &length) != 1) {
      return ErrorCode::UNKNOWN_ERROR;
    }
    out->resize(length);
    if (EVP_DigestSignFinal(context_.get(), out->data(), &length) != 1) {
      return ErrorCode::UNKNOWN_ERROR;
    }
    out->resize(length);
    return ErrorCode::OK;
  }

  ErrorCode Verify(const Bytes& signature) {
    return EVP_DigestVerifyFinal(context_.get(), signature.data(), signature.size()) == 1
               ? ErrorCode::OK
               : ErrorCode::VERIFICATION_FAILED;
  }

  bssl::ScopedEVP_MD_CTX context_;
  bool verifies_ = false;
};

// The computations on one block, which all have one form.
struct BlockFunction {
  KeyPurpose purpose;
  int (*init)(EVP_PKEY_CTX* context);
  int (*run)(EVP_PKEY_CTX* context, uint8_t* out, size_t* out_length, const uint8_t* in,
             size_t in_length);
};
constexpr BlockFunction kBlockFunctions[] = {
    {KeyPurpose::SIGN, EVP_PKEY_sign_init, EVP_PKEY_sign},
    {KeyPurpose::VERIFY, EVP_PKEY_verify_recover_init, EVP_PKEY_verify_recover},
    {KeyPurpose::ENCRYPT, EVP_PKEY_encrypt_init, EVP_PKEY_encrypt},
    {KeyPurpose::DECRYPT, EVP_PKEY_decrypt_init, EVP_PKEY_decrypt},
};

// Works on one block, which it collects: every computation without a digest.
class RsaBlock : public Computation {
 public:
  static std::unique_ptr<Computation> Start(EVP_PKEY* key, KeyPurpose purpose,
                                            const RsaMode& mode) {
    auto computation = std::make_unique<RsaBlock>();
    for (const BlockFunction& function : kBlockFunctions) {
      if (function.purpose == purpose) computation->function_ = &function;
    }
    computation->context_.reset(EVP_PKEY_CTX_new(key, nullptr));
    computation->padding_ = mode.padding;
    computation->key_bytes_ = static_cast<size_t>(EVP_PKEY_size(key));
    EVP_PKEY_CTX* const context = computation->context_.get();
    if (context == nullptr || computation->function_ == nullptr ||
        computation->function_->init(context) != 1 ||
        EVP_PKEY_CTX_set_rsa_padding(context, PaddingNumber(mode.padding)) != 1) {
      return nullptr;
    }
    if (mode.padding == PaddingMode::RSA_OAEP &&
        (EVP_PKEY_CTX_set_rsa_oaep_md(context, DigestFunction(mode.digest)) != 1 ||
         EVP_PKEY_CTX_set_rsa_mgf1_md(context, DigestFunction(mode.mgf_digest)) != 1)) {
      return nullptr;
    }
    return computation;
  }

  ErrorCode Update(const Bytes& input, Bytes*) override {
    if (input.size() > key_bytes_ - block_.size()) return ErrorCode::INVALID_INPUT_LENGTH;
    block_.insert(block_.end(), input.begin(), input.end());
    return ErrorCode::OK;
  }

  ErrorCode Finish(const Bytes& input, const Bytes& signature, Bytes* out) override {
    ErrorCode code = Update(input, out);
    if (code == ErrorCode::OK) code = CheckLength();
    if (code != ErrorCode::OK) return code;
    if (function_->purpose == KeyPurpose::VERIFY) return Verify(signature);
    return Run(block_, out);
  }

 private:
  // A plain block that is shorter than the key counts as a number with zeros in front.
  ErrorCode CheckLength() {
    if (function_->purpose == KeyPurpose::DECRYPT) {
      return block_.size() == key_bytes_ ? ErrorCode::OK : ErrorCode::INVALID_INPUT_LENGTH;
    }
    if (padding_ == PaddingMode::NONE) {
      block_.insert(block_.begin(), key_bytes_ - block_.size(), 0);
    } else if (block_.size() + kPkcs1OverheadBytes > key_bytes_) {
      return ErrorCode::INVALID_INPUT_LENGTH;
    }
    return ErrorCode::OK;
  }

  // Fails when the block is not below the modulus or its padding is wrong.
  template <typename Input>
  ErrorCode Run(const Input& input, Bytes* out) {
    size_t length = key_bytes_;
    out->resize(length);
    if (function_->run(context_.get(), out->data(), &length, input.data(), input.size()) != 1) {
      return ErrorCode::INVALID_ARGUMENT;
    }
    out->resize(length);
    return ErrorCode::OK;
  }

  ErrorCode Verify(const Bytes& signature) {
    Bytes signed_block;
    if (Run(signature, &signed_block) != ErrorCode::OK) return ErrorCode::VERIFICATION_FAILED;
    return std::equal(signed_block.begin(), signed_block.end(), block_.begin(), block_.end())
               ? ErrorCode::OK
               : ErrorCode::VERIFICATION_FAILED;
  }

  const BlockFunction* function_ = nullptr;
  bssl::UniquePtr<EVP_PKEY_CTX> context_;
  PaddingMode padding_{};
  size_t key_bytes_ = 0;
  SecretBytes block_;
};

}  // namespace

std::unique_ptr<Computation> StartRsa(const Key& key, KeyPurpose purpose, const RsaMode& mode) {
  const bssl::UniquePtr<EVP_PKEY> pkey = ParsePrivateKey(key.material.data(), key.material.size());
  if (pkey == nullptr) return nullptr;
  const bool signs = purpose == KeyPurpose::SIGN || purpose == KeyPurpose::VERIFY;
  if (signs && mode.digest != Digest::NONE) return RsaMessage::Start(pkey.get(), purpose, mode);
  return RsaBlock::Start(pkey.get(), purpose, mode);
}

}  // namespace orx_sim
