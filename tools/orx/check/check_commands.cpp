// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/check_commands.h"

#include <algorithm>
#include <functional>

#include "tools/orx/check/check_plan.h"
#include "tools/orx/check/check_runner.h"
#include "tools/orx/check/identifiers.h"
#include "tools/orx/cli/json_lines.h"

namespace orx_tool {
namespace {

using Layout = CheckRunner::Layout;

// The summaries of the single checks begin with it.
constexpr const char kSelfTest[] = "self-test: ";

const char* Instance(const Args& args) {
  return args.Has("strongbox") ? "strongbox" : "default";
}

int RunSingle(const Check& check, const Args& args, Output& output) {
  return CheckRunner(args, output, Layout::kLines).Run({check}, /*stops=*/false);
}

int RunWithIdentifiers(const Args& args, Output& output,
                       const std::function<Check(uint32_t mask)>& make) {
  std::vector<Identifier> identifiers;
  const std::string error = ParseIdentifiers(args.Get("ids", "none"), &identifiers);
  if (!error.empty()) return output.Fail(MakeProblem("USAGE", error));
  const Check check = make(IdentifierMask(identifiers));
  if (!args.Has("keep-going") || identifiers.empty()) return RunSingle(check, args, output);
  return CheckRunner(args, output, Layout::kLines).Run(SplitByIdentifier(check), /*stops=*/false);
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
  return RunSingle(ModelCheck(Instance(args), args.operands()[0], args.Has("relaxed")), args,
                   output);
}

int RunCheckRootOfTrust(const Args& args, Output& output) {
  return RunSingle(RootOfTrustCheck(), args, output);
}

int RunCheckSharedSecret(const Args& args, Output& output) {
  return RunSingle(SharedSecretCheck(), args, output);
}

int RunCheckKeyMint(const Args& args, Output& output) {
  return RunSingle(KeyMintCheck(Instance(args)), args, output);
}

int RunCheckAll(const Args& args, Output& output) {
  std::vector<Identifier> identifiers;
  const std::string error = ParseIdentifiers(args.Get("ids", "all"), &identifiers);
  if (!error.empty()) return output.Fail(MakeProblem("USAGE", error));
  return CheckRunner(args, output, Layout::kTable)
      .Run(MakePlan(IdentifierMask(identifiers), args.Has("relaxed")), !args.Has("keep-going"));
}

constexpr Option kRelaxed = {"relaxed", 0, nullptr, "accept chains to another attestation root"};
constexpr Option kIds = {"ids", 0, "LIST",
                         "brand,device,product,serial,manufacturer,model,imei,imei2,meid or all"};
constexpr Option kKeepGoingIds = {"keep-going", 0, nullptr,
                                  "with --ids: one run for each, to see all that fail"};
constexpr Option kRepeat = {"repeat", 0, "N",
                            "make each check N times and judge all; counts what comes and goes"};
constexpr Option kEvidence = {"evidence", 0, "DIR",
                              "keep what explains the verdict elsewhere, for orx-sim run --replay"};
constexpr Option kJunit = {"junit", 0, "FILE", "write the result as JUnit XML"};
constexpr Option kHtml = {"html", 0, "FILE", "write the result as one page for a browser"};
constexpr Option kJsonLines = {"json-lines", 0, nullptr,
                               "print each result as a line of JSON as it ends, --json's last"};
constexpr const char kCheckDetails[] =
    "Prints PASS, FAIL, N/A (does not apply to this device), ENV (something that the check needs\n"
    "is missing), TIMEOUT or INTERRUPTED, the name, the seconds and a code; then the reason and\n"
    "what to look at next. A call may take 120 seconds, or as many as --timeout says.\n"
    "\n"
    "--evidence makes the folder DIR, readable by its owner alone: report, the library's lines, "
    "the\n"
    "modem's answers, and chains and KeyMint errors. The latter are of requests that are made "
    "once\n"
    "more after the check, as the self-tests keep what they receive. Identifiers are masked, and\n"
    "certificates that name one are left out, unless --show-ids is given.\n";
constexpr const char kRkpIdsDetails[] =
    "For devices whose keys are provisioned remotely: FAIL where the instance still has factory\n"
    "attestation keys, which are to be cleared before shipping. 'check all' takes a device as it\n"
    "is: where it finds factory keys, this check is N/A.\n\n";
constexpr const char kKeyMintDetails[] =
    "Through the library's KeyMint client it imports an AES-128 key and RSA keys of 2048 and 4096\n"
    "bits as the library does, encrypts, decrypts, signs with SHA-1 and SHA-256, compares each\n"
    "result with the crypto library's and deletes the keys. Names all that KeyMint refuses. No "
    "slot\n"
    "and no file is touched.\n\n";

const char* KeyMintDetails() {
  static const auto& details = *new std::string(std::string(kKeyMintDetails) + kCheckDetails);
  return details.c_str();
}

const char* RkpIdsDetails() {
  static const auto& details = *new std::string(std::string(kRkpIdsDetails) + kCheckDetails);
  return details.c_str();
}

// RunCheckList lists the single checks; which those are, the table of commands tells.
int RunCheckList(const Args& /*args*/, Output& output) {
  const std::string command_prefix = "check ";
  const std::string summary_prefix = kSelfTest;
  std::vector<std::vector<std::string>> rows = {{"CHECK", "INSTANCE", "QUESTION"}};
  Json::Value list(Json::arrayValue);
  for (const Command& command : CheckCommands()) {
    const std::string summary = command.summary;
    if (summary.rfind(summary_prefix, 0) != 0) continue;
    const bool of_one = std::any_of(
        command.options.begin(), command.options.end(),
        [](const Option& option) { return option.name == std::string(kStrongBoxOption.name); });
    const std::vector<std::string> instances =
        of_one ? std::vector<std::string>{"default", "strongbox"}
               : std::vector<std::string>{"both"};
    Json::Value json(Json::objectValue);
    json["check"] = std::string(command.name).substr(command_prefix.size());
    json["instances"] = Texts(instances);
    json["question"] = summary.substr(summary_prefix.size());
    rows.push_back({json["check"].asString(), of_one ? "default, strongbox" : "both",
                    json["question"].asString()});
    list.append(json);
  }
  PrintTable(output, rows);
  output.answer()["available"] = list;
  return output.Succeed();
}

}  // namespace

std::vector<Command> CheckCommands() {
  return {
      {"check keymint",
       "",
       0,
       0,
       "self-test: does KeyMint do all that the library asks of it",
       KeyMintDetails(),
       {kStrongBoxOption, kRepeat, kEvidence, kJunit, kHtml, kJsonLines},
       RunCheckKeyMint,
       kHandlesTimeout},
      {"check attestation",
       "",
       0,
       0,
       "self-test: can the device attest keys and its identifiers",
       kCheckDetails,
       {kStrongBoxOption, kRelaxed, kIds, kKeepGoingIds, kRepeat, kEvidence, kJunit, kHtml,
        kJsonLines},
       RunCheckAttestation,
       kHandlesTimeout},
      {"check model",
       "NAME",
       1,
       1,
       "self-test: can the device attest this model name",
       kCheckDetails,
       {kStrongBoxOption, kRelaxed, kRepeat, kEvidence, kJunit, kHtml, kJsonLines},
       RunCheckModel,
       kHandlesTimeout},
      {"check rkp-ids",
       "",
       0,
       0,
       "self-test: can the device attest with remotely provisioned keys",
       RkpIdsDetails(),
       {kStrongBoxOption, kIds, kKeepGoingIds, kRepeat, kEvidence, kJunit, kHtml, kJsonLines},
       RunCheckRkpIds,
       kHandlesTimeout},
      {"check root-of-trust",
       "",
       0,
       0,
       "self-test: is the StrongBox bound to the TEE",
       kCheckDetails,
       {kRepeat, kEvidence, kJunit, kHtml, kJsonLines},
       RunCheckRootOfTrust,
       kHandlesTimeout},
      {"check shared-secret",
       "",
       0,
       0,
       "self-test: do TEE and StrongBox agree on a secret",
       kCheckDetails,
       {kRepeat, kEvidence, kJunit, kHtml, kJsonLines},
       RunCheckSharedSecret,
       kHandlesTimeout},
      {"check list",
       "",
       0,
       0,
       "list the self-tests",
       "Each can be run for the instances named; 'check all' runs them all. Its attestation-ids "
       "is\n"
       "attestation with --ids.\n",
       {},
       RunCheckList},
      {"check all",
       "",
       0,
       0,
       "run every self-test and print one table",
       "Stops at the first failure or time-out. Exit code 0 only if nothing failed: 1 when a "
       "check\n"
       "failed, else 5 when one timed out, else 4 when one lacked its environment. Checks that do\n"
       "not apply to the device do not count. --timeout holds for each check. A run that is\n"
       "interrupted reports what it did and ends with 128 and the signal's number.\n",
       {kRelaxed,
        {"ids", 0, "LIST", "identifiers to attest, as for check attestation (default: all)"},
        {"keep-going", 0, nullptr, "run the rest after a failure or time-out"},
        kRepeat,
        kEvidence,
        kJunit,
        kHtml,
        kJsonLines},
       RunCheckAll,
       kHandlesTimeout},
  };
}

}  // namespace orx_tool
