// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

namespace orx_sim {

enum class VerifiedBootState { kVerified = 0, kSelfSigned = 1, kUnverified = 2, kFailed = 3 };

// RootOfTrust is what verified boot told the secure hardware. The defaults are those of every
// simulated device: an unlocked bootloader and an unverified system, so that no verifier takes a
// simulated attestation for one of a locked device.
struct RootOfTrust {
  std::array<uint8_t, 32> verified_boot_key{};
  bool device_locked = false;
  VerifiedBootState verified_boot_state = VerifiedBootState::kUnverified;
  std::array<uint8_t, 32> verified_boot_hash{};
  int32_t boot_patch_level = 0;  // YYYYMMDD
};

}  // namespace orx_sim
