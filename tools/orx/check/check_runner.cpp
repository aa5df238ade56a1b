// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/check_runner.h"

#include <stdio.h>

#include <memory>

#include "tools/orx/check/check_html.h"
#include "tools/orx/check/judge.h"
#include "tools/orx/cli/modem_progress.h"

namespace orx_tool {
namespace {

constexpr int kMostRuns = 1000000;

// The column under which the text of a reason begins.
constexpr size_t kReasonIndent = 11;

LineStyle VerdictStyle(Verdict verdict) {
  const char* name = VerdictName(verdict);
  if (verdict == Verdict::kPass) return {Color::kGreen, name};
  if (verdict == Verdict::kNotApplicable) return {};
  return {verdict == Verdict::kFail ? Color::kRed : Color::kYellow, name};
}

bool WriteText(const std::string& text, FileOutput* file, std::optional<Problem>* problem) {
  return file->Write(text.data(), text.size(), problem) && file->Commit(problem);
}

bool EndsRun(const CheckResult& result) {
  return result.verdict == Verdict::kFail || result.verdict == Verdict::kTimedOut;
}

}  // namespace

CheckRunner::CheckRunner(const Args& args, Output& output, Layout layout)
    : args_(args),
      output_(output),
      layout_(layout),
      repeat_(static_cast<int>(ParseNumber(args.Get("repeat", "0"), 0, kMostRuns).value_or(-1))) {
  if (output.settings().timeout_seconds > 0) {
    settings_.timeout_seconds = output.settings().timeout_seconds;
  }
  settings_.show_ids = args.Has("show-ids");
  settings_.keeps_evidence = args.Has("evidence") || args.Has("html");
}

int CheckRunner::Run(const std::vector<Check>& checks, bool stops) {
  if (args_.Has("repeat") && repeat_ < 1) {
    return output_.Fail(
        MakeProblem("USAGE", "--repeat takes a number from 1 to " + std::to_string(kMostRuns)));
  }
  std::optional<Problem> problem;
  if (!OpenFiles(&problem)) return output_.Fail(*problem);
  bool ended = false;
  for (const Check& check : checks) {
    ended = ended || signals_.Noted() != 0;
    if (ended) {
      report_.not_run.push_back(check);
      continue;
    }
    Add(Execute(check));
    if (evidence_ != nullptr) evidence_->Add(check, report_.results.back());
    ended = stops && EndsRun(report_.results.back());
  }
  Report();
  const int signal_number = signals_.Noted();
  const int exit_code = signal_number != 0 ? 128 + signal_number : CheckExitCode(report_.results);
  if (!WriteFiles(exit_code, &problem)) return output_.Fail(*problem);
  return output_.Finish(exit_code);
}

bool CheckRunner::OpenFiles(std::optional<Problem>* problem) {
  // Before the first check: a report that cannot be written costs no run.
  if (args_.Has("junit")) {
    junit_ = std::make_unique<FileOutput>(args_.Get("junit"), Privacy::kPublic, problem);
  }
  if (args_.Has("html") && !*problem) {
    html_ = std::make_unique<FileOutput>(args_.Get("html"), Privacy::kPublic, problem);
  }
  if (args_.Has("evidence") && !*problem) {
    evidence_ = std::make_unique<Evidence>(args_.Get("evidence"), settings_.show_ids, problem);
  }
  return !*problem;
}

bool CheckRunner::WriteFiles(int exit_code, std::optional<Problem>* problem) {
  if (junit_ != nullptr && !WriteText(JunitXml(report_), junit_.get(), problem)) return false;
  const Json::Value envelope = output_.Envelope(exit_code);
  if (html_ != nullptr && !WriteText(HtmlReport(report_, envelope), html_.get(), problem)) {
    return false;
  }
  if (evidence_ == nullptr) return true;
  Json::Value report = envelope;
  report["result"] = output_.answer();
  return evidence_->Commit(report, problem);
}

CheckResult CheckRunner::Execute(const Check& check) {
  if (repeat_ == 0) return ExecuteOnce(check, "");
  std::optional<CheckResult> result;
  for (int i = 1; i <= repeat_; ++i) {
    AddRun(ExecuteOnce(check, ", run " + std::to_string(i) + " of " + std::to_string(repeat_)),
           &result);
    // A silent modem is waited for once.
    if (signals_.Noted() != 0 || (modem_wait_ && check.needs_modem())) break;
  }
  return *result;
}

CheckResult CheckRunner::ExecuteOnce(const Check& check, const std::string& run) {
  if (modem_wait_ && check.needs_modem()) return NotWaitedAgain(check, *modem_wait_);
  StatusLine status(output_);
  const std::string running = "running " + check.full_name() + run;
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

}  // namespace orx_tool
