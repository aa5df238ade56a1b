// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/diagnosis/diagnostics.h"

#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "tools/orx/cli/args.h"

namespace orx_tool {

using aidl::android::hardware::security::keymint::ErrorCode;

const std::vector<Reason>& Reasons() {
  static const auto& reasons = *new std::vector<Reason>{
#define REASON(code, exit_code, owner, cause, remedy) {code, exit_code, owner, cause, remedy},
#include "tools/orx/diagnosis/diagnostics.def"
  };
  return reasons;
}

const std::vector<Message>& Messages() {
  static const auto& messages = *new std::vector<Message>{
#define FAILURE(format, code) {format, MessageKind::kFailure, code, -1},
#define KEYMINT_FAILURE(format, code, argument) {format, MessageKind::kFailure, code, argument},
#define CONSEQUENCE(format, code) {format, MessageKind::kConsequence, code, -1},
#define RECOVERY(format) {format, MessageKind::kRecovery, nullptr, -1},
#define INFORMATION(format) {format, MessageKind::kInformation, nullptr, -1},
#include "tools/orx/diagnosis/diagnostics.def"
  };
  return messages;
}

const std::vector<KeyMintError>& KeyMintErrors() {
  static const auto& errors = *new std::vector<KeyMintError>{
#define KEYMINT_ERROR(name, code) {static_cast<int>(ErrorCode::name), #name, code},
#include "tools/orx/diagnosis/diagnostics.def"
  };
  return errors;
}

namespace {

const std::vector<const char*>& IdentifyingFormats() {
  static const auto& formats = *new std::vector<const char*>{
#define IDENTIFIES(format) format,
#include "tools/orx/diagnosis/diagnostics.def"
  };
  return formats;
}

// A format taken apart: its literal pieces, and between each two the conversion ('s' or a number).
struct Pattern {
  std::vector<std::string> literals;
  std::string conversions;
};

Pattern ParseFormat(const char* format) {
  Pattern pattern;
  pattern.literals.emplace_back();
  for (const char* c = format; *c != 0; ++c) {
    if (*c != '%') {
      pattern.literals.back() += *c;
      continue;
    }
    c += strspn(c + 1, "lhz") + 1;
    pattern.conversions += *c;
    pattern.literals.emplace_back();
  }
  std::string& last = pattern.literals.back();
  last.erase(last.find_last_not_of("\n ") + 1);
  return pattern;
}

// The patterns of Messages(), in its order.
const std::vector<Pattern>& Patterns() {
  static const auto& patterns = *[] {
    auto* parsed = new std::vector<Pattern>;
    for (const Message& message : Messages()) parsed->push_back(ParseFormat(message.format));
    return parsed;
  }();
  return patterns;
}

bool FitsConversion(char conversion, const std::string& text) {
  if (conversion == 's') return true;
  const size_t sign = text.rfind('-', 0) == 0 ? 1 : 0;
  return text.size() > sign && text.find_first_not_of("0123456789", sign) == std::string::npos;
}

// Fits matches `text` from `at` against the pattern from piece `piece` on.
bool Fits(const Pattern& pattern, size_t piece, const std::string& text, size_t at,
          std::vector<std::string>* arguments) {
  const std::string& literal = pattern.literals[piece];
  if (text.compare(at, literal.size(), literal) != 0) return false;
  at += literal.size();
  if (piece == pattern.conversions.size()) return at == text.size();
  for (size_t length = 0; at + length <= text.size(); ++length) {
    const std::string argument = text.substr(at, length);
    if (!FitsConversion(pattern.conversions[piece], argument)) continue;
    arguments->push_back(argument);
    if (Fits(pattern, piece + 1, text, at + length, arguments)) return true;
    arguments->pop_back();
  }
  return false;
}

size_t LiteralLength(const Pattern& pattern) {
  size_t length = 0;
  for (const std::string& literal : pattern.literals) length += literal.size();
  return length;
}

const Reason& KnownReason(const std::string& code) {
  const Reason* reason = FindReason(code);
  if (reason == nullptr) abort();  // a code that the table does not have is a slip in this program
  return *reason;
}

Problem FromReason(const Reason& reason) {
  return {reason.exit_code, reason.code, reason.cause, "", reason.remedy, reason.owner};
}

struct ErrorAt {
  const char* format;
  int number;
  const char* reason;
};

// ReasonAt is the reason of a KeyMint error within a message of that format.
const char* ReasonAt(const char* format, const KeyMintError& error) {
  static const auto& errors = *new std::vector<ErrorAt>{
#define KEYMINT_ERROR_AT(format, name, code) {format, static_cast<int>(ErrorCode::name), code},
#include "tools/orx/diagnosis/diagnostics.def"
  };
  for (const ErrorAt& at : errors) {
    if (at.number == error.number && strcmp(at.format, format) == 0) return at.reason;
  }
  return error.reason;
}

// WithKeyMintError replaces the problem by what is known of the KeyMint error, a name or a number.
// Errors that are the operator's to put right speak of a key in use or its data; a message that has
// more to say than that KeyMint refused, as of the making of an attestation key, keeps its reason.
// Number 0 is no error. `format` is the message's.
Problem WithKeyMintError(Problem problem, const std::string& text, const char* format) {
  if (text == "0") return problem;
  const KeyMintError* error = FindKeyMintError(text);
  const Reason* reason = error != nullptr ? &KnownReason(ReasonAt(format, *error)) : nullptr;
  const bool of_operator = reason != nullptr && strcmp(reason->owner, "operator") == 0;
  if (reason != nullptr && (!of_operator || problem.code == "KM-FAILED")) {
    problem = FromReason(*reason);
  }
  const bool is_number = text.find_first_not_of("-0123456789") == std::string::npos;
  const std::string name = is_number ? KeyMintErrorName(atoi(text.c_str())) : text;
  AddToCause(" (KeyMint answered " + name + ")", &problem);
  return problem;
}

Problem FromMatch(const MessageMatch& match, const std::string& text) {
  Problem problem = FromReason(KnownReason(match.message->reason));
  const int index = match.message->keymint_argument;
  if (index >= 0) {
    problem = WithKeyMintError(problem, match.arguments[static_cast<size_t>(index)],
                               match.message->format);
  }
  problem.library_line = text;
  return problem;
}

}  // namespace

const Reason* FindReason(const std::string& code) {
  for (const Reason& reason : Reasons()) {
    if (strcasecmp(reason.code, code.c_str()) == 0) return &reason;
  }
  return nullptr;
}

const KeyMintError* FindKeyMintError(const std::string& text) {
  for (const KeyMintError& error : KeyMintErrors()) {
    if (text == error.name || text == std::to_string(error.number)) return &error;
  }
  return nullptr;
}

std::string KeyMintErrorName(int error) {
  return toString(static_cast<ErrorCode>(error));
}

std::optional<MessageMatch> MatchMessage(const std::string& text) {
  std::string trimmed = text;
  trimmed.erase(trimmed.find_last_not_of("\n ") + 1);
  std::optional<MessageMatch> best;
  size_t best_length = 0;
  for (size_t i = 0; i < Messages().size(); ++i) {
    const Pattern& pattern = Patterns()[i];
    std::vector<std::string> arguments;
    const size_t length = LiteralLength(pattern);
    if (best && length <= best_length) continue;
    if (!Fits(pattern, 0, trimmed, 0, &arguments)) continue;
    best = MessageMatch{&Messages()[i], arguments};
    best_length = length;
  }
  return best;
}

Problem MakeProblem(const std::string& code, const std::string& cause) {
  Problem problem = FromReason(KnownReason(code));
  problem.cause = cause;
  return problem;
}

Problem KnownProblem(const std::string& code) {
  return FromReason(KnownReason(code));
}

void AddToCause(const std::string& text, Problem* problem) {
  std::string& cause = problem->cause;
  const bool full_stop = !cause.empty() && cause.back() == '.';
  cause.insert(cause.size() - (full_stop ? 1 : 0), text);
}

namespace {

// HasBegun tells whether an operation was asked for. When that did not fail and there is none, the
// fault is not the caller's.
bool HasBegun(const std::vector<LogLine>& lines) {
  return std::any_of(lines.begin(), lines.end(),
                     [](const LogLine& line) { return line.message == "KM: Begin"; });
}

}  // namespace

Problem Diagnose(const std::vector<LogLine>& lines) {
  std::optional<Problem> failure;
  std::optional<Problem> consequence;
  for (const LogLine& line : lines) {
    const auto match = MatchMessage(line.message);
    if (!match) continue;
    if (match->message->kind == MessageKind::kRecovery) {
      failure.reset();
      consequence.reset();
    }
    if (match->message->kind == MessageKind::kFailure && !failure) {
      failure = FromMatch(*match, line.message);
    }
    if (match->message->kind == MessageKind::kConsequence && !consequence) {
      consequence = FromMatch(*match, line.message);
    }
  }
  if (failure && failure->code == "CALL-NO-OPERATION" && HasBegun(lines)) {
    const std::string line = failure->library_line;
    failure = FromReason(KnownReason("KM-NO-OPERATION"));
    failure->library_line = line;
  }
  if (failure) return *failure;
  if (consequence) return *consequence;
  Problem unexplained = FromReason(KnownReason("UNEXPLAINED"));
  if (!lines.empty()) unexplained.library_line = lines.back().message;
  return unexplained;
}

Problem DiagnoseTimeOut(const std::vector<LogLine>& lines, double seconds) {
  const std::string last = lines.empty() ? "" : lines.back().message;
  Problem problem = Diagnose(lines);
  if (problem.code != "MODEM-UNREACHABLE") {
    const bool modem = last.rfind("No response timeout is set", 0) == 0;
    problem = KnownProblem(modem ? "MODEM-SILENT" : "TIMED-OUT");
    problem.library_line = last;
  }
  AddToCause(" within " + SecondsText(seconds) + " s", &problem);
  return problem;
}

Problem DiagnoseKeyMint(const std::vector<LogLine>& lines, int result, const std::string& code) {
  Problem problem = Diagnose(lines);
  if (problem.code != "UNEXPLAINED") return problem;
  Problem answered = WithKeyMintError(FromReason(KnownReason(code)), std::to_string(result), "");
  answered.library_line = problem.library_line;
  return answered;
}

std::string MaskValue(const std::string& value) {
  const size_t kept = std::min<size_t>(2, value.size());
  return value.substr(0, kept) + std::string(value.size() - kept, '*');
}

namespace {

// MaskArgument keeps what is no identifier: a key parameter shows its tag, and its value as a list
// of bytes.
std::string MaskArgument(const std::string& argument) {
  const std::string begin = "blob: [";
  const size_t list = argument.find(begin);
  const size_t end = argument.find(']', list);
  if (list == std::string::npos || end == std::string::npos) return MaskValue(argument);
  return argument.substr(0, list + begin.size()) + "*" + argument.substr(end);
}

}  // namespace

std::string MaskIdentifiers(const std::string& message) {
  const auto match = MatchMessage(message);
  if (!match) return message;
  const auto& formats = IdentifyingFormats();
  const bool identifies = std::any_of(formats.begin(), formats.end(), [&](const char* format) {
    return strcmp(format, match->message->format) == 0;
  });
  if (!identifies) return message;
  const Pattern pattern = ParseFormat(match->message->format);
  std::string masked = pattern.literals[0];
  for (size_t i = 0; i < match->arguments.size(); ++i) {
    const bool text = pattern.conversions[i] == 's';
    masked += text ? MaskArgument(match->arguments[i]) : match->arguments[i];
    masked += pattern.literals[i + 1];
  }
  return masked;
}

}  // namespace orx_tool
