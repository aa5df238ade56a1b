// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/diagnosis/modem_answer.h"

#include <algorithm>

namespace orx_tool {
namespace {

size_t LongestDigitRun(const std::string& text) {
  size_t longest = 0;
  size_t run = 0;
  for (const char c : text) {
    run = c >= '0' && c <= '9' ? run + 1 : 0;
    longest = std::max(longest, run);
  }
  return longest;
}

bool Holds(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

std::string LengthFinding(const std::string& answer, size_t digits) {
  const size_t run = LongestDigitRun(answer);
  if (run == digits) return "";
  std::string finding =
      "it has " + std::to_string(run) + " digits in a row instead of " + std::to_string(digits);
  if (digits == 15 && run == 14) finding += " (an IMEI without its check digit)";
  if (digits == 15 && run == 16) finding += " (an IMEI with software version)";
  return finding;
}

}  // namespace

std::optional<std::string> ModemAnswer(const std::vector<LogLine>& lines) {
  std::optional<std::string> answer;
  const std::string begin = "AT data receive is ";
  for (const LogLine& line : lines) {
    if (line.message.rfind(begin, 0) != 0) continue;
    const size_t end = line.message.rfind(", data length is ");
    if (end != std::string::npos) {
      answer = line.message.substr(begin.size(), end - begin.size());
    }
  }
  return answer;
}

std::string ExplainModemAnswer(const std::string& answer, size_t digits) {
  std::vector<std::string> findings;
  if (Holds(answer, "ERROR")) {
    return "the modem answered ERROR: it does not know the command or has no such identifier";
  }
  if (answer.rfind("AT", 0) == 0) findings.push_back("it repeats the command (echo is on)");
  if (Holds(answer, "\"")) findings.push_back("it has quotes");
  if (Holds(answer, "\nOK") || Holds(answer, "\rOK")) findings.push_back("it ends with OK");
  const bool hex = answer.size() == digits &&
                   answer.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos &&
                   LongestDigitRun(answer) != digits;
  if (hex) findings.push_back("it has hexadecimal letters, which are refused on purpose");
  const std::string length = LengthFinding(answer, digits);
  if (!hex && !length.empty()) findings.push_back(length);
  if (findings.empty()) return "";
  std::string text = "the modem's answer is not the digits alone: ";
  for (size_t i = 0; i < findings.size(); ++i) text += (i > 0 ? ", " : "") + findings[i];
  return text;
}

}  // namespace orx_tool
