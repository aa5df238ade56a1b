// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/program.h"

#include <orx/orx.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <sstream>

#include "tools/orx/cli/process.h"
#include "tools/orx/cli/signals.h"
#include "tools/orx/cli/supervisor.h"
#include "tools/orx/commands/commands.h"
#include "tools/orx/diagnosis/library_log.h"
#include "tools/orx/help.h"
#include "tools/orx/suggestion.h"

namespace orx_tool {
namespace {

constexpr const char kVersion[] = "orx " ORX_VERSION_STRING;
constexpr double kMinTimeoutSeconds = 0.1;
constexpr double kMaxTimeoutSeconds = 24 * 3600;

using Words = std::vector<std::string>;

// TakeCommand finds the command that `words` begin with and removes its name from them.
const Command* TakeCommand(Words* words) {
  for (const Command& command : Commands()) {
    const std::string name = command.name;
    const size_t name_words = name.find(' ') == std::string::npos ? 1 : 2;
    if (words->size() < name_words) continue;
    const std::string given = name_words == 1 ? (*words)[0] : (*words)[0] + " " + (*words)[1];
    if (given != name) continue;
    words->erase(words->begin(), words->begin() + static_cast<long>(name_words));
    return &command;
  }
  return nullptr;
}

bool IsGroup(const std::string& word) {
  return std::any_of(Commands().begin(), Commands().end(), [&](const Command& command) {
    return strncmp(command.name, (word + " ").c_str(), word.size() + 1) == 0;
  });
}

// DidYouMean names the command that `words` are close to, of one word or of two.
std::string DidYouMean(const Words& words) {
  Words singles;
  Words pairs;
  for (const Command& command : Commands()) {
    const std::string name = command.name;
    singles.push_back(name.substr(0, name.find(' ')));
    if (singles.back() != name) pairs.push_back(name);
  }
  std::string meant = words.size() > 1 ? Suggestion(words[0] + " " + words[1], pairs) : "";
  if (meant.empty() && !IsGroup(words[0])) meant = Suggestion(words[0], singles);
  return meant.empty() ? "" : "; did you mean '" + meant + "'?";
}

// UsageError reports before the options are understood, so it looks for --json itself.
int UsageError(const Words& words, const std::string& command, const std::string& text) {
  Settings settings;
  settings.json = std::find(words.begin(), words.end(), "--json") != words.end();
  return Output(settings, command).Fail(MakeProblem("USAGE", text));
}

int ShowHelp(const std::string& text) {
  printf("%s", text.c_str());
  return kDone;
}

// OperandName is what the command's usage calls the operand at `index`.
std::string OperandName(const Command& command, size_t index) {
  std::string name;
  std::istringstream names(command.operands);
  for (size_t i = 0; i <= index && names >> name; ++i) continue;
  while (!name.empty() && strchr("[].", name.back()) != nullptr) name.pop_back();
  return name.substr(name.find_first_not_of('['));
}

std::string CheckOperands(const Command& command, const Args& args) {
  const size_t count = args.operands().size();
  if (count < command.min_operands) return std::string("it needs ") + command.operands;
  if (count > command.max_operands) {
    return "unexpected argument '" + args.operands()[command.max_operands] + "'";
  }
  for (size_t i = 0; i < count; ++i) {
    if (args.operands()[i].empty()) return OperandName(command, i) + " is empty";
  }
  return "";
}

// ReadSettings takes the global options. Returns an empty string, or what is wrong with them.
std::string ReadSettings(const Args& args, Settings* settings) {
  settings->verbose = args.Has("verbose");
  settings->quiet = args.Has("quiet");
  settings->json_lines = args.Has("json-lines");
  settings->json = args.Has("json") || settings->json_lines;
  settings->show_ids = args.Has("show-ids");
  if (!args.Has("timeout")) return "";
  const auto seconds = ParseSeconds(args.Get("timeout"));
  if (!seconds || *seconds < kMinTimeoutSeconds || *seconds > kMaxTimeoutSeconds) {
    return "--timeout takes seconds, 0.1 to 86400";
  }
  settings->timeout_seconds = *seconds;
  return "";
}

// RunWithTimeout makes the library's calls in a child that can be ended: some block for ever.
int RunWithTimeout(const Command& command, const Args& args, Output& output, double seconds) {
  std::vector<LogLine> last(1);
  ChildWatch watch;
  watch.seconds = seconds;
  watch.on_line = [&](const std::string& line) {
    last[0] = ReceivedLogLine(line).value_or(last[0]);
  };
  const ChildResult result = RunInChild(
      [&](int fd) {
        SendLibraryLog(fd);
        return DeliverAnswer(command.run(args, output));
      },
      watch);
  if (output.interactive()) DrawStatus("");  // in the place of what the child drew last
  switch (result.end) {
    case ChildResult::End::kExited:
      return result.status;
    case ChildResult::End::kInterrupted:
      return 128 + result.status;
    case ChildResult::End::kCrashed:
      return output.Fail(MakeProblem(
          "LIBRARY-CRASHED", "the library call ended by signal " + std::to_string(result.status)));
    case ChildResult::End::kTimedOut:
      break;
  }
  return output.Fail(DiagnoseTimeOut(last, seconds));
}

int RunCommand(const Command& command, const Words& words, Args args) {
  std::vector<Option> options = command.options;
  options.insert(options.end(), GlobalOptions().begin(), GlobalOptions().end());
  Words operands;
  std::string error = ParseOptions(words, options, false, &args, &operands);
  if (!error.empty()) return UsageError(words, command.name, error);
  if (args.Has("help")) return ShowHelp(CommandHelp(command));
  for (const std::string& operand : operands) args.AddOperand(operand);
  Settings settings;
  error = CheckOperands(command, args);
  if (error.empty()) error = ReadSettings(args, &settings);
  if (!error.empty()) return UsageError(words, command.name, error);

  Output output(settings, command.name);
  StartLibraryLog([&](const LogLine& line) { output.Verbose(line); });
  const double seconds =
      settings.timeout_seconds > 0 ? settings.timeout_seconds : command.default_timeout_seconds;
  if (seconds > 0 && !command.handles_timeout) {
    return RunWithTimeout(command, args, output, seconds);
  }
  return command.run(args, output);
}

int Main(const Words& words) {
  std::vector<Option> options = GlobalOptions();
  options.insert(options.end(), StandaloneOptions().begin(), StandaloneOptions().end());
  Args args;
  Words rest;
  const std::string error = ParseOptions(words, options, true, &args, &rest);
  if (!error.empty()) return UsageError(words, "", error);
  if (args.Has("version")) return ShowHelp(std::string(kVersion) + "\n");
  if (args.Has("schema")) return ShowHelp(kAnswerSchema);
  if (!rest.empty() && rest[0] == "help") {
    rest.erase(rest.begin());
    args.Set("help", "");
  }
  if (rest.empty()) {
    if (args.Has("help")) return ShowHelp(ProgramHelp());
    return UsageError(words, "", "a command is needed");
  }
  if (const Command* command = TakeCommand(&rest)) return RunCommand(*command, rest, args);
  if (!IsGroup(rest[0])) {
    return UsageError(words, "", "unknown command '" + rest[0] + "'" + DidYouMean(rest));
  }
  const bool wants_help =
      args.Has("help") || (rest.size() > 1 && (rest[1] == "--help" || rest[1] == "-h"));
  if (wants_help) return ShowHelp(GroupHelp(rest[0]));
  return UsageError(words, rest[0],
                    "'" + rest[0] + "' needs one of its commands" + DidYouMean(rest));
}

}  // namespace

int RunTool(const std::vector<std::string>& words) {
  PrepareProcess();
  StartSignals();
  return DeliverAnswer(Main(words));
}

}  // namespace orx_tool
