// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/help.h"

#include <ctype.h>

#include "tools/orx/commands/commands.h"

namespace orx_tool {
namespace {

constexpr size_t kColumn = 26;

std::string Aligned(const std::string& left, const char* right) {
  const size_t blanks = left.size() < kColumn ? kColumn - left.size() : 1;
  return "  " + left + std::string(blanks, ' ') + right + "\n";
}

std::string OptionLine(const Option& option) {
  std::string left = option.letter != 0 ? std::string("-") + option.letter + ", --" : "    --";
  left += option.name;
  if (option.value != nullptr) left += std::string(" ") + option.value;
  return Aligned(left, option.help);
}

std::string OptionLines(const char* heading, const std::vector<Option>& options) {
  if (options.empty()) return "";
  std::string text = std::string("\n") + heading + "\n";
  for (const Option& option : options) text += OptionLine(option);
  return text;
}

std::string Usage(const Command& command) {
  std::string text = command.name;
  if (*command.operands != 0) text += std::string(" ") + command.operands;
  return text;
}

bool InGroup(const Command& command, const std::string& word) {
  return std::string(command.name).rfind(word + " ", 0) == 0;
}

}  // namespace

std::string ProgramHelp() {
  std::string text =
      "usage: orx [OPTION]... COMMAND [ARGUMENT]...\n\n"
      "Keys in the secure hardware, small secrets, identifiers and self-tests of an Android\n"
      "device, through liborx.so. Each command takes --help.\n";
  for (const CommandGroup& group : CommandGroups()) {
    text += std::string("\n") + group.title + "\n";
    for (const Command& command : group.commands) text += Aligned(Usage(command), command.summary);
  }
  text += OptionLines("Options of every command:", GlobalOptions());
  text += OptionLines("Options without a command:", StandaloneOptions());
  text +=
      "\nExit codes: 0 done or passed, 1 failed, 2 usage, 3 not applicable to this device,\n"
      "4 environment (a service, folder, daemon, property or permission is missing), 5 timed out,\n"
      "128+N ended by signal N.\n"
      "'orx explain CODE' tells more about the code in brackets behind a failure.\n";
  return text;
}

std::string GroupHelp(const std::string& word) {
  std::string text = "usage: orx " + word + " COMMAND [ARGUMENT]...\n\nCommands:\n";
  for (const Command& command : Commands()) {
    if (InGroup(command, word)) text += Aligned(Usage(command), command.summary);
  }
  return text;
}

std::string CommandHelp(const Command& command) {
  std::string text = "usage: orx " + std::string(command.name) + " [OPTION]...";
  if (*command.operands != 0) text += std::string(" ") + command.operands;
  std::string summary = command.summary;
  summary[0] = static_cast<char>(toupper(summary[0]));
  text += "\n\n" + summary + ".\n";
  if (*command.details != 0) text += std::string("\n") + command.details;
  text += OptionLines("Options:", command.options);
  text += OptionLines("Options of every command:", GlobalOptions());
  return text;
}

}  // namespace orx_tool
