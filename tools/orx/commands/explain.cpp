// SPDX-License-Identifier: Apache-2.0
#include <regex.h>
#include <string.h>
#include <strings.h>

#include <algorithm>

#include "tools/orx/cli/json_lines.h"
#include "tools/orx/commands/command_tables.h"

namespace orx_tool {
namespace {

std::vector<std::string> MessagesOf(const Reason& reason) {
  std::vector<std::string> formats;
  for (const Message& message : Messages()) {
    if (message.reason == nullptr || strcasecmp(message.reason, reason.code) != 0) continue;
    std::string format = message.format;
    format.erase(format.find_last_not_of("\n ") + 1);
    formats.push_back(format);
  }
  return formats;
}

std::vector<std::string> ErrorsOf(const Reason& reason) {
  std::vector<std::string> names;
  for (const KeyMintError& error : KeyMintErrors()) {
    if (strcasecmp(error.reason, reason.code) != 0) continue;
    names.push_back(std::string(error.name) + " (" + std::to_string(error.number) + ")");
  }
  return names;
}

Json::Value ReasonJson(const Reason& reason) {
  Json::Value json(Json::objectValue);
  json["code"] = reason.code;
  json["exit_code"] = reason.exit_code;
  json["cause"] = reason.cause;
  json["advice"] = reason.remedy;
  json["owner"] = reason.owner;
  json["messages"] = Texts(MessagesOf(reason));
  json["keymint_errors"] = Texts(ErrorsOf(reason));
  return json;
}

int ExplainReason(const Reason& reason, Output& output) {
  output.answer() = ReasonJson(reason);
  output.Text(std::string(reason.code) + " (exit code " + std::to_string(reason.exit_code) + ")");
  output.Text(std::string("  cause: ") + reason.cause);
  if (*reason.remedy != 0) output.Text(std::string("  try:   ") + reason.remedy);
  output.Text(std::string("  owner: ") + reason.owner);
  for (const std::string& name : ErrorsOf(reason)) output.Text("  KeyMint error: " + name);
  for (const std::string& format : MessagesOf(reason)) output.Text("  log line: " + format);
  return output.Succeed();
}

// ExplainLine tells what a line is that has no reason of its own.
int ExplainLine(const std::string& meaning, Output& output) {
  output.answer()["code"] = "";
  output.answer()["cause"] = meaning;
  output.Text("This line: " + meaning + ".");
  return output.Succeed();
}

int ExplainMessage(const MessageMatch& match, const std::string& text, Output& output) {
  if (match.message->reason == nullptr) {
    return ExplainLine("a step of the library, no failure", output);
  }
  // The KeyMint error within a message says more than the message.
  const Problem problem = Diagnose({{"", text}});
  output.Text("This line: " + problem.cause);
  return ExplainReason(*FindReason(problem.code), output);
}

int ListReasons(Output& output) {
  std::vector<std::vector<std::string>> rows = {{"CODE", "EXIT", "CAUSE"}};
  Json::Value codes(Json::arrayValue);
  Json::Value reasons(Json::arrayValue);
  for (const Reason& reason : Reasons()) {
    rows.push_back({reason.code, std::to_string(reason.exit_code), reason.cause});
    codes.append(reason.code);
    reasons.append(ReasonJson(reason));
  }
  PrintTable(output, rows);
  output.answer()["codes"] = codes;
  output.answer()["reasons"] = reasons;
  return output.Succeed();
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

// ReasonWithin finds a code in a line that the tool printed, between one of the characters `before`
// (or the line's beginning) and one of `after` (or its end).
const Reason* ReasonWithin(const std::string& line, const char* before, const char* after) {
  for (const Reason& reason : Reasons()) {
    const std::string code = reason.code;
    for (size_t at = line.find(code); at != std::string::npos; at = line.find(code, at + 1)) {
      const size_t end = at + code.size();
      const bool begins = at == 0 || strchr(before, line[at - 1]) != nullptr;
      const bool ends = end == line.size() || strchr(after, line[end]) != nullptr;
      if (begins && ends) return &reason;
    }
  }
  return nullptr;
}

// ReasonByCause finds the reason whose cause stands in a line, where details may follow it.
const Reason* ReasonByCause(const std::string& line) {
  const Reason* found = nullptr;
  size_t length = 0;
  for (const Reason& reason : Reasons()) {
    std::string cause = reason.cause;
    cause.pop_back();  // the full stop
    if (cause.size() <= length || line.find(cause) == std::string::npos) continue;
    found = &reason;
    length = cause.size();
  }
  return found;
}

constexpr char kLinesBelow[] = "what the lines below it are about";

// What this program prints around its reasons, by the form of the whole line (a POSIX extended
// regular expression).
struct KnownLine {
  const char* form;
  const char* meaning;
};

constexpr KnownLine kKnownLines[] = {
    {"note: .+", "a note beside a result, no failure"},
    {"note {5}[a-z].+", "a finding of the doctor that may be as it should be"},
    {"try: .+", "what to do about the cause in the line above"},
    {"next: .+", "what to do about the reason above it"},
    {"running .+", "what a check does at the moment"},
    {"reason: .+", "the cause as this run saw it; the check's row has the code"},
    {"runs: .+", "how often the check was made, and how often it failed"},
    {"not run: .+", "checks that were left out after a failure or time-out"},
    {"CHECK +INSTANCE +VERDICT +SECONDS +CODE", "the heading of a report"},
    {"(.* )?PASS (.* )?OK( \\([0-9]+ runs\\))?", "a check that passed"},
    {"[0-9]+ passed, [0-9]+ failed, .+", "how many checks came to each verdict"},
    {"ok {7}[a-z].+", "a finding of the doctor that is as it should be"},
    {"PROBLEM  [a-z].+", "a finding of the doctor; the line below it begins with the code"},
    {"(Device IDs for attestation|certificate [0-9]+|attestation record):", kLinesBelow},
    {"(software|hardware)Enforced:|rootOfTrust:|attestationApplicationId:", kLinesBelow},
    {"[a-z-]+(:[a-z0-9]+)?/(default|strongbox|both):", "the check that the lines below are about"},
};

bool HasForm(const std::string& line, const std::string& form) {
  regex_t regex;
  if (regcomp(&regex, ("^(" + form + ")$").c_str(), REG_EXTENDED | REG_NOSUB) != 0) return false;
  const bool matches = regexec(&regex, line.c_str(), 0, nullptr, 0) == 0;
  regfree(&regex);
  return matches;
}

const KnownLine* FindKnownLine(const std::string& text) {
  const std::string line = text.substr(std::min(text.find_first_not_of(' '), text.size()));
  const auto known =
      std::find_if(std::begin(kKnownLines), std::end(kKnownLines),
                   [&](const KnownLine& candidate) { return HasForm(line, candidate.form); });
  return known == std::end(kKnownLines) ? nullptr : known;
}

// LibraryMessage finds the message in a line that may carry logcat's columns and the place in the
// sources in front.
std::optional<std::pair<MessageMatch, std::string>> LibraryMessage(const std::string& line) {
  if (auto match = MatchMessage(line)) return std::make_pair(*match, line);
  for (size_t at = line.find(' '); at != std::string::npos; at = line.find(' ', at + 1)) {
    const std::string message = SplitLogLine(line.substr(at + 1)).message;
    if (auto match = MatchMessage(message)) return std::make_pair(*match, message);
  }
  return std::nullopt;
}

int RunExplain(const Args& args, Output& output) {
  if (args.operands().empty()) return ListReasons(output);
  const std::string text = Joined(args.operands());
  if (const Reason* reason = FindReason(text)) return ExplainReason(*reason, output);
  if (const KeyMintError* error = FindKeyMintError(text)) {
    return ExplainReason(*FindReason(error->reason), output);
  }
  if (const Reason* reason = ReasonWithin(text, "[", "]")) return ExplainReason(*reason, output);
  if (const auto found = LibraryMessage(text)) {
    return ExplainMessage(found->first, found->second, output);
  }
  if (const Reason* reason = ReasonWithin(text, " \t:\"'", " \t:,.\"'")) {
    return ExplainReason(*reason, output);
  }
  if (const Reason* reason = ReasonByCause(text)) return ExplainReason(*reason, output);
  if (const KnownLine* line = FindKnownLine(text)) return ExplainLine(line->meaning, output);
  return output.Fail(MakeProblem(
      "EXPLAIN-UNKNOWN", "'" + text + "' is neither a reason code nor a message of the library"));
}

}  // namespace

std::vector<Command> ExplainCommands() {
  return {
      {"explain",
       "[CODE|MESSAGE]",
       0,
       kAnyNumber,
       "explain a reason code or a log line",
       "Takes a reason code, a KeyMint error by name or number (after --), a line that this "
       "program\n"
       "printed, or one of the library's log as logcat shows it. Without one it lists all codes,\n"
       "under --json with all that is known of each.\n",
       {},
       RunExplain},
  };
}

}  // namespace orx_tool
