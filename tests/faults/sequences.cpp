// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/sequences.h"

#include <errno.h>
#include <openssl/aes.h>
#include <openssl/nid.h>
#include <openssl/sha.h>
#include <orx/orx.h>
#include <string.h>

#include <algorithm>

#include "tests/support/rsa_components.h"

namespace orx_faults {

int rsa_key_id = 50;

namespace {

constexpr int kId = 50, kSha256 = 2, kPkcs1 = 1, kDecrypt = 2;
constexpr uint32_t kAllIds = 0x1ff;
constexpr uint8_t kKey[16] = {1, 2, 3}, kOtherKey[16] = {4, 5, 6}, kIv[16] = {7, 8, 9};
constexpr uint8_t kText[16] = {'t', 'e', 'x', 't'};
constexpr uint8_t kBlocks[32] = {'t', 'w', 'o'};  // so that chaining shows

// What a step leaves for a later one.
uint8_t cipher[sizeof kBlocks];
bool is_encrypted = false, is_open = false;
uint32_t num_written = 0;

template <size_t size>
int Holds(const uint8_t (&bytes)[size], const uint8_t* expected) {
  return memcmp(bytes, expected, size) == 0 ? 0 : kWrong;
}

int ImportAes(const uint8_t* key) {
  ORX_SYM_CONTEXT* context;
  return static_cast<int>(ORX_SYM_ImportProtectedKey(0, kId, key, 16, &context));
}
int Encrypt() {
  uint32_t length = sizeof kBlocks;
  is_encrypted = ORX_SYM_EncryptBegin(nullptr, kIv, 16, 0) == 0 &&
                 ORX_SYM_Encrypt(nullptr, kBlocks, cipher, &length) == 0;
  // AES-CBC (SP 800-38A), computed beside the device.
  uint8_t expected[sizeof kBlocks], iv[16];
  AES_KEY schedule;
  AES_set_encrypt_key(kKey, 128, &schedule);
  memcpy(iv, kIv, sizeof iv);
  AES_cbc_encrypt(kBlocks, expected, sizeof kBlocks, &schedule, iv, AES_ENCRYPT);
  return is_encrypted ? Holds(cipher, expected) : 1;
}
int Reselect() {
  ORX_SYM_CONTEXT* context;
  return static_cast<int>(ORX_SYM_DestroyContext(nullptr) | ORX_SYM_GetContextForID(&context, kId));
}
int Decrypt() {
  uint8_t text[sizeof kBlocks];
  uint32_t length = sizeof kBlocks;
  if (!is_encrypted || ORX_SYM_DecryptBegin(nullptr, kIv, 16, 1) != 0) return 1;
  return ORX_SYM_Decrypt(nullptr, cipher, text, &length) != 0 ? 1 : Holds(text, kBlocks);
}

RSA* RsaKey() {
  static const bssl::UniquePtr<RSA> key = orx_test::NewRsaKey(2048);
  return key.get();
}
int ImportRsa() {
  return static_cast<int>(
      orx_test::ImportRsaComponents(orx_test::ComponentsOf(RsaKey()), rsa_key_id));
}
int Sign() {
  uint8_t signature[256], hash[SHA256_DIGEST_LENGTH];
  uint32_t length = sizeof signature;
  if (ORX_RSA_Sign(rsa_key_id, kText, signature, 16, &length, kSha256, kPkcs1) != 0) return 1;
  SHA256(kText, sizeof kText, hash);
  return RSA_verify(NID_sha256, hash, sizeof hash, signature, length, RsaKey()) == 1 ? 0 : kWrong;
}
int DecryptRsa() {
  uint8_t made[256], text[16];
  size_t made_length = 0;
  uint32_t length = sizeof text;
  RSA_encrypt(RsaKey(), &made_length, made, sizeof made, kText, 16, RSA_PKCS1_PADDING);
  const auto process = ORX_RSA_EncryptDecrypt;
  if (process(rsa_key_id, kPkcs1, made, text, 256, &length, nullptr, kDecrypt) != 0) return 1;
  return length == 16 ? Holds(text, kText) : kWrong;
}

int Hash() {
  uint8_t digest[32], expected[32];
  uint32_t handle, length = 0;
  if (ORX_HASH_Begin(2, &handle) != 0) return 1;
  const uint32_t failures = ORX_HASH_Update(handle, kText, 6) |
                            ORX_HASH_Update(handle, kText + 6, 10) |
                            ORX_HASH_End(handle, digest, &length);
  return failures != 0 ? 1 : Holds(digest, SHA256(kText, 16, expected));
}
int DeriveKey() {
  uint8_t output[32], expected[32];
  if (ORX_LIB_KDF_Gen(0, 2, 10, kText, 6, kText + 10, 32, output) != 0) return 1;
  return Holds(output, SHA256(kText, 16, expected));
}
int GetRandom() {
  uint8_t bytes[32] = {};
  if (ORX_RNG_GetBytes(bytes, sizeof bytes) != 0) return 1;
  return std::count(bytes, bytes + sizeof bytes, 0) < 8 ? 0 : kWrong;
}

int OpenStore(int write) {
  uint32_t handle;
  is_open = ORX_STORE_Open(7, &handle, write) == 0;
  return is_open ? 0 : 1;
}
int WriteStore() {
  num_written = ORX_STORE_Write(kText, 1, 16) == 0 ? 16 : 0;
  return num_written != 0 ? 0 : 1;
}
int CloseStore() {
  const bool was_open = is_open;
  is_open = false;
  return was_open ? static_cast<int>(ORX_STORE_Close(0)) : 1;
}
int SizeOfStore() {
  uint32_t size = 0;
  if (ORX_STORE_Size(0, &size) != 0) return 1;
  return size == num_written ? 0 : kWrong;
}
int ReadStore() {
  uint8_t text[16];
  return ORX_STORE_Read(text, 1, 16) != 0 ? 1 : Holds(text, kText);
}

// The caller's errno counts while the library connects.
int AskModem(int (*get)(char*, uint32_t), const char* expected, int error) {
  char text[93] = {};
  errno = error;
  if (get(text, sizeof text) != 0) return 1;
  return strcmp(text, expected) == 0 ? 0 : kWrong;
}
int GetRecords() {
  uint8_t records[1000] = {};
  uint32_t length = sizeof records;
  errno = 0;
  if (ORX_get_attestation_id(records, &length) != 0) return 1;
  return strcmp(reinterpret_cast<const char*>(records) + 8, "orx") == 0 ? 0 : kWrong;
}

}  // namespace

const std::vector<Sequence>& Sequences() {
  static const auto nothing = [] {};
  static const auto other_key = [] { ImportAes(kOtherKey); };
  static const auto rsa_key = [] { ImportRsa(); };
  RsaKey();  // made once for all processes
  static const std::vector<Sequence> sequences = {
      {"aes",
       other_key,
       nullptr,
       {{"import", [] { return ImportAes(kKey); }},
        {"encrypt", Encrypt},
        {"reselect", Reselect},
        {"decrypt", Decrypt},
        {"delete", [] { return static_cast<int>(ORX_SYM_DeleteKeyID(kId)); }}}},
      {"rsa",
       rsa_key,
       nullptr,
       {{"import", ImportRsa},
        {"sign", Sign},
        {"decrypt", DecryptRsa},
        {"delete", [] { return static_cast<int>(ORX_RSA_DeleteKeyID(rsa_key_id)); }}}},
      {"upgrade", rsa_key, "os-patch-level=203012", {{"sign", Sign}}},
      {"hash", nothing, nullptr, {{"hash", Hash}}},
      {"kdf", nothing, nullptr, {{"derive", DeriveKey}, {"random", GetRandom}}},
      {"store",
       nothing,
       nullptr,
       {{"open", [] { return OpenStore(1); }},
        {"write", WriteStore},
        {"close", CloseStore},
        {"open again", [] { return OpenStore(0); }},
        {"size", SizeOfStore},
        {"read", ReadStore},
        {"close again", CloseStore},
        {"delete", [] { return static_cast<int>(ORX_STORE_Delete(7)); }}}},
      {"ids",
       nothing,
       nullptr,
       {{"print", [] { return ORX_print_device_ids() > 0 ? 0 : 1; }},
        {"imei", [] { return AskModem(ORX_DEVICE_GetImei, kImei, 0); }},
        {"imei2", [] { return AskModem(ORX_DEVICE_GetImei2, kImei2, EAGAIN); }},
        {"meid", [] { return AskModem(ORX_DEVICE_GetMeid, kMeid, 0); }},
        {"records", GetRecords}}},
      {"attestation",
       nothing,
       nullptr,
       {{"attest", [] { return ORX_validate_attestation(true, kAllIds, false, false); }}}},
      {"model",
       nothing,
       nullptr,
       {{"attest", [] { return ORX_validate_attestation_model("Simulated Dual", false, false); }}}},
      {"rkp-ids",
       nothing,
       nullptr,
       {{"attest", [] { return ORX_validate_attestation_ids(true, kAllIds, false, true); }}}},
      {"root-of-trust", nothing, nullptr, {{"check", ORX_eSE_RoT_binding_check}}},
      {"shared-secret", nothing, nullptr, {{"check", ORX_eSE_SharedSecret_negotiation_check}}},
  };
  return sequences;
}

}  // namespace orx_faults
