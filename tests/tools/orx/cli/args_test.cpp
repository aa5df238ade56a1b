// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/args.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orx_tool {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::vector<Option> kOptions = {{"input", 'i', "FILE", ""}, {"loud", 'l', nullptr, ""}};

struct Parsed {
  std::string error;
  Args args;
  std::vector<std::string> rest;
};

Parsed Parse(const std::vector<std::string>& words, bool stop_at_operand = false) {
  Parsed parsed;
  parsed.error = ParseOptions(words, kOptions, stop_at_operand, &parsed.args, &parsed.rest);
  return parsed;
}

TEST(ParseOptionsTest, TakesOptionsAmongOperands) {
  const Parsed parsed = Parse({"50", "-i", "a", "--loud", "x"});
  EXPECT_EQ(parsed.error, "");
  EXPECT_EQ(parsed.args.Get("input"), "a");
  EXPECT_TRUE(parsed.args.Has("loud"));
  EXPECT_THAT(parsed.rest, ElementsAre("50", "x"));
}

TEST(ParseOptionsTest, StopsAtTheCommandWord) {
  const Parsed parsed = Parse({"--loud", "key", "--input", "a"}, true);
  EXPECT_TRUE(parsed.args.Has("loud"));
  EXPECT_THAT(parsed.rest, ElementsAre("key", "--input", "a"));
}

TEST(ParseOptionsTest, LeavesNegativeNumbersAfterTheDashes) {
  EXPECT_THAT(Parse({"--", "-3"}).rest, ElementsAre("-3"));
}

struct ErrorCase {
  std::vector<std::string> words;
  const char* error;
};

TEST(ParseOptionsTest, NamesTheOptionThatIsWrong) {
  const ErrorCase cases[] = {{{"--nothing"}, "'--nothing'"},
                             {{"-z"}, "'-z'"},
                             {{"50", "--input"}, "'--input' needs a value"},
                             {{"-i"}, "'-i' needs a value"},
                             {{"--loud=3"}, "'--loud' takes no value"}};
  for (const ErrorCase& c : cases) {
    EXPECT_THAT(Parse(c.words).error, HasSubstr(c.error));
  }
}

TEST(ParseNumberTest, TakesWholeNumbersInRangeOnly) {
  EXPECT_EQ(ParseNumber("-3", -5, 5), -3);
  for (const char* text : {"", "x", "3x", " 3", "6", "99999999999999999999"}) {
    EXPECT_FALSE(ParseNumber(text, -5, 5)) << text;
  }
}

}  // namespace
}  // namespace orx_tool
