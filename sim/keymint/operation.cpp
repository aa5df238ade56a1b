// SPDX-License-Identifier: Apache-2.0
#include "sim/keymint/operation.h"

#include <utility>

#include "sim/keymint/status.h"

namespace orx_sim {

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
