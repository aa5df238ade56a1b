// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/parsedouble.h>
#include <android-base/parseint.h>
#include <android-base/strings.h>

#include <string>

// How an effect is written that takes a number, the same for calls and for the modem.
namespace orx_sim {

// EffectForm is "NAME", or "NAME=ARGUMENT" of an effect that has an argument.
inline std::string EffectForm(const char* name, const char* argument) {
  return argument == nullptr ? name : name + std::string("=") + argument;
}

// ParseEffectForm takes a text of that form. `*number` gets the number, milliseconds if the
// argument is called SECONDS; it is left alone if there is none to be given.
inline bool ParseEffectForm(const std::string& text, const char* name, const char* argument,
                            int* number) {
  if (argument == nullptr) return text == name;
  std::string_view rest = text;
  if (!android::base::ConsumePrefix(&rest, name) || !android::base::ConsumePrefix(&rest, "=")) {
    return false;
  }
  if (argument != std::string("SECONDS")) return android::base::ParseInt(std::string(rest), number);
  constexpr double kMostSeconds = 3600;
  double seconds = 0;
  if (!android::base::ParseDouble(std::string(rest).c_str(), &seconds, 0.0, kMostSeconds)) {
    return false;
  }
  *number = static_cast<int>(seconds * 1000);
  return true;
}

}  // namespace orx_sim
