// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/BnKeyMintOperation.h>
#include <openssl/digest.h>

#include <memory>
#include <mutex>
#include <optional>

#include "sim/base/bytes.h"
#include "sim/keymint/begin_rules.h"
#include "sim/keymint/operation_slots.h"

namespace orx_sim {

// Computation is the cryptography of one operation. Both functions append what is ready to `*out`.
class Computation {
 public:
  virtual ~Computation() = default;
  virtual ErrorCode Update(const Bytes& input, Bytes* out) = 0;
  // Gets the last input and, for verification, the signature.
  virtual ErrorCode Finish(const Bytes& input, const Bytes& signature, Bytes* out) = 0;
};

// DigestFunction returns the function of a digest, null for NONE.
const EVP_MD* DigestFunction(km::Digest digest);

// StartAes and StartRsa begin the computation of a checked request, null if the key is unusable.
// AES makes a nonce where one is needed and none is given.
std::unique_ptr<Computation> StartAes(const Key& key, bool encrypt, AesMode* mode);
std::unique_ptr<Computation> StartRsa(const Key& key, km::KeyPurpose purpose, const RsaMode& mode);

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
