// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/BeginResult.h>
#include <aidl/android/hardware/security/keymint/KeyCreationResult.h>

#include "sim/bytes.h"
#include "sim/faults.h"
#include "sim/key_params.h"

namespace orx_sim {
namespace {

using Answer = std::function<ndk::ScopedAStatus()>;

Effect Status(Answer status) {
  return {std::move(status), nullptr};
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

Effect BeginParams(int) {
  return Alter<km::BeginResult>(
      [](auto* begun) { begun->params.push_back(BlobParam(Tag::NONCE, Bytes(16))); });
}

Effect NoOperation(int) {
  return Alter<km::BeginResult>([](auto* begun) { begun->operation.reset(); });
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
      {"empty-blob", "importKey generateKey", nullptr, EmptyCreatedBlob, "success without a blob"},
      {"empty-blob", "upgradeKey", nullptr, EmptyBytes, "success without a blob"},
      {"chain", "importKey generateKey", nullptr, Chain, "one certificate too many in the answer"},
      {"no-chain", "importKey generateKey", nullptr, NoChain, "no certificate in the answer"},
      {"params", "begin", nullptr, BeginParams, "a nonce in the answer that nobody asked for"},
      {"no-operation", "begin", nullptr, NoOperation, "success without an operation"},
      {"version", "getInterfaceVersion", "N", OtherVersion, "another interface version"},
  };
  return rows;
}

}  // namespace orx_sim
