// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include "tools/orx/check/attest_key.h"
#include "tools/orx/check/certificate.h"
#include "tools/orx/check/check_commands.h"
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

int RunChainShow(const Args& args, Output& output) {
  CertificateFile all;
  for (const std::string& path : args.operands()) {
    std::optional<Problem> problem;
    const auto file = ReadCertificates(path, &problem);
    if (!file) return output.Fail(*problem);
    all.chain.insert(all.chain.end(), file->chain.begin(), file->chain.end());
    all.damage.insert(all.damage.end(), file->damage.begin(), file->damage.end());
  }
  ShowChain(all.chain, output);
  if (all.damage.empty()) return output.Succeed();
  std::string cause;
  for (const std::string& damage : all.damage) cause += (cause.empty() ? "" : "; ") + damage;
  return output.Fail(MakeProblem("CERTIFICATE-FORMAT", cause));
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

constexpr Option kStrongBoxOption = {"strongbox", 0, nullptr,
                                     "the instance strongbox (else: default, the TEE's)"};

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
