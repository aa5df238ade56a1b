// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/keymint_keys.h"

#include <aidl/android/hardware/security/keymint/Digest.h>
#include <openssl/aes.h>
#include <openssl/bn.h>
#include <openssl/bytestring.h>
#include <openssl/digest.h>
#include <openssl/evp.h>
#include <openssl/mem.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <cstdint>

namespace orx_tool {
namespace {

namespace km = aidl::android::hardware::security::keymint;
namespace orx = android::hardware::keymint::ORX;
using km::KeyPurpose;
using km::PaddingMode;

constexpr uint64_t kPublicExponent = 65537;
constexpr char kAesKey[] = "ORX AES-128 key!";
constexpr char kIv[] = "ORX exercise IV.";
constexpr char kMessage[] = "what KeyMint and the crypto library both work on";  // three AES blocks
constexpr size_t kMessageBytes = sizeof(kMessage) - 1;

constexpr char kPrime1024P[] =
    "fb671278c06b5931137b7730ae67c79948f339f6782a7886fba782e1007c901e769b471ee0b2564122f464f8"
    "25b6009adc5be8f0387f224ef081f09558b5472f4cb27cdfe0bd68d417774e2e07b77fc4b9a667d96ecf52e9"
    "ca52f6d6ec15db9625e8230ffacdd8ace3bc6c9a706b431c93d6b0a3b60e56eda342656fa9933795";
constexpr char kPrime1024Q[] =
    "fa0090e40e97b9fee056e23e05419ffdce49c7a6fd7f72ad7cffadb239359bca36f06aa8ac5a7c3111c99cfa"
    "8cd12df1e03c2a1e86d8d1f767352c1b20ebd2dcc19563c239452cd1ab50a750376a8f6c798f1520368ed873"
    "0deb7c4679747a4230720337c9543c5be5fd1ad505eae9db249ec87af51b08272ed640377b7130e7";
constexpr char kPrime2048P[] =
    "db1c20aabaa8c3f1ccb9f1a40408660f8bc5280f20c950fd6db7c53b50a550400daa51bf70f7ce2b6457b333"
    "8dd79a2bd79e6921195bfa2accc79a490ab2069573aeed691b5020574cbbed723621be0d6228cb41f8f7dc36"
    "487951eaf9bee1b363f0f519681d3a0d373cb250e0e745e355246f8109d4674dafe23674f8b6ea91b42593cc"
    "d4f258a862ce6b878647267ea48a8b620bdddcea655ef0ba3eb6af62a5721b6f213d1d3c93452562c937ded1"
    "d00f7b359381d8f8b36d2278dadb05b841547c9e6378de0ef02b80f43c17dca3beaa7d82cde90b209805da96"
    "0e86794acc46cf069631bcec4a1a8058a1d0aa50db37df526551234a96e7394912ef1f97";
constexpr char kPrime2048Q[] =
    "ffb032d00c444efcdcc0cdc87ff064415d09400dba311e30c74dc98638333bb689e3ecdb8c194b6b24d52342"
    "a9b2abb14348b7109a808e7f555e3d43b36458677aed65e66de8ec0a581c2ef7b48561e84239c8a4295295d1"
    "45b7000733bf4310a9a52c76fe1f96c0fcf1065595c8013ed4a289f608f6bf1a2e7ddd25413c96a8ff3273f9"
    "657d5d9ac342cf583bc10b21f99e00af2b4d5313ed790f2182a4e477d5273ecb12ec4a86d77411826253e1cc"
    "835f072f5ad4c1b0d7d3dfb475590406ef222ed6f4597f0599d4534da67e72dc2146e71115be34fcdba70922"
    "f52cbd42fe3400d5cbb6cecba11a9a6cea4fd96b2290f13d370d6cbb1bd4ce63a05056ad";

uint8_t* Bytes(std::string* text) {
  return reinterpret_cast<uint8_t*>(text->data());
}

const uint8_t* Bytes(const std::string& text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}

std::string AesEncrypted() {
  AES_KEY key;
  AES_set_encrypt_key(reinterpret_cast<const uint8_t*>(kAesKey), 128, &key);
  std::string iv = kIv;
  std::string output(kMessageBytes, 0);
  AES_cbc_encrypt(reinterpret_cast<const uint8_t*>(kMessage), Bytes(&output), kMessageBytes, &key,
                  Bytes(&iv), AES_ENCRYPT);
  return output;
}

ExerciseKey AesExercise() {
  const std::string name = "AES-128";
  ExerciseKey key;
  key.name = name;
  key.format = km::KeyFormat::RAW;
  key.data = kAesKey;
  key.import_params = orx::AuthorizationSetBuilder()
                          .Authorization(orx::TAG_NO_AUTH_REQUIRED)
                          .Authorization(orx::TAG_CALLER_NONCE)
                          .AesEncryptionKey(128)
                          .Authorization(orx::TAG_BLOCK_MODE, km::BlockMode::CBC)
                          .Padding(PaddingMode::NONE);
  const orx::AuthorizationSet params = orx::AuthorizationSetBuilder()
                                           .Authorization(orx::TAG_BLOCK_MODE, km::BlockMode::CBC)
                                           .Authorization(orx::TAG_NONCE, std::string(kIv))
                                           .Padding(PaddingMode::NONE);
  const std::string encrypted = AesEncrypted();
  key.uses = {{"encryption, " + name, KeyPurpose::ENCRYPT, params, kMessage, encrypted},
              {"decryption, " + name, KeyPurpose::DECRYPT, params, encrypted, kMessage}};
  return key;
}

// MakeRsa makes the key of two primes (RFC 8017, 3.2).
bssl::UniquePtr<RSA> MakeRsa(const char* p_hex, const char* q_hex) {
  BIGNUM* p = nullptr;
  BIGNUM* q = nullptr;
  BN_hex2bn(&p, p_hex);
  BN_hex2bn(&q, q_hex);
  bssl::UniquePtr<RSA> rsa(RSA_new());
  const bssl::UniquePtr<BN_CTX> context(BN_CTX_new());
  BIGNUM* n = BN_new();
  BIGNUM* e = BN_new();
  BIGNUM* d = BN_new();
  BIGNUM* dp = BN_new();
  BIGNUM* dq = BN_new();
  BIGNUM* qinv = BN_new();
  const bssl::UniquePtr<BIGNUM> p1(BN_dup(p));
  const bssl::UniquePtr<BIGNUM> q1(BN_dup(q));
  const bssl::UniquePtr<BIGNUM> phi(BN_new());
  BN_sub_word(p1.get(), 1);
  BN_sub_word(q1.get(), 1);
  BN_mul(phi.get(), p1.get(), q1.get(), context.get());
  BN_mul(n, p, q, context.get());
  BN_set_word(e, kPublicExponent);
  BN_mod_inverse(d, e, phi.get(), context.get());
  BN_mod(dp, d, p1.get(), context.get());
  BN_mod(dq, d, q1.get(), context.get());
  BN_mod_inverse(qinv, q, p, context.get());
  // The key owns the numbers from here on.
  RSA_set0_key(rsa.get(), n, e, d);
  RSA_set0_factors(rsa.get(), p, q);
  RSA_set0_crt_params(rsa.get(), dp, dq, qinv);
  return rsa;
}

std::string Pkcs8(RSA* rsa) {
  const bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
  bssl::ScopedCBB encoding;
  if (EVP_PKEY_set1_RSA(key.get(), rsa) != 1 || CBB_init(encoding.get(), 4096) != 1 ||
      EVP_marshal_private_key(encoding.get(), key.get()) != 1 || CBB_flush(encoding.get()) != 1) {
    abort();  // the key is a constant
  }
  return std::string(reinterpret_cast<const char*>(CBB_data(encoding.get())),
                     CBB_len(encoding.get()));
}

KeyUse Signature(const std::string& key, RSA* rsa, km::Digest digest) {
  const bool sha1 = digest == km::Digest::SHA1;
  const EVP_MD* function = sha1 ? EVP_sha1() : EVP_sha256();
  uint8_t hash[EVP_MAX_MD_SIZE];
  unsigned hash_size = 0;
  EVP_Digest(kMessage, kMessageBytes, hash, &hash_size, function, nullptr);
  std::string signature(RSA_size(rsa), 0);
  unsigned size = 0;
  RSA_sign(EVP_MD_type(function), hash, hash_size, Bytes(&signature), &size, rsa);
  return {std::string("signature, ") + key + (sha1 ? ", SHA-1" : ", SHA-256"),
          KeyPurpose::SIGN,
          orx::AuthorizationSetBuilder()
              .Digest(digest)
              .Padding(PaddingMode::RSA_PKCS1_1_5_SIGN)
              .Authorization(orx::TAG_NO_AUTH_REQUIRED),
          kMessage,
          signature,
          sha1};
}

KeyUse Decryption(const std::string& key, RSA* rsa, PaddingMode padding) {
  const bool padded = padding != PaddingMode::NONE;
  // Without padding it is a number below the modulus.
  const std::string message =
      padded ? kMessage : std::string(RSA_size(rsa) - kMessageBytes, 1) + kMessage;
  std::string encrypted(RSA_size(rsa), 0);
  size_t size = 0;
  RSA_encrypt(rsa, &size, Bytes(&encrypted), encrypted.size(), Bytes(message), message.size(),
              padded ? RSA_PKCS1_PADDING : RSA_NO_PADDING);
  return {std::string("decryption, ") + key + (padded ? ", PKCS#1 padding" : ", no padding"),
          KeyPurpose::DECRYPT,
          orx::AuthorizationSetBuilder().Padding(padding).Authorization(orx::TAG_NO_AUTH_REQUIRED),
          encrypted, message};
}

ExerciseKey RsaExercise(uint32_t bits, const char* p_hex, const char* q_hex) {
  const bssl::UniquePtr<RSA> rsa = MakeRsa(p_hex, q_hex);
  ExerciseKey key;
  key.name = "RSA-" + std::to_string(bits);
  key.format = km::KeyFormat::PKCS8;
  key.data = Pkcs8(rsa.get());
  key.optional_on_strongbox = bits > 2048;
  key.import_params = orx::AuthorizationSetBuilder()
                          .Authorization(orx::TAG_NO_AUTH_REQUIRED)
                          .RsaSigningKey(bits, kPublicExponent)
                          .EncryptionKey()
                          .Digest(km::Digest::SHA1)
                          .Digest(km::Digest::SHA_2_256)
                          .Padding(PaddingMode::RSA_PKCS1_1_5_SIGN)
                          .Padding(PaddingMode::RSA_PKCS1_1_5_ENCRYPT)
                          .Padding(PaddingMode::NONE)
                          .SetDefaultValidity();
  key.uses = {Signature(key.name, rsa.get(), km::Digest::SHA1),
              Signature(key.name, rsa.get(), km::Digest::SHA_2_256),
              Decryption(key.name, rsa.get(), PaddingMode::RSA_PKCS1_1_5_ENCRYPT),
              Decryption(key.name, rsa.get(), PaddingMode::NONE)};
  return key;
}

}  // namespace

std::vector<ExerciseKey> ExerciseKeys() {
  return {AesExercise(), RsaExercise(2048, kPrime1024P, kPrime1024Q),
          RsaExercise(4096, kPrime2048P, kPrime2048Q)};
}

}  // namespace orx_tool
