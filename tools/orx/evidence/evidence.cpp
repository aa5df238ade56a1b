// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/evidence/evidence.h"

#include <dirent.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "tools/orx/chain/certificate.h"
#include "tools/orx/cli/files.h"
#include "tools/orx/evidence/replay_lines.h"

namespace orx_tool {
namespace {

bool IsEmptyFolder(const std::string& path) {
  DIR* folder = opendir(path.c_str());
  if (folder == nullptr) return false;
  bool empty = true;
  while (const dirent* entry = readdir(folder)) {
    const std::string name = entry->d_name;
    empty = empty && (name == "." || name == "..");
  }
  closedir(folder);
  return empty;
}

Problem CannotMake(const std::string& folder, const std::string& why) {
  return MakeProblem("OUTPUT-FAILED", "cannot make the evidence " + folder + ": " + why);
}

std::string LogText(const std::vector<LogLine>& lines) {
  std::string text;
  for (const LogLine& line : lines) text += line.place + ": " + line.message + "\n";
  return text;
}

// "attestation-ids-tee" is also a good name for a file.
std::string FileName(const CheckResult& result) {
  std::string name = result.name + "-" + result.instance;
  std::replace(name.begin(), name.end(), ':', '-');
  return name;
}

}  // namespace

Evidence::Evidence(const std::string& folder, bool show_ids, std::optional<Problem>* problem)
    : folder_(folder.substr(0, folder.find_last_not_of('/') + 1)), show_ids_(show_ids) {
  struct stat status;
  if (lstat(folder_.c_str(), &status) == 0 && !IsEmptyFolder(folder_)) {
    *problem = CannotMake(folder_, "there is something already");
    return;
  }
  std::string path = folder_ + ".XXXXXX";
  if (mkdtemp(path.data()) == nullptr) {
    *problem = CannotMake(folder_, strerror(errno));
    return;
  }
  unfinished_ = path;
}

Evidence::~Evidence() {
  if (unfinished_.empty()) return;
  for (const auto& file : files_) unlink((unfinished_ + "/" + file.first).c_str());
  rmdir(unfinished_.c_str());
}

std::string Evidence::AddChain(const std::string& name, const CertificateChain& chain) {
  if (chain.empty()) return "";
  files_[name] = WritePem(chain);
  return name;
}

void Evidence::Add(const Check& check, const CheckResult& result) {
  if (result.seen == nullptr) return;
  const Seen& seen = *result.seen;
  const std::string name = FileName(result);
  files_[name + ".log"] = LogText(seen.lines);
  for (const ModemExchange& exchange : seen.modem) {
    files_["modem.txt"] += name + ": " + exchange.command + "\n" + exchange.answer + "\n";
  }
  const std::string chain = AddChain(name + ".pem", seen.capture.attestation_key.chain);
  const Capture::Identifier* refused = RefusedLeaf(check, seen.capture);
  // The certificate of an identifier's key names the identifier.
  const std::string leaf =
      refused != nullptr && show_ids_ ? AddChain(name + "-identifier.pem", refused->key.chain) : "";
  for (const std::string& line : ReplayLines(check, result, chain, leaf)) {
    const bool known = std::find(replay_.begin(), replay_.end(), line) != replay_.end();
    const bool other_chain =
        line.rfind("chain ", 0) == 0 && !answered_.insert(check.instance).second;
    if (!known && !other_chain) replay_.push_back(line);
  }
}

std::string Evidence::ReplayText() const {
  std::string text =
      "orx-replay 1\n"
      "# For orx-sim run --replay. Chains and errors are those of requests that the tool made "
      "once\n"
      "# more after each check: the self-tests keep what they receive.\n";
  for (const std::string& line : replay_) text += line + "\n";
  return text;
}

bool Evidence::Commit(const Json::Value& report, std::optional<Problem>* problem) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  files_["report.json"] = Json::writeString(builder, report) + "\n";
  files_["replay"] = ReplayText();
  for (const auto& [name, content] : files_) {
    FileOutput file(unfinished_ + "/" + name, Privacy::kSecret, problem);
    if (*problem || !file.Write(content.data(), content.size(), problem) || !file.Commit(problem)) {
      return false;
    }
  }
  // An empty folder at the name gives way.
  if (rename(unfinished_.c_str(), folder_.c_str()) != 0) {
    *problem = CannotMake(folder_, strerror(errno));
    return false;
  }
  unfinished_.clear();
  return true;
}

}  // namespace orx_tool
