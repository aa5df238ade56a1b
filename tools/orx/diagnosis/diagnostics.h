// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {

// What every command ends with.
enum ExitCode {
  kDone = 0,
  kFailed = 1,
  kUsage = 2,
  kNotApplicable = 3,  // this device does not have what the command is about
  kEnvironment = 4,    // a service, folder, daemon, property or permission is missing
  kTimedOut = 5,
  kInterrupted = 130,
};

// Reason is a cause of failure under its stable code.
struct Reason {
  const char* code;
  ExitCode exit_code;
  const char* owner;  // who can fix it
  const char* cause;
  const char* remedy;
};

enum class MessageKind {
  kFailure,      // names the cause
  kConsequence,  // only says that a failure above ended something
  kRecovery,     // what failed above was got over
  kInformation,
};

// Message is a text that the library logs, as its printf format. `reason` is set for failures and
// consequences. `keymint_argument` is the index of the format's argument that holds a KeyMint error
// as number or name, or -1: that error then says more than the message does.
struct Message {
  const char* format;
  MessageKind kind;
  const char* reason;
  int keymint_argument;
};

// KeyMintError gives the KeyMint error codes whose cause is known their reason.
struct KeyMintError {
  int number;
  const char* name;
  const char* reason;
};

const std::vector<Reason>& Reasons();
const std::vector<Message>& Messages();
const std::vector<KeyMintError>& KeyMintErrors();

// FindReason looks a code up, in capitals or not; null when there is none.
const Reason* FindReason(const std::string& code);

// FindKeyMintError takes a name or a decimal number.
const KeyMintError* FindKeyMintError(const std::string& text);

// KeyMintErrorName is the standard's name of an error, or the number where it has none.
std::string KeyMintErrorName(int error);

// MessageMatch is a logged text recognised as one of the library's messages, with the text of each
// argument.
struct MessageMatch {
  const Message* message;
  std::vector<std::string> arguments;
};

// MatchMessage finds the message that `text` was printed from; the most literal one where several
// fit.
std::optional<MessageMatch> MatchMessage(const std::string& text);

// Problem is a failure as it is told to the user.
struct Problem {
  int exit_code = kFailed;
  std::string code;
  std::string cause;
  std::string library_line;  // the library's own message, empty when the library was not asked
  std::string advice;        // what to try, may be empty
  std::string owner;
};

// KnownProblem is the reason of a code as it stands in the table.
Problem KnownProblem(const std::string& code);

// MakeProblem describes a failure that the tool found itself: the reason with the cause given,
// which names the values at hand.
Problem MakeProblem(const std::string& code, const std::string& cause);

// AddToCause puts `text` at the end of the problem's cause, before the full stop if it has one.
void AddToCause(const std::string& text, Problem* problem);

// Diagnose finds the cause in the lines of a library call that failed: the first failure that was
// not got over, else the first consequence.
Problem Diagnose(const std::vector<LogLine>& lines);

// DiagnoseTimeOut tells what a library call was waiting for that did not end within `seconds`.
Problem DiagnoseTimeOut(const std::vector<LogLine>& lines, double seconds);

// DiagnoseKeyMint is Diagnose for a KeyMint call that ended with error `result`, which the
// library's KeyMint client returns without a line of its own. `code` is the reason where the error
// says no more than that KeyMint refused.
Problem DiagnoseKeyMint(const std::vector<LogLine>& lines, int result,
                        const std::string& code = "KM-FAILED");

// MaskIdentifiers returns the message with the device's identifiers (serial number, IMEI, MEID,
// unique id) reduced to their first characters, for reports that leave the device's owner.
std::string MaskIdentifiers(const std::string& message);

// MaskValue keeps the first two characters of an identifier.
std::string MaskValue(const std::string& value);

}  // namespace orx_tool
