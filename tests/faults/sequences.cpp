// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/sequences.h"

#include <errno.h>
#include <openssl/aes.h>
#include <openssl/nid.h>
#include <openssl/sha.h>
#include <orx/orx.h>
#include <string.h>

#include <algorithm>
#include <utility>

#include "tests/support/rsa_components.h"

namespace orx_faults {

int rsa_key_id = 50;

namespace {

constexpr int kId = 50, kSha256 = 2, kPkcs1 = 1, kDecrypt = 2;
constexpr uint32_t kAllIds = 0x1ff;
constexpr uint8_t kKey[16] = {1, 2, 3}, kOtherKey[16] = {4, 5, 6}, kIv[16] = {7, 8, 9};
constexpr char kImei[] = "490154203237518", kImei2[] = "490154203237526",
               kMeid[] = "99000000000001";  // what the modem answers
constexpr uint8_t kText[16] = {'t', 'e', 'x', 't'};
constexpr uint8_t kBlocks[32] = {'t', 'w', 'o'};  // so that chaining shows

// What a step leaves for a later one.
uint8_t cipher[sizeof kBlocks];
bool is_encrypted = false, is_open = false;
uint32_t num_written = 0;

template <size_t size>
uint32_t Judge(uint32_t status, const uint8_t (&bytes)[size], const uint8_t* expected) {
  if (status != 0) return 1;
  return memcmp(bytes, expected, size) == 0 ? 0 : kWrong;
}

uint32_t ImportAes(const uint8_t* key) {
  ORX_SYM_CONTEXT* context;
  return ORX_SYM_ImportProtectedKey(0, kId, key, 16, &context);
}
uint32_t Encrypt() {
  uint32_t length = sizeof kBlocks;
  is_encrypted = ORX_SYM_EncryptBegin(nullptr, kIv, 16, 0) == 0 &&
                 ORX_SYM_Encrypt(nullptr, kBlocks, cipher, &length) == 0;
  // AES-CBC (SP 800-38A), computed beside the device.
  uint8_t expected[sizeof kBlocks], iv[16];
  AES_KEY schedule;
  AES_set_encrypt_key(kKey, 128, &schedule);
  memcpy(iv, kIv, sizeof iv);
  AES_cbc_encrypt(kBlocks, expected, sizeof kBlocks, &schedule, iv, AES_ENCRYPT);
  return Judge(is_encrypted ? 0 : 1, cipher, expected);
}
uint32_t Reselect() {
  ORX_SYM_CONTEXT* context;
  return ORX_SYM_DestroyContext(nullptr) | ORX_SYM_GetContextForID(&context, kId);
}
uint32_t Decrypt() {
  uint8_t text[sizeof kBlocks];
  uint32_t length = sizeof kBlocks;
  if (!is_encrypted || ORX_SYM_DecryptBegin(nullptr, kIv, 16, 1) != 0) return 1;
  return Judge(ORX_SYM_Decrypt(nullptr, cipher, text, &length), text, kBlocks);
}

RSA* RsaKey() {
  static const bssl::UniquePtr<RSA> key = orx_test::NewRsaKey(2048);
  return key.get();
}
uint32_t ImportRsa() {
  return orx_test::ImportRsaComponents(orx_test::ComponentsOf(RsaKey()), rsa_key_id);
}
uint32_t Sign() {
  uint8_t signature[256], hash[SHA256_DIGEST_LENGTH];
  uint32_t length = sizeof signature;
  if (ORX_RSA_Sign(rsa_key_id, kText, signature, 16, &length, kSha256, kPkcs1) != 0) return 1;
  SHA256(kText, sizeof kText, hash);
  return RSA_verify(NID_sha256, hash, sizeof hash, signature, length, RsaKey()) == 1 ? 0 : kWrong;
}
uint32_t DecryptRsa() {
  uint8_t made[256], text[16];
  size_t made_length = 0;
  uint32_t length = sizeof text;
  RSA_encrypt(RsaKey(), &made_length, made, sizeof made, kText, 16, RSA_PKCS1_PADDING);
  const uint32_t status = ORX_RSA_EncryptDecrypt(rsa_key_id, kPkcs1, made, text, sizeof made,
                                                 &length, nullptr, kDecrypt);
  return length == 16 ? Judge(status, text, kText) : kWrong;
}

uint32_t Hash() {
  uint8_t digest[32], expected[32];
  uint32_t handle, length = 0;
  if (ORX_HASH_Begin(2, &handle) != 0) return 1;
  const uint32_t failures = ORX_HASH_Update(handle, kText, 6) |
                            ORX_HASH_Update(handle, kText + 6, 10) |
                            ORX_HASH_End(handle, digest, &length);
  return Judge(failures, digest, SHA256(kText, 16, expected));
}
uint32_t DeriveKey() {
  uint8_t output[32], expected[32];
  const uint32_t status = ORX_LIB_KDF_Gen(0, 2, 10, kText, 6, kText + 10, 32, output);
  return Judge(status, output, SHA256(kText, 16, expected));
}
uint32_t GetRandom() {
  uint8_t bytes[32] = {};
  if (ORX_RNG_GetBytes(bytes, sizeof bytes) != 0) return 1;
  return std::count(bytes, bytes + sizeof bytes, 0) < 8 ? 0 : kWrong;
}

uint32_t OpenStore(int write) {
  uint32_t handle;
  is_open = ORX_STORE_Open(7, &handle, write) == 0;
  return is_open ? 0 : 1;
}
uint32_t WriteStore() {
  num_written = ORX_STORE_Write(kText, 1, 16) == 0 ? 16 : 0;
  return num_written != 0 ? 0 : 1;
}
uint32_t CloseStore() {
  return std::exchange(is_open, false) ? ORX_STORE_Close(0) : 1;
}
uint32_t SizeOfStore() {
  uint32_t size = 0;
  if (ORX_STORE_Size(0, &size) != 0) return 1;
  return size == num_written ? 0 : kWrong;
}
uint32_t ReadStore() {
  uint8_t text[16];
  return Judge(ORX_STORE_Read(text, 1, 16), text, kText);
}

// The caller's errno counts while the library connects.
uint32_t AskModem(int (*get)(char*, uint32_t), const char* expected, int error) {
  char text[93] = {};
  errno = error;
  if (get(text, sizeof text) != 0) return 1;
  return strcmp(text, expected) == 0 ? 0 : kWrong;
}
uint32_t GetRecords() {
  uint8_t records[1000] = {};
  uint32_t length = sizeof records;
  errno = 0;
  if (ORX_get_attestation_id(records, &length) != 0) return 1;
  return strcmp(reinterpret_cast<const char*>(records) + 8, "orx") == 0 ? 0 : kWrong;
}

}  // namespace

std::unique_ptr<orx_sim::ModemDaemon> StartModem() {
  std::string error;
  auto modem = std::make_unique<orx_sim::ModemDaemon>([](const std::string&) {});
  if (!modem->Start("/dev/socket/rild-oem", {kImei, kImei2, kMeid, {}}, &error)) return nullptr;
  return modem;
}

const std::vector<Sequence>& Sequences() {
  static const auto other_key = [] { ImportAes(kOtherKey); };
  static const auto rsa_key = [] { ImportRsa(); };
  RsaKey();  // made once for all processes
  static const std::vector<Sequence> sequences = {
      {"aes",
       {{"import", [] { return ImportAes(kKey); }},
        {"encrypt", Encrypt},
        {"reselect", Reselect},
        {"decrypt", Decrypt},
        {"delete", [] { return ORX_SYM_DeleteKeyID(kId); }}},
       other_key},
      {"rsa",
       {{"import", ImportRsa},
        {"sign", Sign},
        {"decrypt", DecryptRsa},
        {"delete", [] { return ORX_RSA_DeleteKeyID(rsa_key_id); }}},
       rsa_key},
      {"upgrade", {{"sign", Sign}}, rsa_key, "os-patch-level=203012"},
      {"hash", {{"hash", Hash}}},
      {"kdf", {{"derive", DeriveKey}, {"random", GetRandom}}},
      {"store",
       {{"open", [] { return OpenStore(1); }},
        {"write", WriteStore},
        {"close", CloseStore},
        {"open again", [] { return OpenStore(0); }},
        {"size", SizeOfStore},
        {"read", ReadStore},
        {"close again", CloseStore},
        {"delete", [] { return ORX_STORE_Delete(7); }}}},
      {"ids",
       {{"print", [] { return ORX_print_device_ids() > 0 ? 0 : 1; }},
        {"imei", [] { return AskModem(ORX_DEVICE_GetImei, kImei, 0); }},
        {"imei2", [] { return AskModem(ORX_DEVICE_GetImei2, kImei2, EAGAIN); }},
        {"meid", [] { return AskModem(ORX_DEVICE_GetMeid, kMeid, 0); }},
        {"records", GetRecords}}},
      {"attestation",
       {{"attest", [] { return ORX_validate_attestation(true, kAllIds, false, false); }}}},
      {"model",
       {{"attest", [] { return ORX_validate_attestation_model("Simulated Dual", false, false); }}}},
      {"rkp-ids",
       {{"attest", [] { return ORX_validate_attestation_ids(true, kAllIds, false, true); }}}},
      {"root-of-trust", {{"check", ORX_eSE_RoT_binding_check}}},
      {"shared-secret", {{"check", ORX_eSE_SharedSecret_negotiation_check}}},
  };
  return sequences;
}

}  // namespace orx_faults
