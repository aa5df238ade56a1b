// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/check_runner.h"

#include <stdio.h>

#include <memory>

#include "tools/orx/check/judge.h"
#include "tools/orx/cli/modem_progress.h"

namespace orx_tool {
namespace {

// The column under which the text of a reason begins.
constexpr size_t kReasonIndent = 11;

LineStyle VerdictStyle(Verdict verdict) {
  const char* name = VerdictName(verdict);
  if (verdict == Verdict::kPass) return {Color::kGreen, name};
  if (verdict == Verdict::kNotApplicable) return {};
  return {verdict == Verdict::kFail ? Color::kRed : Color::kYellow, name};
}

bool EndsRun(const CheckResult& result) {
  return result.verdict == Verdict::kFail || result.verdict == Verdict::kTimedOut;
}

}  // namespace

CheckRunner::CheckRunner(const Args& args, Output& output, Layout layout)
    : args_(args), output_(output), layout_(layout) {
  if (output.settings().timeout_seconds > 0) {
    settings_.timeout_seconds = output.settings().timeout_seconds;
  }
  settings_.show_ids = args.Has("show-ids");
}

int CheckRunner::Run(const std::vector<Check>& checks, bool stops) {
  std::optional<Problem> problem;
  std::unique_ptr<FileOutput> junit;
  if (args_.Has("junit")) {
    // Opened before the first check: a report that cannot be written costs no run.
    junit = std::make_unique<FileOutput>(args_.Get("junit"), Privacy::kPublic, &problem);
    if (problem) return output_.Fail(*problem);
  }
  bool ended = false;
  for (const Check& check : checks) {
    ended = ended || signals_.Noted() != 0;
    if (ended) {
      report_.not_run.push_back(check);
      continue;
    }
    Add(Execute(check));
    ended = stops && EndsRun(report_.results.back());
  }
  Report();
  if (junit != nullptr && !WriteJunit(junit.get(), &problem)) return output_.Fail(*problem);
  const int signal_number = signals_.Noted();
  return output_.Finish(signal_number != 0 ? 128 + signal_number : CheckExitCode(report_.results));
}

CheckResult CheckRunner::Execute(const Check& check) {
  if (modem_wait_ && check.needs_modem()) return NotWaitedAgain(check, *modem_wait_);
  StatusLine status(output_);
  const std::string running = "running " + check.full_name();
  std::string doing;
  status.Show(running);
  CheckSettings settings = settings_;
  settings.on_message = [&](const std::string& message) {
    const std::string text = ModemProgressText(message);
    if (!text.empty()) doing = ", " + text;
  };
  settings.pulse_seconds = output_.interactive() ? 1 : 5;
  settings.on_pulse = [&](double seconds) {
    char elapsed[32];
    snprintf(elapsed, sizeof(elapsed), ", %.0f s", seconds);
    status.Show(running + elapsed + doing);
    // Without a terminal, too, a run that waits says so.
    if (output_.interactive() || output_.settings().quiet) return;
    fprintf(stderr, "%s\n", (running + elapsed + doing).c_str());
  };
  CheckResult result = RunCheck(check, settings);
  if (WaitedForModem(result)) modem_wait_ = result;
  return result;
}

void CheckRunner::Add(const CheckResult& result) {
  report_.results.push_back(result);
  output_.Event(ResultJson(result));
  if (layout_ == Layout::kTable) {
    if (report_.results.size() == 1) output_.Text(TableHeading());
    output_.Text(TableRow(result), VerdictStyle(result.verdict));
  } else {
    output_.Text(ResultLine(result), VerdictStyle(result.verdict));
    ShowReasons(result, /*with_name=*/false);
    if (result.verdict == Verdict::kPass) ShowNotes({result});
  }
  fflush(stdout);
}

void CheckRunner::ShowReasons(const CheckResult& result, bool with_name) const {
  const std::vector<std::string> lines = ReasonLines(result);
  if (lines.empty() || output_.settings().quiet) return;
  if (with_name) output_.Text(result.full_name() + ":");
  for (const std::string& line : lines) output_.Text(line, {Color::kNone, "", kReasonIndent});
}

void CheckRunner::ShowNotes(const std::vector<CheckResult>& results) const {
  if (output_.settings().quiet) return;
  for (const std::string& line : NoteLines(results)) output_.Text(line);
}

void CheckRunner::Report() {
  if (layout_ == Layout::kTable) {
    for (const CheckResult& result : report_.results) {
      if (result.verdict != Verdict::kNotApplicable) ShowReasons(result, /*with_name=*/true);
    }
    ShowNotes(report_.results);
  }
  if (layout_ == Layout::kTable || report_.results.size() + report_.not_run.size() > 1) {
    for (const std::string& line : SummaryLines(report_)) output_.Text(line);
  }
  AddReport(report_, &output_.answer());
}

bool CheckRunner::WriteJunit(FileOutput* file, std::optional<Problem>* problem) const {
  const std::string xml = JunitXml(report_);
  return file->Write(xml.data(), xml.size(), problem) && file->Commit(problem);
}

}  // namespace orx_tool
