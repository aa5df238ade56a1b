// SPDX-License-Identifier: Apache-2.0
#include "keymint/ORX_RSA.h"

#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <openssl/bn.h>
#include <openssl/bytestring.h>
#include <openssl/evp.h>
#include <openssl/mem.h>
#include <openssl/rsa.h>
#include <orx/sym.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string>
#include <utility>

#include "boringssl.h"
#include "common/secret.h"
#include "keymint/key_blob_file.h"
#include "orx_log.h"

namespace android::hardware::keymint::ORX {
namespace {

constexpr int kNoKey = 0;
constexpr mode_t kBlobFileMode = 0660;
constexpr uint64_t kPublicExponent = 65537;
constexpr uint32_t kLongestDerOf2048Bits = 2000;
constexpr size_t kDerCapacity = 4096;  // more than a key of 4096 bits takes; grows beyond
constexpr size_t kUnwrapScratchBytes = 4098;
// The context argument under which a wrapped key is handed to the symmetric service.
constexpr uintptr_t kUnwrapContext = 18;

constexpr int kDigestSha256 = 2;
constexpr int kPaddingPkcs1 = 1;
constexpr int kDirectionEncrypt = 1;

KeyRepository repository = MakeKeyRepository();

// One unsigned big-endian integer of the caller.
struct Component {
  uint32_t length;
  const uint8_t* bytes;
};

struct RsaComponents {
  Component e, n, d, p, q, dp, dq, qinv;
};

bssl::UniquePtr<BIGNUM> ToBignum(const Component& component) {
  const size_t length = component.bytes == nullptr ? 0 : component.length;
  return bssl::UniquePtr<BIGNUM>(BN_bin2bn(component.bytes, length, nullptr));
}

void GivenAway(std::initializer_list<bssl::UniquePtr<BIGNUM>*> numbers) {
  for (bssl::UniquePtr<BIGNUM>* number : numbers) static_cast<void>(number->release());
}

// Returns the key object that owns the components' numbers, or null unless they are all there and
// make one RSA private key.
bssl::UniquePtr<RSA> ToRsa(const RsaComponents& components) {
  bssl::UniquePtr<RSA> rsa(RSA_new());
  auto n = ToBignum(components.n), e = ToBignum(components.e), d = ToBignum(components.d);
  auto p = ToBignum(components.p), q = ToBignum(components.q);
  auto dp = ToBignum(components.dp), dq = ToBignum(components.dq);
  auto qinv = ToBignum(components.qinv);
  if (!rsa || !n || !e || !d || !p || !q || !dp || !dq || !qinv) return nullptr;

  if (RSA_set0_key(rsa.get(), n.get(), e.get(), d.get()) != 1) return nullptr;
  GivenAway({&n, &e, &d});
  if (RSA_set0_factors(rsa.get(), p.get(), q.get()) != 1) return nullptr;
  GivenAway({&p, &q});
  if (RSA_set0_crt_params(rsa.get(), dp.get(), dq.get(), qinv.get()) != 1) return nullptr;
  GivenAway({&dp, &dq, &qinv});
  if (RSA_check_key(rsa.get()) != 1) return nullptr;
  return rsa;
}

bssl::UniquePtr<EVP_PKEY> ToPrivateKey(const RsaComponents& components) {
  const bssl::UniquePtr<RSA> rsa = ToRsa(components);
  bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
  if (!rsa || !key || EVP_PKEY_set1_RSA(key.get(), rsa.get()) != 1) return nullptr;
  return key;
}

uint32_t ImportComponents(const RsaComponents& components, int key_id) {
  const bssl::UniquePtr<EVP_PKEY> key = ToPrivateKey(components);
  if (key == nullptr) {
    ORX_LOG("RSA: the components make no RSA private key");
    return 1;
  }
  bssl::ScopedCBB encoding;
  const bool encoded = CBB_init(encoding.get(), kDerCapacity) == 1 &&
                       EVP_marshal_private_key(encoding.get(), key.get()) == 1 &&
                       CBB_flush(encoding.get()) == 1;
  const size_t length = encoded ? CBB_len(encoding.get()) : 0;
  ORX_LOG("RSA:key measured length:%d", static_cast<int>(length));
  const bssl::UniquePtr<uint8_t> der(static_cast<uint8_t*>(OPENSSL_malloc(length)));
  if (der == nullptr) {
    ORX_LOG("RSA: invalid memory to create a new key");
    return 1;
  }
  if (length == 0) {
    ORX_LOG("RSA: retrieve key information failed");
    return 1;
  }
  std::copy_n(CBB_data(encoding.get()), length, der.get());
  ORX_LOG("RSA: current pk type:%d, size:%d", EVP_PKEY_type(EVP_PKEY_id(key.get())),
          static_cast<int>(length));
  return ORX_RSA_ImportKey(der.get(), static_cast<uint32_t>(length), 1, key_id);
}

// Imports the PKCS#8 key into KeyMint. Returns KeyMint's error code, with the blob on 0.
int ImportDer(KeyMintService& service, const uint8_t* der, uint32_t length,
              std::vector<uint8_t>* blob) {
  const orx_common::Wiped<std::string> key(reinterpret_cast<const char*>(der), length);
  // Judged by the encoding's length, see the header's WARNING: the key itself is not parsed.
  const uint32_t bits = length <= kLongestDerOf2048Bits ? 2048 : 4096;
  ORX_LOG("Import %d bit RSA key", static_cast<int>(bits));
  AuthorizationSetBuilder params;
  params.Authorization(TAG_NO_AUTH_REQUIRED)
      .RsaSigningKey(bits, kPublicExponent)
      .EncryptionKey()
      .Digest(km::Digest::SHA1)
      .Digest(km::Digest::SHA_2_256)
      .Padding(km::PaddingMode::RSA_PKCS1_1_5_SIGN)
      .Padding(km::PaddingMode::RSA_PKCS1_1_5_ENCRYPT)
      .Padding(km::PaddingMode::NONE)
      .SetDefaultValidity();
  std::vector<km::KeyCharacteristics> characteristics;
  return service.ImportKey(params, km::KeyFormat::PKCS8, *key, blob, &characteristics);
}

uint32_t ImportKey(uint8_t* key, uint32_t length, bool plain, int key_id) {
  KeyMintService service(false);
  if (!plain && ORX_RSA_Unwrap(key, &length) != 0) {
    ORX_LOG("RSA: unwrap failed");
    return 1;
  }
  std::vector<uint8_t> blob;
  const int result = ImportDer(service, key, length, &blob);
  if (plain) OPENSSL_cleanse(key, length);
  if (result != 0) {
    ORX_LOG("RSA: import key failed, code:%d", result);
    return 1;
  }
  // Looks the key id up only now, see the header's WARNING.
  return static_cast<uint32_t>(store_key_blob(key_id, std::move(blob)));
}

uint32_t Unwrap(void* buffer, uint32_t* length) {
  orx_common::Wiped<std::array<uint8_t, kUnwrapScratchBytes>> scratch;
  if (*length > kUnwrapScratchBytes) {
    ORX_LOG("wrapped key too big");
    return 1;
  }
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a number is all that the context is
  auto* context = reinterpret_cast<_ORX_SYM_CONTEXT_S*>(kUnwrapContext);
  const uint32_t result = ORX_SYM_Decrypt_Wrapper(context, static_cast<const uint8_t*>(buffer),
                                                  (*scratch).data(), length);
  if (result == 0) memcpy(buffer, (*scratch).data(), *length);
  return result;
}

uint32_t DeleteKeyId(int key_id) {
  KeyMintService service(false);
  std::vector<uint8_t> blob = load_key_blob(key_id);
  if (blob.empty()) return 1;
  const int result = service.DeleteKey(&blob, false);
  if (result != 0) {
    ORX_LOG("RSA: delete key failed: %d", result);
    return 1;
  }
  ORX_LOG("RSA: delete key successfully");
  return 0;
}

// Upgrades the blob and begins with the new one, which is on disk when this returns true. When it
// cannot be saved, the operation that has begun is left to the device: a blob that is not on disk
// must not be used.
bool BeginUpgraded(KeyMintService& service, int key_id, km::KeyPurpose purpose,
                   const std::vector<uint8_t>& blob, const AuthorizationSet& params) {
  ORX_LOG("RSA: KM requires the key to be upgraded");
  std::vector<uint8_t> upgraded;
  const int upgrade_result = service.UpgradeKey(blob, params, &upgraded);
  if (upgrade_result != 0 || upgraded.empty()) {
    ORX_LOG("RSA: Upgrade failed or not needed: %d\n", upgrade_result);
    return false;
  }
  const int result = service.Begin(purpose, upgraded, params);
  if (result != 0) {
    ORX_LOG("RSA: begin failed with upgraded key, code:%d, blob size:%d", result,
            static_cast<int>(blob.size()));
    return false;
  }
  if (store_key_blob(key_id, std::move(upgraded)) != 0) {
    ORX_LOG("RSA: Unable to save the upgraded key blob");
    return false;
  }
  return true;
}

bool Begin(KeyMintService& service, int key_id, km::KeyPurpose purpose,
           const std::vector<uint8_t>& blob, const AuthorizationSet& params) {
  const int result = service.Begin(purpose, blob, params);
  if (result == 0) return true;
  if (result == static_cast<int>(km::ErrorCode::KEY_REQUIRES_UPGRADE)) {
    return BeginUpgraded(service, key_id, purpose, blob, params);
  }
  ORX_LOG("RSA: begin failed with error: %d\n", result);
  return false;
}

AuthorizationSetBuilder SignatureParams(int digest, int padding) {
  AuthorizationSetBuilder params;
  params.Digest(digest == kDigestSha256 ? km::Digest::SHA_2_256 : km::Digest::SHA1)
      .Padding(padding == kPaddingPkcs1 ? km::PaddingMode::RSA_PKCS1_1_5_SIGN
                                        : km::PaddingMode::NONE)
      .Authorization(TAG_NO_AUTH_REQUIRED);
  return params;
}

std::string ToString(const uint8_t* bytes, uint32_t length) {
  return std::string(reinterpret_cast<const char*>(bytes), length);
}

// Copies what fits into the caller's `*capacity` bytes and sets `*capacity` to that. A short buffer
// is filled rather than refused, see the header's WARNING.
void CopyOut(const std::string& bytes, uint8_t* output, uint32_t* capacity) {
  const size_t length = std::min<size_t>(bytes.size(), *capacity);
  // NOLINTNEXTLINE(bugprone-not-null-terminated-result): bytes with a length, not text
  memcpy(output, bytes.data(), length);
  *capacity = static_cast<uint32_t>(length);
}

uint32_t Sign(int key_id, const uint8_t* data, uint8_t* signature, uint32_t data_length,
              uint32_t* signature_length, int digest, int padding) {
  if (signature_length == nullptr || *signature_length == 0 || signature == nullptr ||
      data == nullptr || data_length == 0) {
    ORX_LOG("ORX RSA sign: invalid input parameters");
    return 1;
  }
  const std::string output =
      ORX_RSA_Process(key_id, km::KeyPurpose::SIGN, ToString(data, data_length), "",
                      SignatureParams(digest, padding));
  if (output.empty()) {
    ORX_LOG("RSA: signature is empty");
    return 1;
  }
  CopyOut(output, signature, signature_length);
  return 0;
}

uint32_t Verify(int key_id, const uint8_t* data, const uint8_t* signature, uint32_t data_length,
                uint32_t signature_length, int digest, int padding) {
  if (signature_length == 0 || signature == nullptr || data == nullptr || data_length == 0) {
    ORX_LOG("ORX RSA verify: invalid input parameters");
    return 1;
  }
  // Never empty, as the signature is not: 1 for every signature, see the header's WARNING.
  const std::string output =
      ORX_RSA_Process(key_id, km::KeyPurpose::VERIFY, ToString(data, data_length),
                      ToString(signature, signature_length), SignatureParams(digest, padding));
  return output.empty() ? 0 : 1;
}

uint32_t EncryptDecrypt(int key_id, int padding, const uint8_t* input, uint8_t* output,
                        uint32_t input_length, uint32_t* output_length, int direction) {
  if (output_length == nullptr || *output_length == 0 || output == nullptr || input == nullptr ||
      input_length == 0) {
    ORX_LOG("ORX RSA cipher: invalid input parameters");
    return 1;
  }
  AuthorizationSetBuilder params;
  params
      .Padding(padding == kPaddingPkcs1 ? km::PaddingMode::RSA_PKCS1_1_5_ENCRYPT
                                        : km::PaddingMode::NONE)
      .Authorization(TAG_NO_AUTH_REQUIRED);
  const bool encrypt = direction == kDirectionEncrypt;
  ORX_LOG("RSA: process with operation:%s", encrypt ? "Encrypt" : "Decrypt");
  const orx_common::Wiped<std::string> message(reinterpret_cast<const char*>(input), input_length);
  const orx_common::Wiped<std::string> produced(ORX_RSA_Process(
      key_id, encrypt ? km::KeyPurpose::ENCRYPT : km::KeyPurpose::DECRYPT, *message, "", params));
  if ((*produced).empty()) {
    ORX_LOG("RSA: Cipher output is empty");
    return 1;
  }
  CopyOut(*produced, output, output_length);
  return 0;
}

}  // namespace

std::vector<uint8_t> load_key_blob(int key_id) {
  if (key_id == kNoKey) return {};
  KeyRepositoryEntry* entry = FindKeyRepositoryEntry(repository, key_id);
  if (entry == nullptr) {
    ORX_LOG("RSA: key blob not found");
    return {};
  }
  std::string content;
  switch (ReadBlobFile(*entry, &content)) {
    case BlobFileContent::kLoaded:
      break;
    case BlobFileContent::kUnreadable:
      // What was read, not the path, see the header's WARNING.
      ORX_LOG("RSA: failed to read RSA from %s", content.c_str());
      return {};
    case BlobFileContent::kOtherLength:
      ORX_LOG("RSA: failed to load correct RSA keyblob");
      return {};
  }
  ORX_LOG("RSA: loaded key blob size: %d for keyid %d", static_cast<int>(content.size()), key_id);
  return orx_common::CopyOf<std::vector<uint8_t>>(content);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): by value in the exported interface
int store_key_blob(int key_id, std::vector<uint8_t> blob) {
  KeyRepositoryEntry* entry = FindKeyRepositoryEntry(repository, key_id);
  if (entry == nullptr) {
    ORX_LOG("RSA: Could not find a repository for keyid=%d", key_id);
    return 1;
  }
  ORX_LOG("RSA: key with size:%d being saved to filesystem", static_cast<int>(blob.size()));
  switch (WriteBlobFile(*entry, kBlobFileMode, blob)) {
    case BlobFileResult::kStored:
      return 0;
    case BlobFileResult::kStoredWithoutSync:
      ORX_LOG("RSA: current file system does not support sync");
      return 0;
    case BlobFileResult::kWriteFailed:
      ORX_LOG("RSA: write asymmetric key file %s failed", entry->path);
      return 1;
    case BlobFileResult::kSyncFailed:
      ORX_LOG("RSA: failed to fsync asymmetric key ");
      return 1;
  }
  return 1;
}

std::string ORX_RSA_Process(int key_id, km::KeyPurpose purpose, const std::string& input,
                            const std::string& signature, const AuthorizationSet& params) {
  std::string output;
  if (!signature.empty()) output = "ERROR";
  KeyMintService service(false);
  const std::vector<uint8_t> blob = load_key_blob(key_id);
  if (blob.empty()) {
    ORX_LOG("RSA: no key blob not loaded");
    return output;
  }
  if (!Begin(service, key_id, purpose, blob, params)) return output;
  const int result = service.Finish(input, signature, &output);
  if (result != 0) {
    ORX_LOG("RSA: finish failed with code:%d, blob size:%d, output_size:%d", result,
            static_cast<int>(blob.size()), static_cast<int>(output.size()));
  }
  return output;
}

}  // namespace android::hardware::keymint::ORX

namespace orx = android::hardware::keymint::ORX;

uint32_t ORX_RSA_ImportProtectedKey(const void* /*ignored*/, uint32_t e_length, const uint8_t* e,
                                    uint32_t n_length, const uint8_t* n, uint32_t d_length,
                                    const uint8_t* d, uint32_t p_length, const uint8_t* p,
                                    uint32_t q_length, const uint8_t* q, uint32_t dp_length,
                                    const uint8_t* dp, uint32_t dq_length, const uint8_t* dq,
                                    uint32_t qinv_length, const uint8_t* qinv, int key_id) {
  const ErrorQueueGuard guard;
  return orx::ImportComponents({{e_length, e},
                                {n_length, n},
                                {d_length, d},
                                {p_length, p},
                                {q_length, q},
                                {dp_length, dp},
                                {dq_length, dq},
                                {qinv_length, qinv}},
                               key_id);
}

uint32_t ORX_RSA_ImportKey(uint8_t* key, uint32_t key_length, int key_is_plain, int key_id) {
  return orx::ImportKey(key, key_length, key_is_plain != 0, key_id);
}

uint32_t ORX_RSA_Unwrap(void* buffer, uint32_t* length) {
  return orx::Unwrap(buffer, length);
}

uint32_t ORX_RSA_DeleteKeyID(int key_id) {
  return orx::DeleteKeyId(key_id);
}

uint32_t ORX_RSA_Sign(int key_id, const uint8_t* data, uint8_t* signature, uint32_t data_length,
                      uint32_t* signature_length, int digest, int padding) {
  return orx::Sign(key_id, data, signature, data_length, signature_length, digest, padding);
}

uint32_t ORX_RSA_Verify(int key_id, const uint8_t* data, const uint8_t* signature,
                        uint32_t data_length, uint32_t signature_length, int digest, int padding) {
  return orx::Verify(key_id, data, signature, data_length, signature_length, digest, padding);
}

uint32_t ORX_RSA_EncryptDecrypt(int key_id, int padding, const uint8_t* input, uint8_t* output,
                                uint32_t input_length, uint32_t* output_length,
                                const void* /*ignored*/, int direction) {
  return orx::EncryptDecrypt(key_id, padding, input, output, input_length, output_length,
                             direction);
}
