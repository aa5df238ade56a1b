// SPDX-License-Identifier: Apache-2.0
#include "sim/keymint/operation.h"

#include "sim/keymint/keymint_device.h"

namespace orx_sim {

const EVP_MD* DigestFunction(km::Digest digest) {
  switch (digest) {
    case km::Digest::MD5:
      return EVP_md5();
    case km::Digest::SHA1:
      return EVP_sha1();
    case km::Digest::SHA_2_224:
      return EVP_sha224();
    case km::Digest::SHA_2_256:
      return EVP_sha256();
    case km::Digest::SHA_2_384:
      return EVP_sha384();
    case km::Digest::SHA_2_512:
      return EVP_sha512();
    default:
      return nullptr;
  }
}

Operation::Operation(std::unique_ptr<Computation> computation,
                     std::unique_ptr<OperationSlots::Slot> slot)
    : computation_(std::move(computation)), slot_(std::move(slot)) {}

void Operation::Close() {
  computation_.reset();
  slot_.reset();
}

ndk::ScopedAStatus Operation::CloseWith(ErrorCode code) {
  Close();
  return AsStatus(code);
}

// No mode that is offered here authenticates additional data.
ndk::ScopedAStatus Operation::updateAad(const Bytes&, const Token&, const TimeStamp&) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (computation_ == nullptr) return AsStatus(ErrorCode::INVALID_OPERATION_HANDLE);
  return CloseWith(ErrorCode::INVALID_TAG);
}

ndk::ScopedAStatus Operation::update(const Bytes& input, const Token&, const TimeStamp&,
                                     Bytes* output) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (computation_ == nullptr) return AsStatus(ErrorCode::INVALID_OPERATION_HANDLE);
  Bytes ready;
  const ErrorCode code = computation_->Update(input, &ready);
  if (code != ErrorCode::OK) return CloseWith(code);
  *output = std::move(ready);
  return AsStatus(code);
}

ndk::ScopedAStatus Operation::finish(const std::optional<Bytes>& input,
                                     const std::optional<Bytes>& signature, const Token&,
                                     const TimeStamp&, const std::optional<Bytes>&, Bytes* output) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (computation_ == nullptr) return AsStatus(ErrorCode::INVALID_OPERATION_HANDLE);
  Bytes ready;
  const ErrorCode code =
      computation_->Finish(input.value_or(Bytes()), signature.value_or(Bytes()), &ready);
  if (code == ErrorCode::OK) *output = std::move(ready);
  return CloseWith(code);
}

ndk::ScopedAStatus Operation::abort() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (computation_ == nullptr) return AsStatus(ErrorCode::INVALID_OPERATION_HANDLE);
  return CloseWith(ErrorCode::OK);
}

}  // namespace orx_sim
