// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/PaddingMode.h>
#include <openssl/bn.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <utility>

#include "sim/keymint/algorithm.h"
#include "sim/keys/private_key.h"

namespace orx_sim {
namespace {

using km::Digest;
using km::KeyPurpose;
using km::PaddingMode;

constexpr size_t kPkcs1OverheadBytes = 11;  // RFC 8017, 7.2 and 9.2

bool IsSizeOf(const Instance& instance, int64_t bits) {
  return bits == 2048 || (!instance.IsStrongBox() && (bits == 3072 || bits == 4096));
}

bool IsExponent(int64_t exponent) {
  return exponent == RSA_3 || exponent == RSA_F4;
}

ErrorCode Generate(const Instance& instance, Key* key) {
  const int64_t bits = FindNumber(key->authorizations, Tag::KEY_SIZE).value_or(0);
  if (!IsSizeOf(instance, bits)) return ErrorCode::UNSUPPORTED_KEY_SIZE;
  const int64_t exponent = FindNumber(key->authorizations, Tag::RSA_PUBLIC_EXPONENT).value_or(0);
  if (!IsExponent(exponent)) return ErrorCode::INVALID_ARGUMENT;
  const bssl::UniquePtr<BIGNUM> e(BN_new());
  const bssl::UniquePtr<RSA> rsa(RSA_new());
  key->pair.reset(EVP_PKEY_new());
  if (!e || !rsa || !key->pair || !BN_set_word(e.get(), static_cast<BN_ULONG>(exponent)) ||
      !RSA_generate_key_ex(rsa.get(), static_cast<int>(bits), e.get(), nullptr) ||
      !EVP_PKEY_set1_RSA(key->pair.get(), rsa.get())) {
    return ErrorCode::MEMORY_ALLOCATION_FAILED;
  }
  return ErrorCode::OK;
}

ErrorCode Import(const Instance& instance, km::KeyFormat format, const Bytes& data, Key* key) {
  if (format != km::KeyFormat::PKCS8) return ErrorCode::INCOMPATIBLE_KEY_FORMAT;
  key->pair = ParsePrivateKey(data.data(), data.size());
  const RSA* const rsa = key->pair == nullptr ? nullptr : EVP_PKEY_get0_RSA(key->pair.get());
  if (rsa == nullptr) return ErrorCode::INVALID_ARGUMENT;
  const auto bits = static_cast<int64_t>(RSA_bits(rsa));
  const auto exponent = static_cast<int64_t>(BN_get_word(RSA_get0_e(rsa)));
  if (!AgreeOn(UintParam(Tag::KEY_SIZE, bits), key) ||
      !AgreeOn(UlongParam(Tag::RSA_PUBLIC_EXPONENT, exponent), key)) {
    return ErrorCode::IMPORT_PARAMETER_MISMATCH;
  }
  if (!IsSizeOf(instance, bits)) return ErrorCode::UNSUPPORTED_KEY_SIZE;
  return IsExponent(exponent) ? ErrorCode::OK : ErrorCode::INVALID_ARGUMENT;
}

// RsaMode is how an RSA operation works.
struct RsaMode {
  KeyPurpose purpose{};
  PaddingMode padding{};
  Digest digest = Digest::NONE;

  bool Signs() const { return purpose == KeyPurpose::SIGN || purpose == KeyPurpose::VERIFY; }
  int PaddingNumber() const {
    return padding == PaddingMode::NONE ? RSA_NO_PADDING : RSA_PKCS1_PADDING;
  }
};

ErrorCode CheckPurpose(const BeginRequest& request) {
  switch (request.purpose) {
    case KeyPurpose::SIGN:
    case KeyPurpose::DECRYPT:
      return ErrorCode::OK;
    case KeyPurpose::VERIFY:
    case KeyPurpose::ENCRYPT:
      return request.public_key_operations ? ErrorCode::OK : ErrorCode::UNSUPPORTED_PURPOSE;
    default:
      return ErrorCode::UNSUPPORTED_PURPOSE;
  }
}

ErrorCode ReadPadding(const BeginRequest& request, RsaMode* mode) {
  const ErrorCode code =
      TheOne(request.params, Tag::PADDING, ErrorCode::UNSUPPORTED_PADDING_MODE, &mode->padding);
  if (code != ErrorCode::OK) return code;
  // The padding of a private key's purpose; public-key operations mirror them.
  const PaddingMode padded =
      mode->Signs() ? PaddingMode::RSA_PKCS1_1_5_SIGN : PaddingMode::RSA_PKCS1_1_5_ENCRYPT;
  if (mode->padding != PaddingMode::NONE && mode->padding != padded) {
    return ErrorCode::UNSUPPORTED_PADDING_MODE;
  }
  return Contains(request.key.authorizations, Tag::PADDING, mode->padding)
             ? ErrorCode::OK
             : ErrorCode::INCOMPATIBLE_PADDING_MODE;
}

ErrorCode ReadDigest(const BeginRequest& request, RsaMode* mode) {
  if (!mode->Signs()) return ErrorCode::OK;
  const ErrorCode code =
      TheOne(request.params, Tag::DIGEST, ErrorCode::UNSUPPORTED_DIGEST, &mode->digest);
  if (code != ErrorCode::OK) return code;
  const bool plain_digest = mode->padding == PaddingMode::NONE && mode->digest != Digest::NONE;
  return !plain_digest && Contains(request.key.authorizations, Tag::DIGEST, mode->digest)
             ? ErrorCode::OK
             : ErrorCode::INCOMPATIBLE_DIGEST;
}

// Signs or verifies a message of any length through a digest.
class RsaMessage : public Computation {
 public:
  static std::unique_ptr<Computation> Start(EVP_PKEY* pair, const RsaMode& mode) {
    auto computation = std::make_unique<RsaMessage>();
    computation->verifies_ = mode.purpose == KeyPurpose::VERIFY;
    EVP_PKEY_CTX* pair_context = nullptr;
    const auto init = computation->verifies_ ? EVP_DigestVerifyInit : EVP_DigestSignInit;
    if (init(computation->context_.get(), &pair_context, DigestFunction(mode.digest), nullptr,
             pair) != 1 ||
        EVP_PKEY_CTX_set_rsa_padding(pair_context, mode.PaddingNumber()) != 1) {
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
  static std::unique_ptr<Computation> Start(EVP_PKEY* pair, const RsaMode& mode) {
    auto computation = std::make_unique<RsaBlock>();
    for (const BlockFunction& function : kBlockFunctions) {
      if (function.purpose == mode.purpose) computation->function_ = &function;
    }
    computation->context_.reset(EVP_PKEY_CTX_new(pair, nullptr));
    computation->padding_ = mode.padding;
    computation->key_bytes_ = static_cast<size_t>(EVP_PKEY_size(pair));
    EVP_PKEY_CTX* const context = computation->context_.get();
    if (context == nullptr || computation->function_ == nullptr ||
        computation->function_->init(context) != 1 ||
        EVP_PKEY_CTX_set_rsa_padding(context, mode.PaddingNumber()) != 1) {
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

ErrorCode Begin(const BeginRequest& request, Started* started) {
  RsaMode mode;
  mode.purpose = request.purpose;
  ErrorCode code = CheckPurpose(request);
  if (code == ErrorCode::OK) code = ReadPadding(request, &mode);
  if (code == ErrorCode::OK) code = ReadDigest(request, &mode);
  if (code != ErrorCode::OK) return code;
  EVP_PKEY* const pair = request.key.pair.get();
  started->computation =
      mode.digest != Digest::NONE ? RsaMessage::Start(pair, mode) : RsaBlock::Start(pair, mode);
  return started->computation ? ErrorCode::OK : ErrorCode::UNKNOWN_ERROR;
}

}  // namespace

const Algorithm kRsa = {km::Algorithm::RSA, Generate, Import, Begin};

}  // namespace orx_sim
