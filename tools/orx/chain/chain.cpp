// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include "tools/orx/chain/attest_key.h"
#include "tools/orx/chain/certificate.h"
#include "tools/orx/check/check_commands.h"
#include "tools/orx/check/check_report.h"
#include "tools/orx/check/judge.h"
#include "tools/orx/cli/files.h"
#include "tools/orx/cli/json_lines.h"
#include "tools/orx/cli/process.h"
#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {
namespace {

// ShowChain prints the certificates and adds them to the answer.
void ShowChain(const CertificateChain& chain, Output& output) {
  Json::Value certificates(Json::arrayValue);
  for (size_t i = 0; i < chain.size(); ++i) {
    const auto certificate = orx_common::ParseCertificate(chain[i]);
    output.Text("certificate " + std::to_string(i) + ":");
    if (certificate == nullptr) {
      output.Text("  does not parse, " + std::to_string(chain[i].size()) + " bytes");
      certificates.append(Json::Value());
      continue;
    }
    for (const std::string& line : CertificateLines(certificate.get())) output.Text("  " + line);
    certificates.append(DescribeCertificate(certificate.get()));
  }
  output.answer()["certificates"] = certificates;
  const std::vector<std::string> advice = ChainAdvice(chain);
  for (const std::string& text : advice) output.Text("note: " + text);
  output.answer()["advice"] = Texts(advice);
}

bool WriteText(const std::string& path, const std::string& text, std::optional<Problem>* problem) {
  FileOutput file(path, Privacy::kPublic, problem);
  return !*problem && file.Write(text.data(), text.size(), problem) && file.Commit(problem);
}

// WriteChain writes chain.pem and each certificate on its own.
bool WriteChain(const std::string& folder, const CertificateChain& chain,
                std::optional<Problem>* problem) {
  const bool made = mkdir(folder.c_str(), 0700) == 0;
  if (made) chmod(folder.c_str(), UserMode(0777));
  if (!made && errno != EEXIST) {
    *problem = MakeProblem("OUTPUT-FAILED", "cannot make " + folder + ": " + strerror(errno));
    return false;
  }
  for (size_t i = 0; i < chain.size(); ++i) {
    const std::string path = folder + "/cert" + std::to_string(i) + ".pem";
    if (!WriteText(path, WritePem({chain[i]}), problem)) return false;
  }
  return WriteText(folder + "/chain.pem", WritePem(chain), problem);
}

template <typename T>
void Append(const std::vector<T>& more, std::vector<T>* all) {
  all->insert(all->end(), more.begin(), more.end());
}

// ReadFiles reads all files as one chain. Nothing, and *problem, when one holds no certificate.
std::optional<CertificateFile> ReadFiles(const std::vector<std::string>& paths,
                                         std::optional<Problem>* problem) {
  CertificateFile all;
  for (const std::string& path : paths) {
    const auto file = ReadCertificates(path, problem);
    if (!file) return std::nullopt;
    Append(file->chain, &all.chain);
    Append(file->damage, &all.damage);
    Append(file->as_received, &all.as_received);
  }
  return all;
}

Problem DamageProblem(const CertificateFile& file) {
  std::string cause;
  for (const std::string& damage : file.damage) cause += (cause.empty() ? "" : "; ") + damage;
  return MakeProblem("CERTIFICATE-FORMAT", cause);
}

int RunChainShow(const Args& args, Output& output) {
  std::optional<Problem> problem;
  const auto file = ReadFiles(args.operands(), &problem);
  if (!file) return output.Fail(*problem);
  ShowChain(file->chain, output);
  if (file->damage.empty()) return output.Succeed();
  return output.Fail(DamageProblem(*file));
}

// The lengths of the chains that the self-tests want: of an attestation key from a remotely
// provisioned StrongBox or with factory keys, and of a key attested by it.
constexpr size_t kChainSizes[] = {1, 2, 4, 5};

int RunChainCheck(const Args& args, Output& output) {
  std::vector<size_t> sizes(std::begin(kChainSizes), std::end(kChainSizes));
  if (args.Has("size")) {
    const auto size = ParseNumber(args.Get("size"), 1, 100);
    if (!size) return output.Fail(MakeProblem("USAGE", "--size takes a number from 1 to 100"));
    sizes = {static_cast<size_t>(*size)};
  }
  std::optional<Problem> problem;
  const auto file = ReadFiles(args.operands(), &problem);
  if (!file) return output.Fail(*problem);
  const CertificateChain& chain = file->as_received;
  // A whole block that is no certificate counts as one that does not parse; of other damage nobody
  // can tell how many certificates it was.
  if (file->damage.size() > chain.size() - file->chain.size()) {
    return output.Fail(DamageProblem(*file));
  }
  const CheckResult result = JudgeChain(chain, sizes, !args.Has("relaxed"));
  output.Text(std::string(VerdictName(result.verdict)) + "  chain of " +
              std::to_string(chain.size()) + "  " + result.code);
  for (const std::string& line : ReasonLines(result)) output.Text(line);
  if (result.verdict == Verdict::kPass) {
    for (const std::string& text : result.advice) output.Text("note: " + text);
  }
  Json::Value& answer = output.answer();
  answer["verdict"] = VerdictName(result.verdict);
  answer["code"] = result.code;
  answer["cause"] = result.cause;
  answer["advice"] = Texts(result.advice);
  answer["size"] = static_cast<int>(chain.size());
  return output.Finish(result.exit_code);
}

int RunAttestKey(const Args& args, Output& output) {
  if (!args.Has("output")) {
    return output.Fail(MakeProblem("USAGE", "give a folder for the chain with -o DIR"));
  }
  CertificateChain chain;
  ClearLibraryLog();
  const int result = GenerateAttestKey(args.Has("strongbox"), &chain);
  if (result != 0) return output.Fail(DiagnoseKeyMint(LibraryLogLines(), result));
  std::optional<Problem> problem;
  if (!WriteChain(args.Get("output"), chain, &problem)) return output.Fail(*problem);
  ShowChain(chain, output);
  output.answer()["output"] = args.Get("output");
  output.Text(std::to_string(chain.size()) + " certificates in " + args.Get("output") +
              "/chain.pem");
  return output.Succeed();
}

}  // namespace

std::vector<Command> ChainCommands() {
  return {
      {"chain show",
       "FILE...",
       1,
       kAnyNumber,
       "print certificates readably",
       "Takes PEM, or one or more certificates in DER. Android attestation records are decoded, "
       "and\n"
       "notes say what the self-tests refuse in the chain, in their order.\n",
       {},
       RunChainShow},
      {"chain check",
       "FILE...",
       1,
       kAnyNumber,
       "judge a captured chain as the self-tests do",
       "Takes what chain show takes and gives verdict, code and advice of 'check attestation' on "
       "a\n"
       "device with this chain. Without --size it accepts the lengths that the self-tests want:\n"
       "4 and 5 with factory keys, 1 and 2 from a remotely provisioned StrongBox, whose chains "
       "pass\n"
       "with --relaxed only.\n",
       {{"relaxed", 0, nullptr, "accept chains to another attestation root"},
        {"size", 0, "N", "the chain must have N certificates"}},
       RunChainCheck},
      {"attest-key",
       "",
       0,
       0,
       "have KeyMint make an attestation key and write its chain",
       "Writes DIR/chain.pem and each certificate as DIR/certN.pem, the key's own first. The key\n"
       "is deleted again.\n",
       {kStrongBoxOption, {"output", 'o', "DIR", "the folder, made if it is missing"}},
       RunAttestKey},
  };
}

}  // namespace orx_tool
