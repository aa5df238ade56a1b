// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace orx_tool {

// Option is one option of a command: `--name` and, where `letter` is set, `-letter`. `value` is the
// placeholder that the help shows for its value; null makes it a flag.
struct Option {
  const char* name;
  char letter;
  const char* value;
  const char* help;
};

inline constexpr Option kStrongBoxOption = {"strongbox", 0, nullptr,
                                            "the instance strongbox (else: default, the TEE's)"};

// Args is a parsed command line: the options given and the operands in order.
class Args {
 public:
  bool Has(const std::string& name) const { return values_.count(name) != 0; }
  // Get returns the value of an option, or `fallback` when it was not given.
  std::string Get(const std::string& name, const std::string& fallback = "") const;
  const std::vector<std::string>& operands() const { return operands_; }

  void Set(const std::string& name, const std::string& value) { values_[name] = value; }
  void AddOperand(const std::string& operand) { operands_.push_back(operand); }

 private:
  std::map<std::string, std::string> values_;
  std::vector<std::string> operands_;
};

// Options that every command takes.
const std::vector<Option>& GlobalOptions();
// Options of the program without a command.
const std::vector<Option>& StandaloneOptions();

// ParseOptions reads `words` (without the program's name) into *args. With `stop_at_operand` it
// ends at the first word that is no option; *rest then holds what was not read. Returns an empty
// string, or one line that says what is wrong.
std::string ParseOptions(const std::vector<std::string>& words, const std::vector<Option>& options,
                         bool stop_at_operand, Args* args, std::vector<std::string>* rest);

// ParseNumber reads a whole decimal integer within [low, high].
std::optional<long long> ParseNumber(const std::string& text, long long low, long long high);

// ParseSeconds reads a decimal number such as 120 or 0.5; SecondsText writes it as short.
std::optional<double> ParseSeconds(const std::string& text);
std::string SecondsText(double seconds);

}  // namespace orx_tool
