// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/args.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tools/orx/cli/encoding.h"
#include "tools/orx/commands/commands.h"
#include "tools/orx/commands/padding.h"

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

TEST(PaddingTest, AddsAndFindsEveryLength) {
  for (size_t size = 0; size <= 32; ++size) {
    std::vector<uint8_t> bytes(size + kAesBlockBytes, 0xaa);
    const size_t padded = AddPadding(bytes.data(), size);
    EXPECT_EQ(padded % kAesBlockBytes, 0u);
    EXPECT_EQ(PaddingLength(bytes.data(), padded), padded - size);
  }
}

TEST(PaddingTest, RefusesEverythingElse) {
  std::vector<uint8_t> block(16, 16);
  EXPECT_EQ(PaddingLength(block.data(), 16), 16u);
  EXPECT_FALSE(PaddingLength(block.data(), 0));
  EXPECT_FALSE(PaddingLength(block.data(), 15));
  for (const uint8_t last : {0, 17, 255}) {
    block[15] = last;
    EXPECT_FALSE(PaddingLength(block.data(), 16)) << int{last};
  }
  block[15] = 16;
  block[0] = 15;
  EXPECT_FALSE(PaddingLength(block.data(), 16));
}

TEST(EncodingTest, ReadsHexWithSeparators) {
  const auto bytes = ParseHex("00:fF 1\n0");
  ASSERT_TRUE(bytes);
  EXPECT_EQ(ToHex(bytes->data(), bytes->size()), "00ff10");
  for (const char* text : {"0", "0g", "000", "-1"}) EXPECT_FALSE(ParseHex(text)) << text;
}

TEST(EncodingTest, WritesBase64OfEveryRemainder) {
  const uint8_t bytes[] = {'f', 'o', 'o', 'b'};
  EXPECT_EQ(Encode(Format::kBase64, bytes, 0), "\n");
  EXPECT_EQ(Encode(Format::kBase64, bytes, 1), "Zg==\n");
  EXPECT_EQ(Encode(Format::kBase64, bytes, 3), "Zm9v\n");
  EXPECT_EQ(Encode(Format::kBase64, bytes, 4), "Zm9vYg==\n");
}

}  // namespace
}  // namespace orx_tool
