// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/KeyParameter.h>

#include <string>
#include <vector>

namespace orx_test {

// Text returns the parameters as "TAG=value " each, in order.
inline std::string Text(
    const std::vector<::aidl::android::hardware::security::keymint::KeyParameter>& parameters) {
  std::string text;
  for (const auto& parameter : parameters) {
    const std::string value = parameter.value.toString();
    text += toString(parameter.tag) + "=" + value.substr(value.find(": ") + 2);
    text.back() = ' ';
  }
  return text;
}

}  // namespace orx_test
