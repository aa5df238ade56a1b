// SPDX-License-Identifier: Apache-2.0
#include "sim/keys/key_vault.h"

#include <openssl/aead.h>
#include <openssl/bytestring.h>
#include <openssl/rand.h>
#include <openssl/sha.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <utility>

#include "sim/keys/private_key.h"

namespace orx_sim {
namespace {

using Value = km::KeyParameterValue;

constexpr uint8_t kHeader[] = {'O', 'S', 'K', 'B', 1};
constexpr size_t kNonceBytes = 12;
constexpr size_t kTagBytes = 16;
constexpr size_t kSealingKeyBytes = 32;
constexpr size_t kMostPairs = 64;

void Random(uint8_t* out, size_t length) {
  if (RAND_bytes(out, length) != 1) abort();
}

class Writer {
 public:
  void Raw(const uint8_t* data, size_t length) { bytes_.insert(bytes_.end(), data, data + length); }
  void Number(uint64_t value, int width) {
    for (int i = 0; i < width; ++i) bytes_.push_back(static_cast<uint8_t>(value >> (8 * i)));
  }
  template <typename Container>
  void Counted(const Container& data) {
    Number(data.size(), 4);
    Raw(data.data(), data.size());
  }
  SecretBytes Take() { return std::move(bytes_); }

 private:
  SecretBytes bytes_;
};

class Reader {
 public:
  explicit Reader(const SecretBytes& bytes) { CBS_init(&cbs_, bytes.data(), bytes.size()); }

  bool Raw(uint8_t* out, size_t length) { return CBS_copy_bytes(&cbs_, out, length) == 1; }
  bool Number(uint64_t* value, int width) {
    uint8_t bytes[8];
    if (!Raw(bytes, static_cast<size_t>(width))) return false;
    *value = 0;
    for (int i = width - 1; i >= 0; --i) *value = *value << 8 | bytes[i];
    return true;
  }
  template <typename Container>
  bool Counted(Container* data) {
    uint64_t length = 0;
    CBS content;
    if (!Number(&length, 4) || CBS_get_bytes(&cbs_, &content, length) != 1) return false;
    data->assign(CBS_data(&content), CBS_data(&content) + CBS_len(&content));
    return true;
  }
  bool AtEnd() const { return CBS_len(&cbs_) == 0; }

 private:
  CBS cbs_;
};

void WriteParam(const km::KeyParameter& param, Writer* out) {
  out->Number(static_cast<uint32_t>(param.tag), 4);
  out->Number(static_cast<uint8_t>(param.value.getTag()), 1);
  if (param.value.getTag() == Value::Tag::blob) {
    out->Counted(param.value.get<Value::blob>());
  } else {
    out->Number(static_cast<uint64_t>(NumberOf(param.value).value_or(0)), 8);
  }
}

bool ReadParam(Reader* in, km::KeyParameter* param) {
  uint64_t tag = 0;
  uint64_t kind = 0;
  if (!in->Number(&tag, 4) || !in->Number(&kind, 1)) return false;
  param->tag = static_cast<Tag>(static_cast<int32_t>(tag));
  if (static_cast<Value::Tag>(kind) == Value::Tag::blob) {
    Bytes blob;
    if (!in->Counted(&blob)) return false;
    param->value = Value::make<Value::blob>(std::move(blob));
    return true;
  }
  uint64_t number = 0;
  if (!in->Number(&number, 8)) return false;
  param->value = MakeNumber(static_cast<Value::Tag>(kind), static_cast<int64_t>(number));
  return true;
}

SecretBytes Encode(const Key& key) {
  Writer out;
  out.Raw(key.id.data(), key.id.size());
  out.Raw(key.hidden.data(), key.hidden.size());
  out.Number(key.era, 4);
  out.Number(key.authorizations.size(), 4);
  for (const km::KeyParameter& param : key.authorizations) WriteParam(param, &out);
  out.Counted(key.pair == nullptr ? key.secret : EncodePrivateKey(key.pair.get()));
  return out.Take();
}

bool Decode(const SecretBytes& bytes, Key* key, SecretBytes* material) {
  Reader in(bytes);
  uint64_t era = 0;
  uint64_t count = 0;
  if (!in.Raw(key->id.data(), key->id.size()) || !in.Raw(key->hidden.data(), key->hidden.size()) ||
      !in.Number(&era, 4) || !in.Number(&count, 4)) {
    return false;
  }
  key->era = static_cast<uint32_t>(era);
  key->authorizations.clear();
  for (uint64_t i = 0; i < count; ++i) {
    km::KeyParameter param;
    if (!ReadParam(&in, &param)) return false;
    key->authorizations.push_back(std::move(param));
  }
  return in.Counted(material) && in.AtEnd();
}

bssl::UniquePtr<EVP_AEAD_CTX> NewAead(const SecretBytes& key) {
  return bssl::UniquePtr<EVP_AEAD_CTX>(
      EVP_AEAD_CTX_new(EVP_aead_aes_256_gcm(), key.data(), key.size(), kTagBytes));
}

}  // namespace

HiddenDigest DigestHidden(const Bytes& application_id, const Bytes& application_data) {
  Writer text;
  text.Counted(application_id);
  text.Counted(application_data);
  const SecretBytes bytes = text.Take();
  HiddenDigest digest;
  SHA256(bytes.data(), bytes.size(), digest.data());
  return digest;
}

HiddenDigest DigestHidden(const KeyParams& params) {
  return DigestHidden(BlobOrEmpty(params, Tag::APPLICATION_ID),
                      BlobOrEmpty(params, Tag::APPLICATION_DATA));
}

KeyVault::KeyVault(std::shared_ptr<DeviceFolder> folder, std::string instance)
    : folder_(std::move(folder)),
      instance_(std::move(instance)),
      sealing_key_(folder_->DeriveKey("key blobs of " + instance_, kSealingKeyBytes)) {}

Key KeyVault::NewKey(const KeyParams& params) const {
  Key key;
  Random(key.id.data(), key.id.size());
  key.hidden = DigestHidden(params);
  key.era = folder_->Era(instance_);
  return key;
}

Bytes KeyVault::Seal(const Key& key) const {
  const SecretBytes plain = Encode(key);
  Bytes blob(std::begin(kHeader), std::end(kHeader));
  blob.resize(sizeof(kHeader) + kNonceBytes + plain.size() + kTagBytes);
  uint8_t* const nonce = blob.data() + sizeof(kHeader);
  uint8_t* const sealed = nonce + kNonceBytes;
  Random(nonce, kNonceBytes);
  size_t length = 0;
  const bssl::UniquePtr<EVP_AEAD_CTX> aead = NewAead(sealing_key_);
  if (EVP_AEAD_CTX_seal(aead.get(), sealed, &length, plain.size() + kTagBytes, nonce, kNonceBytes,
                        plain.data(), plain.size(), kHeader, sizeof(kHeader)) != 1) {
    abort();
  }
  return blob;
}

bool KeyVault::Unseal(const Bytes& blob, Key* key) const {
  constexpr size_t kOverhead = sizeof(kHeader) + kNonceBytes + kTagBytes;
  if (blob.size() < kOverhead || memcmp(blob.data(), kHeader, sizeof(kHeader)) != 0) return false;
  const uint8_t* const nonce = blob.data() + sizeof(kHeader);
  const uint8_t* const sealed = nonce + kNonceBytes;
  const size_t sealed_length = blob.size() - sizeof(kHeader) - kNonceBytes;
  SecretBytes plain(blob.size() - kOverhead);
  SecretBytes material;
  size_t length = 0;
  const bssl::UniquePtr<EVP_AEAD_CTX> aead = NewAead(sealing_key_);
  return EVP_AEAD_CTX_open(aead.get(), plain.data(), &length, plain.size(), nonce, kNonceBytes,
                           sealed, sealed_length, kHeader, sizeof(kHeader)) == 1 &&
         Decode(plain, key, &material) && TakeMaterial(std::move(material), key);
}

bool KeyVault::TakeMaterial(SecretBytes material, Key* key) const {
  if (key->algorithm() == km::Algorithm::AES) {
    key->secret = std::move(material);
    return true;
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto known = pairs_.find(key->id);
  if (known != pairs_.end()) {
    key->pair = bssl::UpRef(known->second);
    return true;
  }
  key->pair = ParsePrivateKey(material.data(), material.size());
  if (key->pair == nullptr) return false;
  if (pairs_.size() == kMostPairs) pairs_.clear();
  pairs_[key->id] = bssl::UpRef(key->pair);
  return true;
}

bool KeyVault::Open(const Bytes& blob, const HiddenDigest& hidden, Key* key) const {
  return Unseal(blob, key) && key->hidden == hidden &&
         !folder_->IsDeleted(instance_, key->era, key->id);
}

bool KeyVault::Delete(const Key& key) const {
  return folder_->IsDeleted(instance_, key.era, key.id) || folder_->DeleteKey(instance_, key.id);
}

bool KeyVault::DeleteAll() const {
  return folder_->DeleteAllKeys(instance_);
}

}  // namespace orx_sim
