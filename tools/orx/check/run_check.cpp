// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/run_check.h"

#include <json/json.h>

#include <algorithm>
#include <chrono>

#include "tools/orx/check/judge.h"
#include "tools/orx/check/library_call.h"
#include "tools/orx/check/second_look.h"
#include "tools/orx/cli/json_lines.h"
#include "tools/orx/cli/supervisor.h"
#include "tools/orx/diagnosis/library_log.h"
#include "tools/orx/evidence/capture.h"

namespace orx_tool {
namespace {

constexpr size_t kEvidenceLines = 12;

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// The child tells its parent, one JSON object a line: each message of the library, then how the
// call ended, then the second look.
Json::Value EndLine(const CallResult& result, double seconds) {
  Json::Value json(Json::objectValue);
  json["status"] = result.status;
  json["refusals"] = RefusalsToJson(result.refusals);
  json["seconds"] = seconds;
  return json;
}

// IdentifiersExplain tells whether the keys attested for identifiers may explain the code.
bool IdentifiersExplain(const std::string& code) {
  return code == "ATTEST-DEVICE-ID" || code == "ATTEST-ROOT" || code.rfind("ATTEST-CHAIN", 0) == 0;
}

int RunInThisProcess(const Check& check, bool keeps_evidence, int fd) {
  ClearLibraryLog();
  SendLibraryLog(fd);
  const auto start = Clock::now();
  const CallResult result = CallLibrary(check);
  SendLibraryLog(-1);
  if (!SendLine(fd, EndLine(result, SecondsSince(start)))) return kFailed;
  // The library's result is out; what follows may only explain it.
  const std::string code = result.status != 0 ? Diagnose(LibraryLogLines()).code : "";
  if (!SendLine(fd, LookToJson(LookAgain(check, code)))) return kFailed;
  if (!keeps_evidence) return kDone;
  Json::Value line(Json::objectValue);
  line["capture"] = CaptureToJson(CaptureKeys(check, IdentifiersExplain(code)));
  return SendLine(fd, line) ? kDone : kFailed;
}

// Listen takes in one line of the child.
void Listen(const std::string& text, const CheckSettings& settings, Seen* seen) {
  if (const auto logged = ReceivedLogLine(text)) {
    seen->lines.push_back(*logged);
    if (settings.on_message) settings.on_message(logged->message);
    return;
  }
  // One at the most: the last line of a child that was killed may be half of one.
  for (const Json::Value& line : ParseLines(text + "\n")) {
    if (line.isMember("status")) {
      seen->status = line["status"].asInt();
      seen->refusals = RefusalsFromJson(line["refusals"]);
      seen->seconds = line["seconds"].asDouble();
    } else if (line.isMember("capture")) {
      seen->capture = CaptureFromJson(line["capture"]);
    } else {
      seen->look = LookFromJson(line);
    }
  }
}

std::vector<std::string> LastLines(const std::vector<LogLine>& lines) {
  std::vector<std::string> evidence;
  for (size_t i = lines.size() - std::min(lines.size(), kEvidenceLines); i < lines.size(); ++i) {
    evidence.push_back(lines[i].place + ": " + lines[i].message);
  }
  return evidence;
}

void Mask(std::vector<LogLine>* lines) {
  for (LogLine& line : *lines) line.message = MaskIdentifiers(line.message);
}

}  // namespace

CheckResult RunCheck(const Check& check, const CheckSettings& settings) {
  Seen seen;
  seen.timeout_seconds = settings.timeout_seconds;
  ChildWatch watch;
  watch.seconds = settings.timeout_seconds;
  watch.on_line = [&](const std::string& line) { Listen(line, settings, &seen); };
  watch.on_pulse = settings.on_pulse;
  watch.pulse_seconds = settings.pulse_seconds;
  const auto start = Clock::now();
  const ChildResult child = RunInChild(
      [&](int fd) { return RunInThisProcess(check, settings.keeps_evidence, fd); }, watch);
  seen.end = child.end;
  seen.signal = child.status;
  if (!seen.status) seen.seconds = SecondsSince(start);
  CheckResult result = Judge(check, seen);
  seen.modem = ModemExchanges(seen.lines);
  if (!settings.show_ids) {
    for (ModemExchange& exchange : seen.modem) exchange.answer = MaskShape(exchange.answer);
    Mask(&seen.lines);
    result.message = MaskIdentifiers(result.message);
  }
  result.evidence = LastLines(seen.lines);
  if (settings.keeps_evidence) result.seen = std::make_shared<const Seen>(std::move(seen));
  return result;
}

}  // namespace orx_tool
