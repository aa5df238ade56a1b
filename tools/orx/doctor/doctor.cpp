// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/doctor/doctor.h"
#include "tools/orx/cli/json_lines.h"
#include "tools/orx/cli/supervisor.h"
#include "tools/orx/doctor/doctor_probes.h"

namespace orx_tool {
namespace {

// The whole look is to be over in two seconds; nothing in it waits for what is not there, so only
// a service that hangs gets here.
constexpr double kDeadlineSeconds = 1.8;

Json::Value FindingJson(const Finding& finding) {
  Json::Value json(Json::objectValue);
  json["area"] = finding.area;
  json["status"] = StatusName(finding.status);
  json["text"] = finding.text;
  json["code"] = finding.code;
  json["advice"] = finding.advice;
  json["owner"] = finding.owner;
  json["note"] = finding.remedy.note;
  json["add"] = Json::Value(Json::arrayValue);
  for (const Line& line : finding.remedy.lines) {
    Json::Value entry(Json::objectValue);
    entry["file"] = line.file;
    entry["line"] = line.line;
    json["add"].append(entry);
  }
  return json;
}

int ProbeAll(int fd, bool show_ids) {
  for (const Probe& probe : Probes()) {
    Json::Value announcement(Json::objectValue);
    announcement["probing"] = probe.area;
    if (!SendLine(fd, announcement)) return kFailed;
    for (const Finding& finding : probe.run(show_ids)) {
      if (!SendLine(fd, FindingJson(finding))) return kFailed;
    }
  }
  return kDone;
}

// What the child did not come to say.
Json::Value Unfinished(const ChildResult& child, const std::string& area) {
  if (child.end == ChildResult::End::kInterrupted) {
    return FindingJson(
        MakeFinding(area, "INTERRUPTED", "interrupted; what comes after was not looked at"));
  }
  const bool late = child.end == ChildResult::End::kTimedOut;
  Finding finding = MakeFinding(area, late ? "TIMED-OUT" : "LIBRARY-CRASHED",
                                late ? "does not answer; what comes after was not looked at"
                                     : "the process that looked at it crashed");
  finding.owner = "KeyMint service";
  finding.advice = "Look for the service in logcat; a hung one must be restarted.";
  return FindingJson(finding);
}

// What an integrator adds: who runs the development kit on a PC has nothing to add.
void ShowRemedy(const Json::Value& finding, const Output& output) {
  const std::string indent(9, ' ');
  const bool is_problem = finding["status"].asString() == StatusName(Status::kProblem);
  std::string begin = is_problem ? "add to " : "if it should be there, add to ";
  for (const Json::Value& line : finding["add"]) {
    output.Text(indent + begin + line["file"].asString() + ": " + line["line"].asString());
    begin = "or to ";
  }
  if (!finding["note"].asString().empty()) output.Text(indent + finding["note"].asString());
}

void ShowFinding(const Json::Value& finding, const Output& output) {
  output.Text((finding["status"].asString() + "         ").substr(0, 9) +
              (finding["area"].asString() + std::string(24, ' ')).substr(0, 24) +
              finding["text"].asString());
  if (finding["code"].asString().empty() || output.settings().quiet) return;
  const std::string indent(9, ' ');
  output.Text(indent + finding["code"].asString() + ": " + finding["advice"].asString() + " (" +
              finding["owner"].asString() + ")");
}

// ExitCodeOf is the worst of the problems' exit codes.
int ExitCodeOf(const Json::Value& findings) {
  for (const int exit_code : {kFailed, kTimedOut, kEnvironment}) {
    for (const Json::Value& finding : findings) {
      if (finding["status"].asString() != StatusName(Status::kProblem)) continue;
      const Reason* reason = FindReason(finding["code"].asString());
      if (reason != nullptr && reason->exit_code == exit_code) return exit_code;
    }
  }
  return kDone;
}

int RunDoctor(const Args& args, Output& output) {
  const double asked = output.settings().timeout_seconds;
  ChildWatch watch;
  watch.seconds = asked > 0 ? asked : kDeadlineSeconds;
  const ChildResult child =
      RunInChild([&](int fd) { return ProbeAll(fd, args.Has("show-ids")); }, watch);
  Json::Value findings(Json::arrayValue);
  std::string area;
  for (const Json::Value& line : ParseLines(child.payload)) {
    if (line.isMember("probing")) {
      area = line["probing"].asString();
    } else {
      findings.append(line);
    }
  }
  if (child.end != ChildResult::End::kExited) findings.append(Unfinished(child, area));

  const bool shows_remedies =
      !output.settings().quiet && (output.settings().verbose || IsOnAndroid());
  Json::Value shown;
  for (const Json::Value& finding : findings) {
    ShowFinding(finding, output);
    // One line closes several gaps.
    if (shows_remedies && finding["add"] != shown) ShowRemedy(finding, output);
    shown = finding["add"];
  }
  const bool interrupted = child.end == ChildResult::End::kInterrupted;
  const int exit_code = interrupted ? 128 + child.status : ExitCodeOf(findings);
  output.answer()["findings"] = findings;
  output.answer()["healthy"] = exit_code == kDone;
  return output.Finish(exit_code);
}

}  // namespace

std::vector<Command> DoctorCommands() {
  return {
      {"doctor",
       "",
       0,
       0,
       "look at everything that the library needs of the device",
       "Takes less than two seconds, changes nothing and waits for nothing that is not there.\n"
       "Exit code 0 when all is well, 4 when something is missing, 5 when a service hangs, 1 for\n"
       "other problems. On Android, or with --verbose, each gap comes with the file and line that\n"
       "close it in the product's tree; --json always has them.\n",
       {},
       RunDoctor,
       kHandlesTimeout},
  };
}

}  // namespace orx_tool
