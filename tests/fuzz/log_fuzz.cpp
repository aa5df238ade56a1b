// SPDX-License-Identifier: Apache-2.0
// What the tool makes of log lines, of a modem's answer and of the lines that its children send.
#include "tests/fuzz/fuzz.h"
#include "tools/orx/cli/json_lines.h"
#include "tools/orx/diagnosis/diagnostics.h"
#include "tools/orx/diagnosis/modem_answer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  orx_fuzz::Input in(data, size);
  const uint8_t choice = in.Byte();
  const std::string text = in.RestText();
  orx_tool::ParseLines(text);

  std::vector<orx_tool::LogLine> lines;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(orx_tool::SplitLogLine(text.substr(begin, end - begin)));
    begin = end + 1;
  }
  for (const orx_tool::LogLine& line : lines) {
    const auto match = orx_tool::MatchMessage(line.message);
    if (match) ORX_FUZZ_CHECK(match->message != nullptr);
    ORX_FUZZ_CHECK(orx_tool::MaskIdentifiers(line.message).size() <= line.message.size() + 3);
  }
  ORX_FUZZ_CHECK(!orx_tool::Diagnose(lines).code.empty());
  ORX_FUZZ_CHECK(!orx_tool::DiagnoseTimeOut(lines, 1).code.empty());
  ORX_FUZZ_CHECK(!orx_tool::DiagnoseKeyMint(lines, -choice).code.empty());
  const auto answer = orx_tool::ModemAnswer(lines);
  orx_tool::ExplainModemAnswer(answer ? *answer : text, choice % 2 == 0 ? 15 : 14);
  return 0;
}
