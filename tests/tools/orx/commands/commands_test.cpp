// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/commands/commands.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace orx_tool {
namespace {

TEST(CommandTable, HasUniqueNamesAndOptions) {
  std::vector<std::string> names;
  for (const Command& command : Commands()) {
    names.push_back(command.name);
    std::vector<std::string> options;
    std::string letters;
    for (const auto* list : {&command.options, &GlobalOptions()}) {
      for (const Option& option : *list) {
        options.push_back(option.name);
        if (option.letter != 0) letters += option.letter;
      }
    }
    std::sort(options.begin(), options.end());
    std::sort(letters.begin(), letters.end());
    EXPECT_EQ(std::adjacent_find(options.begin(), options.end()), options.end()) << command.name;
    EXPECT_EQ(std::adjacent_find(letters.begin(), letters.end()), letters.end()) << command.name;
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
}

}  // namespace
}  // namespace orx_tool
