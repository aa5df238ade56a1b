// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <json/json.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tools/orx/check/check.h"

namespace orx_tool {

// What KeyMint answers the check of remotely provisioned keys when it has no attestation keys of
// its own: a refusal that the check wants.
constexpr int kNotProvisioned = static_cast<int>(
    aidl::android::hardware::security::keymint::ErrorCode::ATTESTATION_KEYS_NOT_PROVISIONED);

// RepeatedCall is a binder call that the tool made itself, to see what the library's log does not
// tell: whether the service answered at all, and what.
struct RepeatedCall {
  std::string name;      // "strongbox sendRootOfTrust"; empty: no call was made
  bool answered = true;  // false: the transaction failed, the service did not answer
  int error = 0;         // the KeyMint error that it answered

  bool failed() const { return !answered || error != 0; }
  bool passed() const { return !name.empty() && !failed(); }
};

// SecondLook is what the tool looked at after the check.
struct SecondLook {
  bool strongbox_declared = true;  // in the device's manifest
  bool rkp_declared = true;        // for the check's instance
  bool remote_strongbox = false;   // the StrongBox's keys are provisioned remotely
  bool factory_keys = false;       // the instance attests with keys of its own
  bool remote_keys = false;        // the check of remotely provisioned keys passes
  RepeatedCall call;               // the failed one, or the last of those that passed
  uint32_t wrong_identifiers = 0;  // mask of those that KeyMint does not attest, one by one
  std::string wrong_length;        // which shared secret has not its length, if one has
  std::vector<std::string> chain_advice;
};

// LookAgain looks after a check that ended with the reason code `code`, in the check's own process.
SecondLook LookAgain(const Check& check, const std::string& code);

// The look as JSON, to send it to the parent process.
Json::Value LookToJson(const SecondLook& look);
SecondLook LookFromJson(const Json::Value& json);

}  // namespace orx_tool
