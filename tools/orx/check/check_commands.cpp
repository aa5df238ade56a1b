// SPDX-License-Identifier: Apache-2.0
#include <orx/orx.h>

#include <utility>

#include "tools/orx/check/attest_key.h"
#include "tools/orx/check/check.h"
#include "tools/orx/check/check_commands.h"
#include "tools/orx/check/check_plan.h"
#include "tools/orx/check/check_report.h"
#include "tools/orx/cli/files.h"
#include "tools/orx/cli/modem_progress.h"
#include "tools/orx/cli/progress.h"

namespace orx_tool {
namespace {

constexpr const char kTee[] = "tee";
constexpr const char kStrongBox[] = "strongbox";

enum class Layout { kLines, kTable };

// Runner runs checks one after the other, shows each as it ends and reports in the end.
class Runner {
 public:
  Runner(const Args& args, Output& output, Layout layout)
      : args_(args), output_(output), layout_(layout) {
    settings_.timeout_seconds = output.settings().timeout_seconds;
    settings_.show_ids = args.Has("show-ids");
  }

  // Execute runs a check and shows only that it runs.
  CheckResult Execute(const Check& check) {
    StatusLine status(output_);
    status.Show("running " + check.name + "/" + check.instance);
    Check shown = check;
    shown.run = [&](CheckNotes* notes) {
      const ModemProgress progress(output_);
      return check.run(notes);
    };
    return RunCheck(shown, settings_, &interrupted_);
  }
  void Add(const CheckResult& result) {
    results_.push_back(result);
    if (layout_ == Layout::kTable) {
      if (results_.size() == 1) output_.Text(TableHeading());
      output_.Text(TableRow(result));
    } else {
      output_.Text(ResultLine(result));
      ShowDetails(result, "");
    }
    fflush(stdout);
  }
  bool interrupted() const { return interrupted_; }

  // Finish writes the reports and returns the exit code. `single` is for one check alone.
  int Finish(bool single, int not_run) {
    if (interrupted_) return kInterrupted;
    if (layout_ == Layout::kTable) {
      for (const CheckResult& result : results_) {
        ShowDetails(result, result.name + "/" + result.instance + ":");
      }
    }
    if (!single) output_.Text(SummaryLine(results_, not_run));
    output_.answer() = ReportJson(results_, not_run);
    std::optional<Problem> problem;
    if (args_.Has("junit") && !WriteJunit(&problem)) {
      return output_.Fail(*problem);
    }
    return output_.Finish(CheckExitCode(results_));
  }

 private:
  void ShowDetails(const CheckResult& result, const std::string& heading) const {
    if (output_.settings().quiet) return;
    const bool passed = result.verdict == Verdict::kPass;
    const std::vector<std::string> lines = DetailLines(result, passed);
    if (!lines.empty() && !heading.empty()) output_.Text(heading);
    for (const std::string& line : lines) output_.Text(line);
  }

  bool WriteJunit(std::optional<Problem>* problem) {
    const std::string xml = JunitXml(results_);
    FileOutput file(args_.Get("junit"), Privacy::kPublic, problem);
    return !*problem && file.Write(xml.data(), xml.size(), problem) && file.Commit(problem);
  }

  const Args& args_;
  Output& output_;
  Layout layout_;
  CheckSettings settings_;
  std::vector<CheckResult> results_;
  bool interrupted_ = false;
};

int RunSingle(const Check& check, const Args& args, Output& output) {
  Runner runner(args, output, Layout::kLines);
  runner.Add(runner.Execute(check));
  return runner.Finish(/*single=*/true, 0);
}

// RunPerIdentifier runs the check once for each identifier, so that one report names all that fail.
int RunPerIdentifier(const std::vector<Identifier>& identifiers, const Args& args, Output& output,
                     const std::function<Check(uint32_t mask)>& make) {
  Runner runner(args, output, Layout::kLines);
  for (const Identifier& identifier : identifiers) {
    Check check = make(identifier.bit);
    check.name += std::string(":") + identifier.name;
    check.looks_at_chain = check.looks_at_chain && identifier.bit == identifiers[0].bit;
    runner.Add(runner.Execute(check));
    if (runner.interrupted()) break;
  }
  return runner.Finish(/*single=*/false, 0);
}

int RunWithIdentifiers(const Args& args, Output& output,
                       const std::function<Check(uint32_t mask)>& make) {
  std::vector<Identifier> identifiers;
  const std::string error = ParseIdentifiers(args.Get("ids", "none"), &identifiers);
  if (!error.empty()) return output.Fail(MakeProblem("USAGE", error));
  if (args.Has("keep-going") && !identifiers.empty()) {
    return RunPerIdentifier(identifiers, args, output, make);
  }
  return RunSingle(make(IdentifierMask(identifiers)), args, output);
}

const char* Instance(const Args& args) {
  return args.Has("strongbox") ? kStrongBox : kTee;
}

// RunPlan runs the whole plan; see check_plan.h for what is left out on the way.
int RunPlan(const std::vector<Check>& plan, const Args& args, Output& output) {
  Runner runner(args, output, Layout::kTable);
  PlanKnowledge knowledge;
  size_t done = 0;
  for (const Check& check : plan) {
    CheckResult result = knowledge.Skip(check).value_or(CheckResult());
    if (result.name.empty()) {
      result = runner.Execute(check);
      if (runner.interrupted()) break;
      knowledge.Reconsider(check, &result,
                           [&](const Check& probe) { return runner.Execute(probe); });
    }
    knowledge.Learn(check, result);
    runner.Add(result);
    ++done;
    if (result.verdict == Verdict::kFail && !args.Has("keep-going")) break;
  }
  return runner.Finish(/*single=*/false, static_cast<int>(plan.size() - done));
}

int RunCheckAttestation(const Args& args, Output& output) {
  return RunWithIdentifiers(args, output, [&](uint32_t mask) {
    return AttestationCheck(Instance(args), mask, args.Has("relaxed"));
  });
}

int RunCheckRkpIds(const Args& args, Output& output) {
  return RunWithIdentifiers(args, output,
                            [&](uint32_t mask) { return RkpIdsCheck(Instance(args), mask); });
}

int RunCheckModel(const Args& args, Output& output) {
  if (args.operands()[0].empty()) return output.Fail(MakeProblem("USAGE", "the model is empty"));
  return RunSingle(ModelCheck(Instance(args), args.operands()[0], args.Has("relaxed")), args,
                   output);
}

int RunCheckRootOfTrust(const Args& args, Output& output) {
  return RunSingle(RootOfTrustCheck(), args, output);
}

int RunCheckSharedSecret(const Args& args, Output& output) {
  return RunSingle(SharedSecretCheck(), args, output);
}

int RunCheckAll(const Args& args, Output& output) {
  std::vector<Identifier> identifiers;
  const std::string error = ParseIdentifiers(args.Get("ids", "all"), &identifiers);
  if (!error.empty()) return output.Fail(MakeProblem("USAGE", error));
  return RunPlan(MakePlan(IdentifierMask(identifiers), args.Has("relaxed")), args, output);
}

constexpr Option kStrongBoxOption = {"strongbox", 0, nullptr,
                                     "the StrongBox instance (default: TEE)"};
constexpr Option kRelaxed = {"relaxed", 0, nullptr, "accept chains to another attestation root"};
constexpr Option kIds = {"ids", 0, "LIST",
                         "brand,device,product,serial,manufacturer,model,imei,imei2,meid or all"};
constexpr Option kKeepGoingIds = {"keep-going", 0, nullptr,
                                  "with --ids: one run for each, to see all that fail"};
constexpr Option kJunit = {"junit", 0, "FILE", "write the result as JUnit XML"};
constexpr const char kCheckDetails[] =
    "Prints PASS, FAIL, N/A (does not apply to this device) or ENV (something that the check "
    "needs\n"
    "is missing), the name, the seconds and a code; then the reason and what to look at next.\n";
constexpr bool kHandlesTimeout = true;

}  // namespace

std::vector<Command> CheckCommands() {
  return {
      {"check attestation",
       "",
       0,
       0,
       "self-test: can the device attest keys and its identifiers",
       kCheckDetails,
       {kStrongBoxOption, kRelaxed, kIds, kKeepGoingIds, kJunit},
       RunCheckAttestation,
       kHandlesTimeout},
      {"check model",
       "NAME",
       1,
       1,
       "self-test: can the device attest this model name",
       kCheckDetails,
       {kStrongBoxOption, kRelaxed, kJunit},
       RunCheckModel,
       kHandlesTimeout},
      {"check rkp-ids",
       "",
       0,
       0,
       "self-test: attestation with remotely provisioned keys",
       kCheckDetails,
       {kStrongBoxOption, kIds, kKeepGoingIds, kJunit},
       RunCheckRkpIds,
       kHandlesTimeout},
      {"check root-of-trust",
       "",
       0,
       0,
       "self-test: is the StrongBox bound to the TEE",
       kCheckDetails,
       {kJunit},
       RunCheckRootOfTrust,
       kHandlesTimeout},
      {"check shared-secret",
       "",
       0,
       0,
       "self-test: do TEE and StrongBox agree on a secret",
       kCheckDetails,
       {kJunit},
       RunCheckSharedSecret,
       kHandlesTimeout},
      {"check all",
       "",
       0,
       0,
       "run every self-test and print one table",
       "Stops at the first failure. Exit code 0 only if nothing failed: 1 when a check failed, 4\n"
       "when one could not be made for lack of its environment. Checks that do not apply to the\n"
       "device do not count. --timeout holds for each check.\n",
       {kRelaxed,
        {"ids", 0, "LIST", "identifiers to attest, as for check attestation (default: all)"},
        {"keep-going", 0, nullptr, "run the rest after a failure"},
        kJunit},
       RunCheckAll,
       kHandlesTimeout},
  };
}

}  // namespace orx_tool
