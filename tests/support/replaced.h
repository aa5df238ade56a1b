// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <regex.h>

#include <string>
#include <vector>

namespace orx_test {

// Replaced gives the text with `by` in the place of each match of a POSIX extended regular
// expression (regcomp(3)), which must not match nothing; its first group goes to `groups`.
// std::regex takes the compiler seconds a source.
inline std::string Replaced(std::string text, const std::string& expression, const std::string& by,
                            std::vector<std::string>* groups = nullptr) {
  regex_t regex;
  regmatch_t at[2];
  std::string replaced;
  regcomp(&regex, expression.c_str(), REG_EXTENDED);
  while (regexec(&regex, text.c_str(), 2, at, 0) == 0) {
    if (groups != nullptr) groups->push_back(text.substr(at[1].rm_so, at[1].rm_eo - at[1].rm_so));
    replaced += text.substr(0, at[0].rm_so) + by;
    text.erase(0, at[0].rm_eo);
  }
  regfree(&regex);
  return replaced + text;
}

}  // namespace orx_test
