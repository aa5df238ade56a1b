// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/diagnosis/modem_answer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orx_tool {
namespace {

TEST(ExplainModemAnswerTest, NamesWhatIsOdd) {
  const std::tuple<const char*, size_t, const char*> cases[] = {
      {"490154203237518", 15, ""},
      {"A0000012345678", 14, "hexadecimal letters"},
      {"AT+CGSN\r\n490154203237518", 15, "echo is on"},
      {"490154203237518\r\n\r\nOK\r\n", 15, "ends with OK"},
      {"\"490154203237518\"", 15, "has quotes"},
      {"49015420323751", 15, "without its check digit"},
      {"4901542032375187", 15, "with software version"},
      {"", 15, "0 digits in a row instead of 15"},
      {"+CME ERROR: 3", 15, "answered ERROR"}};
  for (const auto& [answer, digits, explanation] : cases) {
    const std::string text = ExplainModemAnswer(answer, digits);
    EXPECT_THAT(text, testing::HasSubstr(explanation)) << answer;
    EXPECT_EQ(text.empty(), *explanation == 0) << answer;
  }
}

TEST(ModemAnswerTest, IsFoundInTheLog) {
  EXPECT_FALSE(ModemAnswer({{"", "Attempt to read at response."}}));
  const auto answer =
      ModemAnswer({{"", "AT data receive is one\r\ntwo, data length is 8"}, {"", "AT  success!"}});
  EXPECT_EQ(answer, "one\r\ntwo");
}

}  // namespace
}  // namespace orx_tool
