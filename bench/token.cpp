// SPDX-License-Identifier: Apache-2.0
// The simulated device beside SoftHSM2, the usual key store in software: a client of each asks for
// the same in the way that its interface has.
#include <dlfcn.h>
#include <keymint/ORX_KEYMINT.h>
#include <p11-kit/pkcs11.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "bench/bench.h"
#include "sim/device.h"

namespace orx_bench {
namespace {

using namespace android::hardware::keymint::ORX;
using Bytes = std::vector<uint8_t>;

CK_BBOOL yes = CK_TRUE;
CK_FUNCTION_LIST* call = nullptr;
CK_SESSION_HANDLE session = 0;

// Makes a token in `folder` and logs a user in. Returns false where SoftHSM2 is not installed.
bool OpenToken(const std::string& folder) {
  // With what it links in a scope of its own: this program uses another crypto library.
  const int flags = RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND;
  void* module = dlopen("/usr/lib/softhsm/libsofthsm2.so", flags);
  if (module == nullptr) return false;
  std::filesystem::create_directories(folder);
  std::ofstream(folder + "/conf") << "directories.tokendir = " << folder << "\nlog.level = ERROR\n";
  setenv("SOFTHSM2_CONF", (folder + "/conf").c_str(), 1);
  const char init[] = "softhsm2-util --init-token --free --label b --pin 1234 --so-pin 1234";
  const auto list = reinterpret_cast<CK_C_GetFunctionList>(dlsym(module, "C_GetFunctionList"));
  CK_UTF8CHAR pin[] = "1234";
  CK_SLOT_ID slots[2];  // an empty one follows
  CK_ULONG count = 2;
  const CK_FLAGS writable = CKF_SERIAL_SESSION | CKF_RW_SESSION;
  const bool open = Run(init) && list(&call) == CKR_OK && call->C_Initialize(nullptr) == CKR_OK &&
                    call->C_GetSlotList(CK_TRUE, slots, &count) == CKR_OK &&
                    call->C_OpenSession(slots[0], writable, nullptr, nullptr, &session) == CKR_OK &&
                    call->C_Login(session, CKU_USER, pin, 4) == CKR_OK;
  Must(open, "the token");
  return true;
}

CK_OBJECT_HANDLE NewTokenKey(bool rsa) {
  CK_ULONG bits = 2048, length = 16;
  CK_BYTE exponent[] = {1, 0, 1};
  CK_ATTRIBUTE aes[] = {
      {CKA_TOKEN, &yes, 1}, {CKA_ENCRYPT, &yes, 1}, {CKA_VALUE_LEN, &length, sizeof(length)}};
  CK_ATTRIBUTE form[] = {{CKA_MODULUS_BITS, &bits, sizeof(bits)},
                         {CKA_PUBLIC_EXPONENT, exponent, sizeof(exponent)}};
  CK_ATTRIBUTE private_form[] = {{CKA_TOKEN, &yes, 1}, {CKA_SIGN, &yes, 1}};
  CK_MECHANISM make = {rsa ? CKM_RSA_PKCS_KEY_PAIR_GEN : CKM_AES_KEY_GEN, nullptr, 0};
  CK_OBJECT_HANDLE public_key = 0, key = 0;
  Must((rsa ? call->C_GenerateKeyPair(session, &make, form, 2, private_form, 2, &public_key, &key)
            : call->C_GenerateKey(session, &make, aes, 3, &key)) == CKR_OK,
       "a key in the token");
  return key;
}

// Encrypts or signs with a key of the token.
bool AskToken(CK_OBJECT_HANDLE key, bool rsa, Bytes message, Bytes* output) {
  CK_BYTE iv[16] = {};
  CK_MECHANISM sign = {CKM_SHA256_RSA_PKCS, nullptr, 0}, encrypt = {CKM_AES_CBC, iv, sizeof(iv)};
  CK_ULONG length = output->size();
  const auto init = rsa ? call->C_SignInit : call->C_EncryptInit;
  const auto run = rsa ? call->C_Sign : call->C_Encrypt;
  return init(session, rsa ? &sign : &encrypt, key) == CKR_OK &&
         run(session, message.data(), message.size(), output->data(), &length) == CKR_OK;
}

AuthorizationSetBuilder Use(bool rsa) {
  AuthorizationSetBuilder params;
  rsa ? params.Digest(km::Digest::SHA_2_256).Padding(km::PaddingMode::RSA_PKCS1_1_5_SIGN)
      : params.BlockMode({km::BlockMode::CBC}).Padding(km::PaddingMode::NONE);
  return params;
}

Bytes NewDeviceKey(KeyMintService& service, bool rsa) {
  AuthorizationSetBuilder params = Use(rsa);
  params.Authorization(TAG_NO_AUTH_REQUIRED).SetDefaultValidity();
  rsa ? params.RsaSigningKey(2048, 65537)
      : params.AesEncryptionKey(128).Authorization(TAG_CALLER_NONCE);
  Bytes blob;
  std::vector<km::KeyCharacteristics> characteristics;
  Must(service.GenerateKey(params, std::nullopt, &blob, &characteristics, nullptr) == 0,
       "a key in the device");
  return blob;
}

bool AskDevice(KeyMintService& service, const Bytes& blob, bool rsa, const std::string& message) {
  AuthorizationSetBuilder params = Use(rsa);
  if (!rsa) params.Authorization(TAG_NONCE, std::string(16, 'n'));
  std::string output;
  return service.Begin(rsa ? km::KeyPurpose::SIGN : km::KeyPurpose::ENCRYPT, blob, params) == 0 &&
         service.Finish(message, "", &output) == 0;
}

}  // namespace

void AddToken() {
  std::string error;
  const auto device = orx_sim::Device::Create("/mnt/token-device", "dual-sim", &error);
  Must(device != nullptr, error);
  device->Attach();
  if (!OpenToken("/mnt/token")) {
    fprintf(stderr, "SoftHSM2 is not installed: the simulated device is not compared with it\n");
    return;
  }
  static KeyMintService service(false);
  for (const bool rsa : {false, true}) {
    const Bytes blob = NewDeviceKey(service, rsa);
    const CK_OBJECT_HANDLE key = NewTokenKey(rsa);
    for (const size_t size : rsa ? std::vector<size_t>{16} : std::vector<size_t>{16, 4096, 65536}) {
      const auto ours = [=] { return AskDevice(service, blob, rsa, std::string(size, 'x')); };
      const auto raw = [=, output = Bytes(std::max<size_t>(size, 256))]() mutable {
        return AskToken(key, rsa, Bytes(size, 'x'), &output);
      };
      Compare(rsa ? "token/rsa-2048-sign" : "token/aes-cbc", size, ours, raw);
    }
  }
  const auto ours = [] {
    Bytes blob = NewDeviceKey(service, false);
    return service.DeleteKey(&blob, false) == 0;
  };
  const auto raw = [] { return call->C_DestroyObject(session, NewTokenKey(false)) == CKR_OK; };
  Compare("token/create-destroy", 1, ours, raw);
}

}  // namespace orx_bench
