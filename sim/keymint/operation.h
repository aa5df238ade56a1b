// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/BnKeyMintOperation.h>

#include <memory>
#include <mutex>
#include <optional>

#include "sim/base/bytes.h"
#include "sim/keymint/algorithm.h"
#include "sim/keymint/operation_slots.h"

namespace orx_sim {

// Operation is an open operation. It is closed by finish, by abort and by any error; then every
// call answers INVALID_OPERATION_HANDLE and the slot is free.
class Operation : public km::BnKeyMintOperation {
 public:
  using Token = std::optional<km::HardwareAuthToken>;
  using TimeStamp = std::optional<::aidl::android::hardware::security::secureclock::TimeStampToken>;

  Operation(std::unique_ptr<Computation> computation, std::unique_ptr<OperationSlots::Slot> slot);

  ndk::ScopedAStatus updateAad(const Bytes& input, const Token& token,
                               const TimeStamp& time) override;
  ndk::ScopedAStatus update(const Bytes& input, const Token& token, const TimeStamp& time,
                            Bytes* output) override;
  ndk::ScopedAStatus finish(const std::optional<Bytes>& input,
                            const std::optional<Bytes>& signature, const Token& token,
                            const TimeStamp& time, const std::optional<Bytes>& confirmation,
                            Bytes* output) override;
  ndk::ScopedAStatus abort() override;

 private:
  void Close();
  ndk::ScopedAStatus CloseWith(ErrorCode code);

  std::mutex mutex_;
  std::unique_ptr<Computation> computation_;  // null: closed
  std::unique_ptr<OperationSlots::Slot> slot_;
};

}  // namespace orx_sim
