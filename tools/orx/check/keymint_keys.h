// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/KeyFormat.h>
#include <aidl/android/hardware/security/keymint/KeyPurpose.h>
#include <keymint/authorization_set.h>

#include <string>
#include <vector>

namespace orx_tool {

// KeyUse is one operation with a key: what goes in, and what the crypto library makes of it.
struct KeyUse {
  std::string name;  // "decryption, RSA-2048, PKCS#1 padding"
  aidl::android::hardware::security::keymint::KeyPurpose purpose;
  android::hardware::keymint::ORX::AuthorizationSet params;
  std::string input;
  std::string expected;
  bool optional_on_strongbox = false;  // the standard leaves it to a StrongBox
};

// ExerciseKey is a key with the parameters under which the library imports its kind, and the
// library's operations with it. The keys are the same ones always and stand in this program: good
// for nothing but a test.
struct ExerciseKey {
  std::string name;
  android::hardware::keymint::ORX::AuthorizationSet import_params;
  aidl::android::hardware::security::keymint::KeyFormat format;
  std::string data;
  bool optional_on_strongbox = false;
  std::vector<KeyUse> uses;
};

// ExerciseKeys gives an AES-128 key and RSA keys of 2048 and 4096 bits.
std::vector<ExerciseKey> ExerciseKeys();

}  // namespace orx_tool
