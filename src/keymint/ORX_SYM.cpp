// SPDX-License-Identifier: Apache-2.0
#include "keymint/ORX_SYM.h"

#include <stdlib.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "common/secret.h"
#include "keymint/key_blob_file.h"
#include "orx_log.h"

namespace android::hardware::keymint::ORX {

std::vector<uint8_t> current_key_blob_;

namespace {

constexpr int kNoKey = 0;
constexpr int kKeyTypeAes128 = 0;
constexpr int kAes128KeyBytes = 16;
constexpr unsigned kLastKeyMode = 1;
constexpr mode_t kBlobFileMode = 0666;

int current_key_id = kNoKey;
KeyMintService* symmetric_service = nullptr;
KeyRepository repository = MakeKeyRepository();

bool StoreKeyBlob(KeyRepositoryEntry& entry, const std::vector<uint8_t>& blob) {
  ORX_LOG("SYM: Importing key with len: %d", static_cast<int>(blob.size()));
  switch (WriteBlobFile(entry, kBlobFileMode, blob)) {
    case BlobFileResult::kStored:
      return true;
    case BlobFileResult::kStoredWithoutSync:
      ORX_LOG("SYM: Current file system does not support sync");
      return true;
    case BlobFileResult::kWriteFailed:
      ORX_LOG("SYM: Fail to store key blob to filesystem");
      return false;
    case BlobFileResult::kSyncFailed:
      ORX_LOG("SYM: Failed to fsync ");
      return false;
  }
  return false;
}

// Imports the key into KeyMint and hands out its blob, which is empty when the service fails with a
// service-specific error of code 0.
bool ImportAesKey(const uint8_t* key, int key_length, std::vector<uint8_t>* blob) {
  const orx_common::Wiped<std::string> key_bytes(reinterpret_cast<const char*>(key),
                                                 static_cast<size_t>(key_length));
  AuthorizationSetBuilder params;
  params.Authorization(TAG_NO_AUTH_REQUIRED)
      .Authorization(TAG_CALLER_NONCE)
      .AesEncryptionKey(static_cast<uint32_t>(key_length) * 8)
      .Authorization(TAG_BLOCK_MODE, km::BlockMode::CBC)
      .Padding(km::PaddingMode::NONE);
  std::vector<km::KeyCharacteristics> characteristics;
  const int result =
      symmetric_service->ImportKey(params, km::KeyFormat::RAW, *key_bytes, blob, &characteristics);
  if (result == 0) return true;
  ORX_LOG("SYM: Import key failed with error: %d\n", result);
  return false;
}

uint32_t ImportProtectedKey(int key_type, int key_id, const uint8_t* key, int key_length,
                            _ORX_SYM_CONTEXT_S** context) {
  ORX_LOG("SYM: Importing key for keyid=%d", key_id);
  InitSymKeymintService();
  if (key_id == kNoKey || key == nullptr || context == nullptr) {
    ORX_LOG("SYM: No symmetric key to import");
    return 1;
  }
  if (key_length != kAes128KeyBytes) {
    ORX_LOG("SYM: Invalid key length %d for id %d", key_length, key_id);
    return 1;
  }
  if (key_type != kKeyTypeAes128) {
    ORX_LOG("SYM: Key algorithm or size %d", key_type);
    return 1;
  }
  std::vector<uint8_t> blob;
  if (!ImportAesKey(key, key_length, &blob)) return 1;

  // After the import on purpose, see the header's WARNING.
  KeyRepositoryEntry* entry = FindKeyRepositoryEntry(repository, key_id);
  if (entry == nullptr) {
    ORX_LOG("SYM: Could not find a repository for keyid=%d", key_id);
    return 1;
  }
  if (!StoreKeyBlob(*entry, blob)) return 1;
  return GetContextForID(context, key_id);
}

uint32_t DeleteKeyId(int key_id) {
  ORX_LOG("SYM: Deleting key for keyid=%d", key_id);
  InitSymKeymintService();
  if (key_id != current_key_id) return 1;

  const int result = symmetric_service->DeleteKey(&current_key_blob_, false);
  if (result != 0) {
    // The id stays selected with an empty blob on purpose, see the header's WARNING.
    ORX_LOG("SYM: delete key failed: %d", result);
    return 1;
  }
  ORX_LOG("SYM: delete key completed");
  current_key_id = kNoKey;
  std::vector<uint8_t>().swap(current_key_blob_);
  return 0;
}

uint32_t GetSelectedId(int* key_id) {
  if (current_key_id == kNoKey) {
    ORX_LOG("SYM: current key id is invalid");
    return 1;
  }
  *key_id = current_key_id;
  return 0;
}

}  // namespace

void InitSymKeymintService() {
  if (symmetric_service != nullptr) return;
  ORX_LOG("Create symmetric keymint service instance");
  symmetric_service = new KeyMintService(false);
}

uint32_t GetContextForID(_ORX_SYM_CONTEXT_S** context, int key_id) {
  if (key_id == kNoKey) {
    ORX_LOG("SYM: Invalid key id");
    return 1;
  }
  if (context == nullptr) {
    ORX_LOG("SYM: Invalid crypto context");
    return 1;
  }
  KeyRepositoryEntry* entry = FindKeyRepositoryEntry(repository, key_id);
  if (entry == nullptr) {
    ORX_LOG("SYM: keyid=%d not found from the key list", key_id);
    return 1;
  }
  std::string content;
  switch (ReadBlobFile(*entry, &content)) {
    case BlobFileContent::kLoaded:
      break;
    case BlobFileContent::kUnreadable:
      ORX_LOG("SYM: Failed to read key blob from %s", entry->path);
      return 1;
    case BlobFileContent::kOtherLength:
      ORX_LOG("SYM: Failed to load correct keyblob");
      return 1;
  }

  current_key_id = key_id;
  current_key_blob_ = orx_common::CopyOf<std::vector<uint8_t>>(content);
  *context = nullptr;
  ORX_LOG("SYM: Key blob size: %d for %d is loaded ok", static_cast<int>(content.size()), key_id);
  return 0;
}

uint32_t ORX_Process_AES_Begin(const unsigned char* iv, int iv_length, int mode,
                               km::KeyPurpose purpose) {
  ORX_LOG("SYM: Begin with keyid=%d, mode:%d", current_key_id, mode);
  InitSymKeymintService();
  if (current_key_id == kNoKey) {
    ORX_LOG("SYM: No key loaded");
    return 1;
  }
  if (iv == nullptr) {
    ORX_LOG("SYM: Invalid initial vector");
    return 1;
  }
  if (static_cast<unsigned>(mode) > kLastKeyMode) {
    ORX_LOG("SYM: Unsupported key mode");
    return 1;
  }

  // KeyMint judges the IV's length; one below 1 is an empty nonce.
  AuthorizationSetBuilder params;
  params.Authorization(TAG_BLOCK_MODE, km::BlockMode::CBC)
      .Authorization(TAG_NONCE, iv, static_cast<size_t>(std::max(iv_length, 0)))
      .Padding(km::PaddingMode::NONE);
  const char* direction = purpose == km::KeyPurpose::DECRYPT ? "decrypt" : "encrypt";
  const int result = symmetric_service->Begin(purpose, current_key_blob_, params);
  if (result != 0) {
    ORX_LOG("SYM: AES begin (%s) failed, code:%d, blob size:%d", direction, result,
            static_cast<int>(current_key_blob_.size()));
    return 1;
  }
  ORX_LOG("SYM: AES begin (%s) operation OK", direction);
  return 0;
}

uint32_t ORX_Process_AES_Finish(const unsigned char* input, unsigned char* output,
                                unsigned int* length) {
  ORX_LOG("SYM: Operation with key id=%d", current_key_id);
  // Read before the checks, see the header's WARNING; copying from null need not end the process.
  if (input == nullptr && *length != 0) abort();
  const orx_common::Wiped<std::optional<std::vector<uint8_t>>> input_bytes(std::in_place, input,
                                                                           input + *length);
  InitSymKeymintService();
  if (input == nullptr || output == nullptr) {
    ORX_LOG("SYM: Invalid input parameters");
    return 1;
  }

  orx_common::Wiped<std::vector<uint8_t>> produced;
  const int result =
      symmetric_service->FinishBytes(*input_bytes, std::vector<uint8_t>(), &*produced);
  if (result != 0) {
    ORX_LOG("SYM: Finish failed with code: %d", result);
    return 1;
  }
  ORX_LOG("SYM: Finish with output size: %d", static_cast<int>((*produced).size()));
  std::copy_n((*produced).data(), std::min<size_t>((*produced).size(), *length), output);
  return 0;
}

}  // namespace android::hardware::keymint::ORX

namespace orx = android::hardware::keymint::ORX;

uint32_t ORX_SYM_ImportProtectedKey(int key_type, int key_id, const uint8_t* key, int key_length,
                                    _ORX_SYM_CONTEXT_S** context) {
  return orx::ImportProtectedKey(key_type, key_id, key, key_length, context);
}

uint32_t ORX_SYM_GetContextForID(_ORX_SYM_CONTEXT_S** context, int key_id) {
  return orx::GetContextForID(context, key_id);
}

uint32_t ORX_SYM_GetIDFromContext(_ORX_SYM_CONTEXT_S* /*context*/, int* key_id) {
  return orx::GetSelectedId(key_id);
}

uint32_t ORX_SYM_DestroyContext(_ORX_SYM_CONTEXT_S* /*context*/) {
  orx::current_key_id = orx::kNoKey;
  return 0;
}

uint32_t ORX_SYM_DeleteKeyID(int key_id) {
  return orx::DeleteKeyId(key_id);
}

uint32_t ORX_SYM_EncryptBegin(_ORX_SYM_CONTEXT_S* /*context*/, const uint8_t* iv, int iv_length,
                              int mode) {
  return orx::ORX_Process_AES_Begin(iv, iv_length, mode, orx::km::KeyPurpose::ENCRYPT);
}

uint32_t ORX_SYM_DecryptBegin(_ORX_SYM_CONTEXT_S* /*context*/, const uint8_t* iv, int iv_length,
                              int mode) {
  return orx::ORX_Process_AES_Begin(iv, iv_length, mode, orx::km::KeyPurpose::DECRYPT);
}

uint32_t ORX_SYM_Encrypt(_ORX_SYM_CONTEXT_S* /*context*/, const uint8_t* input, uint8_t* output,
                         uint32_t* length) {
  return orx::ORX_Process_AES_Finish(input, output, length);
}

uint32_t ORX_SYM_Decrypt(_ORX_SYM_CONTEXT_S* /*context*/, const uint8_t* input, uint8_t* output,
                         uint32_t* length) {
  return orx::ORX_Process_AES_Finish(input, output, length);
}

uint32_t ORX_SYM_EncryptEnd(_ORX_SYM_CONTEXT_S* /*context*/) {
  return 0;
}

uint32_t ORX_SYM_DecryptEnd(_ORX_SYM_CONTEXT_S* /*context*/) {
  return 0;
}

uint32_t ORX_SYM_Decrypt_Wrapper(_ORX_SYM_CONTEXT_S* /*context*/, const uint8_t* /*input*/,
                                 uint8_t* /*output*/, uint32_t* /*length*/) {
  return 1;
}
