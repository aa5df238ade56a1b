// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/terminal.h"

#include <gtest/gtest.h>

namespace orx_tool {
namespace {

TEST(PrintableTest, LetsNoControlCharacterThrough) {
  using std::string_literals::operator""s;
  const std::pair<std::string, std::string> cases[] = {
      {"plain text", "plain text"},
      {"\x1b[2J\r\n\t\x7f\0"s, "\\x1b[2J\\r\\n\\t\\x7f\\x00"},
      {"Stra\u00dfe \u20ac \U0001f511", "Stra\u00dfe \u20ac \U0001f511"},
      {"\xc2\x9b"
       "1m",
       "\\xc2\\x9b1m"},  // CSI as one character
      {"\xff\xc3", "\\xff\\xc3"},
      {"\xc0\x8a\xe0\x80\x8a", "\\xc0\\x8a\\xe0\\x80\\x8a"},  // overlong
      {"\xed\xa0\x80\xf4\x90\x80\x80", "\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80"}};
  for (const auto& [text, shown] : cases) EXPECT_EQ(Printable(text), shown);
}

TEST(WrappedTest, BreaksAtWordsUnderTheText) {
  const std::string line = "  try: one two three four five six seven";
  EXPECT_EQ(Wrapped(line, 0), line);
  EXPECT_EQ(Wrapped(line, line.size()), line);
  EXPECT_EQ(Wrapped(line, 10), line);  // no room to wrap in
  EXPECT_EQ(Wrapped(line, 30), "  try: one two three four five\n       six seven");
  EXPECT_EQ(Wrapped("one two three four", 20, 0), "one two three four");
  EXPECT_EQ(Wrapped("one two three four five", 20), "one two three four\nfive");
  EXPECT_EQ(Wrapped("one two: three four five", 20), "one two: three four\nfive");
  const std::string word(50, 'x');
  EXPECT_EQ(Wrapped("a " + word + " b c", 30, 2), "a\n  " + word + "\n  b c");
}

}  // namespace
}  // namespace orx_tool
