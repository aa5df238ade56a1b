// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/BeginResult.h>
#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <aidl/android/hardware/security/keymint/KeyCreationResult.h>
#include <aidl/android/hardware/security/keymint/MacedPublicKey.h>
#include <aidl/android/hardware/security/sharedsecret/SharedSecretParameters.h>

#include "sim/base/bytes.h"
#include "sim/channel/faults.h"
#include "sim/keys/key_params.h"

namespace orx_sim {
namespace {

namespace ss = ::aidl::android::hardware::security::sharedsecret;

using Answer = std::function<ndk::ScopedAStatus()>;

Effect Status(Answer status) {
  Effect effect;
  effect.status = std::move(status);
  return effect;
}

Effect Transaction(int status) {
  return Status([status] { return ndk::ScopedAStatus::fromStatus(status); });
}

Effect Exception(int exception) {
  return Status([exception] { return ndk::ScopedAStatus::fromExceptionCode(exception); });
}

Effect DeadObject(int) {
  return Transaction(STATUS_DEAD_OBJECT);
}

Effect NullStatus(int) {
  return Status([] { return ndk::ScopedAStatus(); });
}

Effect EmptyCreatedBlob(int) {
  return Alter<km::KeyCreationResult>([](auto* created) { created->keyBlob.clear(); });
}

Effect EmptyBytes(int) {
  return Alter<Bytes>([](Bytes* bytes) { bytes->clear(); });
}

// What a device would answer that takes every key for an asymmetric one.
Effect Chain(int) {
  return Alter<km::KeyCreationResult>([](auto* created) {
    created->certificateChain.push_back({Bytes{0x30, 0x00}});
  });
}

Effect NoChain(int) {
  return Alter<km::KeyCreationResult>([](auto* created) { created->certificateChain.clear(); });
}

Effect NoRoot(int) {
  return Alter<km::KeyCreationResult>([](auto* created) {
    if (!created->certificateChain.empty()) created->certificateChain.pop_back();
  });
}

// The last byte of a certificate belongs to its signature.
Effect DamagedLeaf(int) {
  return Alter<km::KeyCreationResult>([](auto* created) {
    if (!created->certificateChain.empty()) {
      created->certificateChain.front().encodedCertificate.back() ^= 1;
    }
  });
}

void Damage(Bytes* bytes, size_t from_end) {
  if (bytes->size() >= from_end) *(bytes->end() - static_cast<ptrdiff_t>(from_end)) ^= 1;
}

void Cut(Bytes* bytes) {
  if (!bytes->empty()) bytes->pop_back();
}

Effect DamagedBytes(int) {
  return Alter<Bytes>([](Bytes* bytes) { Damage(bytes, 1); });
}

Effect CutBytes(int) {
  return Alter<Bytes>(Cut);
}

// The last byte of the y coordinate stands before the tag of 32 bytes and its head.
Effect DamagedPublicKey(int) {
  return Alter<km::MacedPublicKey>([](auto* key) { Damage(&key->macedKey, 35); });
}

Effect CutPublicKey(int) {
  return Alter<km::MacedPublicKey>([](auto* key) { Cut(&key->macedKey); });
}

constexpr int kMostBytes = 4096;

Effect SeedLength(int length) {
  if (length < 0 || length > kMostBytes) return {};
  return Alter<ss::SharedSecretParameters>(
      [length](auto* parameters) { parameters->seed.resize(static_cast<size_t>(length), 1); });
}

Effect NonceLength(int length) {
  if (length < 0 || length > kMostBytes) return {};
  return Alter<ss::SharedSecretParameters>(
      [length](auto* parameters) { parameters->nonce.resize(static_cast<size_t>(length), 1); });
}

Effect BeginParams(int) {
  return Alter<km::BeginResult>(
      [](auto* begun) { begun->params.push_back(BlobParam(Tag::NONCE, Bytes(16))); });
}

Effect NoOperation(int) {
  return Alter<km::BeginResult>([](auto* begun) { begun->operation.reset(); });
}

Effect Delay(int milliseconds) {
  Effect effect;
  effect.delay = std::chrono::milliseconds(milliseconds);
  return effect;
}

// The device, for which the key is not outdated, has no other blob to give: it is the same again.
Effect Outdated(int) {
  Effect upgrade;
  upgrade.alter = [old = std::make_shared<Bytes>()](const std::any& argument) {
    if (Bytes const* const* blob = std::any_cast<const Bytes*>(&argument)) *old = **blob;
    Bytes* const* upgraded = std::any_cast<Bytes*>(&argument);
    if (upgraded != nullptr && (*upgraded)->empty()) **upgraded = *old;
  };
  Effect effect = ServiceError(static_cast<int>(km::ErrorCode::KEY_REQUIRES_UPGRADE));
  effect.until = "upgradeKey";
  effect.at_end = std::make_shared<Effect>(std::move(upgrade));
  return effect;
}

Effect OtherVersion(int version) {
  return Alter<int32_t>([version](int32_t* answer) { *answer = version; });
}

}  // namespace

Effect ServiceError(int code) {
  return Status([code] { return ndk::ScopedAStatus::fromServiceSpecificError(code); });
}

const std::vector<EffectRow>& EffectRows() {
  static const std::vector<EffectRow> rows = {
      {"dead-object", "*", nullptr, DeadObject, "the service died during the call"},
      {"null-status", "*", nullptr, NullStatus, "no status object at all"},
      {"transaction", "*", "STATUS", Transaction, "the binder transaction fails with this status"},
      {"exception", "*", "CODE", Exception, "a status with this binder exception"},
      {"delay", "*", "SECONDS", Delay, "the call takes that much longer"},
      {"empty-blob", "importKey generateKey", nullptr, EmptyCreatedBlob, "success without a blob"},
      {"empty-blob", "upgradeKey", nullptr, EmptyBytes, "success without a blob"},
      {"chain", "importKey generateKey", nullptr, Chain, "one certificate too many in the answer"},
      {"no-chain", "importKey generateKey", nullptr, NoChain, "no certificate in the answer"},
      {"no-root", "importKey generateKey", nullptr, NoRoot, "the last certificate is missing"},
      {"damaged-leaf", "importKey generateKey", nullptr, DamagedLeaf,
       "the first certificate has another signature"},
      {"damaged", "getRootOfTrust computeSharedSecret finish", nullptr, DamagedBytes,
       "the last byte is another"},
      {"cut", "getRootOfTrust computeSharedSecret", nullptr, CutBytes, "the last byte is missing"},
      {"damaged", "generateEcdsaP256KeyPair", nullptr, DamagedPublicKey,
       "the public key is no point of its curve"},
      {"cut", "generateEcdsaP256KeyPair", nullptr, CutPublicKey,
       "the last byte of the public key's structure is missing"},
      {"seed", "getSharedSecretParameters", "LENGTH", SeedLength,
       "a seed of this many bytes, 0 to 4096"},
      {"nonce", "getSharedSecretParameters", "LENGTH", NonceLength,
       "a nonce of this many bytes, 0 to 4096"},
      {"outdated", "begin", nullptr, Outdated,
       "KEY_REQUIRES_UPGRADE (-62) until upgradeKey was called"},
      {"params", "begin", nullptr, BeginParams, "a nonce in the answer that nobody asked for"},
      {"no-operation", "begin", nullptr, NoOperation, "success without an operation"},
      {"version", "getInterfaceVersion", "N", OtherVersion, "another interface version"},
  };
  return rows;
}

}  // namespace orx_sim
