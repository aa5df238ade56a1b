// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/AttestationKey.h>
#include <aidl/android/hardware/security/keymint/Certificate.h>
#include <aidl/android/hardware/security/keymint/IKeyMintDevice.h>
#include <aidl/android/hardware/security/keymint/IKeyMintOperation.h>
#include <aidl/android/hardware/security/keymint/KeyCharacteristics.h>
#include <aidl/android/hardware/security/keymint/KeyFormat.h>
#include <aidl/android/hardware/security/keymint/KeyPurpose.h>
#include <android/binder_auto_utils.h>
#include <keymint/authorization_set.h>
#include <orx/export.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace android::hardware::keymint::ORX {

// KeyMintService is the client of one KeyMint HAL instance (AIDL android.hardware.security.keymint,
// version 3): it generates, imports, upgrades and deletes keys and runs one operation at a time.
//
// Every method but the constructor returns a KeyMint ErrorCode as int: 0 on success, the service's
// own code where it answered one, UNKNOWN_ERROR (-1000) for every other binder failure. A null
// output is refused with UNEXPECTED_NULL_POINTER (-32) before the device is asked. Outputs are left
// untouched on failure unless said otherwise. Nothing is thrown: where memory runs out the process
// ends.
//
// An object serves one caller at a time and is not copied, as the copies would share one operation;
// distinct objects are independent. A dropped operation is not aborted: the service reclaims it.
class ORX_EXPORT KeyMintService {
 public:
  // KeyMintService binds to the instance "strongbox" or, when `strongbox` is false, "default" (the
  // TEE). The look-up does not wait. Without a service the object is usable all the same: every
  // call then answers UNEXPECTED_NULL_POINTER (-32).
  explicit KeyMintService(bool strongbox);
  KeyMintService(const KeyMintService&) = delete;
  KeyMintService& operator=(const KeyMintService&) = delete;

  // GetReturnErrorCode maps a binder status to an error code: OK to 0, a service-specific error to
  // its code, everything else, an absent status included, to UNKNOWN_ERROR.
  //
  // WARNING: a service-specific error of code 0 maps to 0 although the call failed and its outputs
  // are unset: the service's code is passed through as it is.
  static int GetReturnErrorCode(const ::ndk::ScopedAStatus& status);

  // GenerateKey generates a key from `params`, attested by `attestKey` if given. `*keyBlob` must be
  // handed in empty (else UNEXPECTED_NULL_POINTER); it, `*keyCharacteristics` and `*certChain` are
  // replaced on success. `certChain` may be null: the chain is judged and dropped then. A device
  // that returns no blob is answered with UNSUPPORTED_KEY_SIZE (-6).
  //
  // WARNING: when the certificate chain does not fit the algorithm (an RSA or EC key without one,
  // any other key with one) the answer is INVALID_KEY_BLOB (-33) although the outputs already hold
  // the new key. The caller owns that key.
  int GenerateKey(const AuthorizationSet& params,
                  const std::optional<km::AttestationKey>& attestKey, std::vector<uint8_t>* keyBlob,
                  std::vector<km::KeyCharacteristics>* keyCharacteristics,
                  std::vector<km::Certificate>* certChain);

  // ImportKey imports `keyData`, the key material as raw bytes in `format`. Both outputs are
  // emptied before the device is asked, whatever they held; the certificate chain is dropped. A
  // device that returns no blob is answered with UNSUPPORTED_KEY_SIZE (-6).
  int ImportKey(const AuthorizationSet& params, km::KeyFormat format, const std::string& keyData,
                std::vector<uint8_t>* keyBlob,
                std::vector<km::KeyCharacteristics>* keyCharacteristics);

  // UpgradeKey renews a blob that the device answered with KEY_REQUIRES_UPGRADE. `*upgradedKeyBlob`
  // must be handed in empty (else INVALID_ARGUMENT, -38) and stays empty, with result 0, when the
  // device found no upgrade necessary. An empty `keyBlobToUpgrade` is refused with INVALID_KEY_BLOB
  // (-33).
  int UpgradeKey(const std::vector<uint8_t>& keyBlobToUpgrade,
                 const AuthorizationSet& upgradeParams, std::vector<uint8_t>* upgradedKeyBlob);

  // DeleteKey deletes the key. Unless `keepBlob` is set, `*keyBlob` is emptied and its storage
  // released whatever the device answered; without a device it stays.
  int DeleteKey(std::vector<uint8_t>* keyBlob, bool keepBlob);

  // Begin starts an operation and keeps it, releasing one that was pending. A device that returns
  // parameters (a nonce of its own) is refused with OUTPUT_PARAMETER_NULL (-27).
  int Begin(km::KeyPurpose purpose, const std::vector<uint8_t>& keyBlob,
            const AuthorizationSet& params);

  // Update feeds `input` to the operation and appends what it returns to `*output`. The operation
  // stays whatever the outcome; without one the answer is UNEXPECTED_NULL_POINTER.
  int Update(const std::string& input, std::string* output);

  // Finish has the operation end, which is then gone whatever the outcome, and appends what it
  // returns to `*output`. `signature` is the signature to verify and may be empty. Without an
  // operation, or for a null `output`, which keeps it, the answer is UNEXPECTED_NULL_POINTER.
  int Finish(const std::string& input, const std::string& signature, std::string* output);

 private:
  friend uint32_t ORX_Process_AES_Finish(const unsigned char* input, unsigned char* output,
                                         unsigned int* length);

  // FinishBytes is Finish() in the containers that the device takes: it copies nothing. `*output`
  // is handed in empty and stays so on failure.
  __attribute__((visibility("hidden"))) int FinishBytes(
      const std::optional<std::vector<uint8_t>>& input,
      const std::optional<std::vector<uint8_t>>& signature, std::vector<uint8_t>* output);

  std::shared_ptr<km::IKeyMintOperation> operation_;
  std::shared_ptr<km::IKeyMintDevice> device_;
  // Low half of the last operation's challenge; kept for debuggers, no method reads it.
  [[maybe_unused]] int32_t challenge_ = 0;
};

// load_key_blob reads the key blob file of an RSA key id. Returns an empty vector for key id 0, an
// id without a file, a read failure, or a file whose length differs from the one last seen.
//
// WARNING: the log line of a read failure shows what was read of the file, not its path.
ORX_EXPORT std::vector<uint8_t> load_key_blob(int key_id);

// store_key_blob writes `blob` as the key blob file of an RSA key id (a new one with mode 0660 less
// the umask), to stable storage where the file system offers that. Returns 0, or 1 for an id
// without a file, or with the file removed if the file system lets it be.
//
// WARNING: a symmetric key's blob file has mode 0666 where this has 0660.
ORX_EXPORT int store_key_blob(int key_id, std::vector<uint8_t> blob);

}  // namespace android::hardware::keymint::ORX

#ifdef ORX_DEFINE_KEYMINT_CONSTRUCTOR
// Compiled once, by ORX_KMINT.cpp: the constructor's log lines carry this header's path, and
// callers need neither the log nor the service manager to include it.
namespace android::hardware::keymint::ORX {

KeyMintService::KeyMintService(bool strongbox) {
  const ::ndk::SpAIBinder binder(AServiceManager_checkService(
      strongbox ? "android.hardware.security.keymint.IKeyMintDevice/strongbox"
                : "android.hardware.security.keymint.IKeyMintDevice/default"));
  device_ = km::IKeyMintDevice::fromBinder(binder);
  ORX_LOG("strongbox was %d", strongbox);
  if (device_ == nullptr) ORX_LOG("Could not obtain the keymint service");
}

}  // namespace android::hardware::keymint::ORX
#endif  // ORX_DEFINE_KEYMINT_CONSTRUCTOR
