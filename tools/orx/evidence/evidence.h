// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/json.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/orx/check/judge.h"

namespace orx_tool {

// Evidence is a folder with what explains the verdicts of a run elsewhere; docs/formats.md has its
// files. They are made beside the folder's name, which they get when all are whole; files and
// folder are the owner's alone.
class Evidence {
 public:
  // Begins the evidence. Sets *problem when there is something at `folder` already that is not an
  // empty folder, or when it cannot be made.
  Evidence(const std::string& folder, bool show_ids, std::optional<Problem>* problem);
  ~Evidence();
  Evidence(const Evidence&) = delete;
  Evidence& operator=(const Evidence&) = delete;

  // Add takes in a check that was made.
  void Add(const Check& check, const CheckResult& result);

  // Commit writes all, with the report, and puts the folder in its place.
  bool Commit(const Json::Value& report, std::optional<Problem>* problem);

 private:
  std::string AddChain(const std::string& name, const CertificateChain& chain);
  std::string ReplayText() const;

  std::string folder_;
  std::string unfinished_;
  const bool show_ids_;
  std::map<std::string, std::string> files_;  // content by name
  std::vector<std::string> replay_;
  std::set<std::string> answered_;  // the instances that have their chain
};

}  // namespace orx_tool
