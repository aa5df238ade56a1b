// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <android/binder_manager.h>

#include "orx_log.h"

#define ORX_DEFINE_KEYMINT_CONSTRUCTOR
#include <keymint/ORX_KEYMINT.h>

#include "common/secret.h"

namespace android::hardware::keymint::ORX {
namespace {

using orx_common::AppendSecret;
using orx_common::CopyOf;
using orx_common::Wipe;
using orx_common::Wiped;
using Bytes = std::vector<uint8_t>;

constexpr int kOk = static_cast<int>(km::ErrorCode::OK);
constexpr int kNullPointer = static_cast<int>(km::ErrorCode::UNEXPECTED_NULL_POINTER);
constexpr int kOutputParameterNull = static_cast<int>(km::ErrorCode::OUTPUT_PARAMETER_NULL);
constexpr int kUnsupportedKeySize = static_cast<int>(km::ErrorCode::UNSUPPORTED_KEY_SIZE);
constexpr int kInvalidKeyBlob = static_cast<int>(km::ErrorCode::INVALID_KEY_BLOB);
constexpr int kInvalidArgument = static_cast<int>(km::ErrorCode::INVALID_ARGUMENT);
constexpr int kUnknownError = static_cast<int>(km::ErrorCode::UNKNOWN_ERROR);

int NoDevice() {
  ORX_LOG("KM: invalid keymint instance, probably servicemanager AIDL issue?");
  return kNullPointer;
}

bool IsAsymmetric(const AuthorizationSet& params) {
  const auto entry = params.GetEntry(km::Tag::ALGORITHM);
  if (!entry || entry->get().value.getTag() != km::KeyParameterValue::algorithm) return false;
  const auto algorithm = entry->get().value.get<km::KeyParameterValue::algorithm>();
  return algorithm == km::Algorithm::RSA || algorithm == km::Algorithm::EC;
}

}  // namespace

int KeyMintService::GetReturnErrorCode(const ::ndk::ScopedAStatus& status) {
  if (status.isOk()) return kOk;
  // An absent status, which a service in the same process can answer, has no readers.
  if (status.get() == nullptr) return kUnknownError;
  if (status.getExceptionCode() == EX_SERVICE_SPECIFIC) return status.getServiceSpecificError();
  return kUnknownError;
}

int KeyMintService::GenerateKey(const AuthorizationSet& params,
                                const std::optional<km::AttestationKey>& attestKey,
                                std::vector<uint8_t>* keyBlob,
                                std::vector<km::KeyCharacteristics>* keyCharacteristics,
                                std::vector<km::Certificate>* certChain) {
  ORX_LOG("KM: GenerateKey");
  if (keyBlob == nullptr) {
    ORX_LOG("KM: invalid key blob pointer");
    return kNullPointer;
  }
  if (keyCharacteristics == nullptr) {
    ORX_LOG("KM: invalid key characteristics");
    return kNullPointer;
  }
  if (!keyBlob->empty()) {
    ORX_LOG("KM: invalid key blob not cleanup");
    return kNullPointer;
  }
  if (device_ == nullptr) return NoDevice();

  km::KeyCreationResult created;
  const auto status = device_->generateKey(params.vector_data(), attestKey, &created);
  if (!status.isOk()) return GetReturnErrorCode(status);
  if (created.keyBlob.empty()) {
    ORX_LOG("KM: invalid key blob size");
    return kUnsupportedKeySize;
  }

  // Moved before the chain is judged: the key exists by now, and the caller gets it either way.
  *keyBlob = std::move(created.keyBlob);
  *keyCharacteristics = std::move(created.keyCharacteristics);
  const bool has_chain = !created.certificateChain.empty();
  if (certChain != nullptr) *certChain = std::move(created.certificateChain);

  const bool asymmetric = IsAsymmetric(params);
  if (asymmetric && !has_chain) {
    ORX_LOG("KM: invalid cert chain for asymmetric key");
    return kInvalidKeyBlob;
  }
  if (!asymmetric && has_chain) {
    ORX_LOG("KM: invalid cert chain for symmetric key");
    return kInvalidKeyBlob;
  }
  return kOk;
}

int KeyMintService::ImportKey(const AuthorizationSet& params, km::KeyFormat format,
                              const std::string& keyData, std::vector<uint8_t>* keyBlob,
                              std::vector<km::KeyCharacteristics>* keyCharacteristics) {
  ORX_LOG("KM: ImportKey");
  if (keyBlob == nullptr) {
    ORX_LOG("KM: invalid key blob pointer");
    return kNullPointer;
  }
  if (keyCharacteristics == nullptr) {
    ORX_LOG("KM: invalid key characteristics");
    return kNullPointer;
  }
  if (device_ == nullptr) return NoDevice();

  keyCharacteristics->clear();
  keyBlob->clear();
  const Wiped<Bytes> key_bytes(CopyOf<Bytes>(keyData));
  km::KeyCreationResult created;
  const auto status =
      device_->importKey(params.vector_data(), format, *key_bytes, std::nullopt, &created);
  if (!status.isOk()) return GetReturnErrorCode(status);
  if (created.keyBlob.empty()) {
    ORX_LOG("KM: invalid keyblob length afer import");
    return kUnsupportedKeySize;
  }
  *keyBlob = std::move(created.keyBlob);
  *keyCharacteristics = std::move(created.keyCharacteristics);
  return kOk;
}

int KeyMintService::UpgradeKey(const std::vector<uint8_t>& keyBlobToUpgrade,
                               const AuthorizationSet& upgradeParams,
                               std::vector<uint8_t>* upgradedKeyBlob) {
  ORX_LOG("KM: UpgradeKey");
  if (upgradedKeyBlob == nullptr) {
    ORX_LOG("KM: invalid upgradedKeyBlob pointer");
    return kNullPointer;
  }
  if (!upgradedKeyBlob->empty()) {
    ORX_LOG("KM: invalid output keyblob as it's not reset");
    return kInvalidArgument;
  }
  if (keyBlobToUpgrade.empty()) {
    ORX_LOG("KM: invalid keyBlobToUpgrade as it's empty");
    return kInvalidKeyBlob;
  }
  if (device_ == nullptr) return NoDevice();

  std::vector<uint8_t> upgraded;
  const auto status = device_->upgradeKey(keyBlobToUpgrade, upgradeParams.vector_data(), &upgraded);
  if (!status.isOk()) return GetReturnErrorCode(status);
  if (upgraded.empty()) {
    ORX_LOG("KM: key blob did not require upgrade");
    return kOk;
  }
  *upgradedKeyBlob = std::move(upgraded);
  return kOk;
}

int KeyMintService::DeleteKey(std::vector<uint8_t>* keyBlob, bool keepBlob) {
  ORX_LOG("KM: DeleteKey");
  if (keyBlob == nullptr) {
    ORX_LOG("KM: invalid key blob pointer");
    return kNullPointer;
  }
  if (device_ == nullptr) return NoDevice();

  const auto status = device_->deleteKey(*keyBlob);
  if (!keepBlob) std::vector<uint8_t>().swap(*keyBlob);
  return GetReturnErrorCode(status);
}

int KeyMintService::Begin(km::KeyPurpose purpose, const std::vector<uint8_t>& keyBlob,
                          const AuthorizationSet& params) {
  ORX_LOG("KM: Begin");
  if (device_ == nullptr) return NoDevice();

  km::BeginResult begun;
  const auto status = device_->begin(purpose, keyBlob, params.vector_data(), std::nullopt, &begun);
  if (!status.isOk()) return GetReturnErrorCode(status);
  if (!begun.params.empty()) {
    ORX_LOG("KM: invalid output parameters");
    return kOutputParameterNull;
  }
  challenge_ = static_cast<int32_t>(begun.challenge);
  operation_ = std::move(begun.operation);
  return kOk;
}

int KeyMintService::Update(const std::string& input, std::string* output) {
  ORX_LOG("KM: Update");
  if (operation_ == nullptr) {
    ORX_LOG("KM: invalid keymint operation handle");
    return kNullPointer;
  }
  if (output == nullptr) {
    ORX_LOG("KM: invalid keymint output buffer");
    return kNullPointer;
  }

  const Wiped<Bytes> input_bytes(CopyOf<Bytes>(input));
  Wiped<Bytes> produced;
  const auto status = operation_->update(*input_bytes, std::nullopt, std::nullopt, &*produced);
  if (status.isOk()) AppendSecret(*produced, output);
  return GetReturnErrorCode(status);
}

int KeyMintService::Finish(const std::string& input, const std::string& signature,
                           std::string* output) {
  const Wiped<std::optional<Bytes>> input_bytes(CopyOf<Bytes>(input));
  Wiped<Bytes> produced;
  const int result =
      FinishBytes(*input_bytes, CopyOf<Bytes>(signature), output == nullptr ? nullptr : &*produced);
  if (output != nullptr) AppendSecret(*produced, output);
  return result;
}

int KeyMintService::FinishBytes(const std::optional<Bytes>& input,
                                const std::optional<Bytes>& signature, Bytes* output) {
  ORX_LOG("KM: Finish");
  if (operation_ == nullptr) {
    ORX_LOG("KM: invalid keymint operation handle");
    return kNullPointer;
  }
  if (output == nullptr) {
    ORX_LOG("KM: invalid output to hold the data");
    return kNullPointer;
  }

  const auto status =
      operation_->finish(input, signature, std::nullopt, std::nullopt, std::nullopt, output);
  if (!status.isOk()) {
    Wipe(*output);
    output->clear();
  }
  operation_.reset();
  return GetReturnErrorCode(status);
}

}  // namespace android::hardware::keymint::ORX
