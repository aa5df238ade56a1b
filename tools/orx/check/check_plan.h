// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/orx/check/check.h"

namespace orx_tool {

// Identifier is a device identifier that the attestation self-tests can include, with its bit in
// their mask.
struct Identifier {
  const char* name;
  uint32_t bit;
};

// ParseIdentifiers reads "brand,imei", "all" or "none". Returns an empty string, or the error.
std::string ParseIdentifiers(const std::string& list, std::vector<Identifier>* identifiers);
uint32_t IdentifierMask(const std::vector<Identifier>& identifiers);

// The self-tests. `instance` is "tee" or "strongbox".
Check AttestationCheck(const std::string& instance, uint32_t id_mask, bool relaxed);
Check ModelCheck(const std::string& instance, const std::string& model, bool relaxed);
Check RkpIdsCheck(const std::string& instance, uint32_t id_mask);
Check RootOfTrustCheck();
Check SharedSecretCheck();

// MakePlan lists every self-test for both instances in the order in which one builds on the other.
// A StrongBox whose keys are provisioned remotely certifies its attestation key itself, so that its
// chain can only be checked relaxed; the plan does that, and the result says so.
std::vector<Check> MakePlan(uint32_t id_mask, bool relaxed);

// PlanKnowledge is what the results so far tell about the device. The attestation checks are for
// instances with factory keys, the check of remotely provisioned keys for those without: a healthy
// instance can pass one kind only, and the other does not apply to it.
class PlanKnowledge {
 public:
  // Skip gives the result of a check that need not be run.
  std::optional<CheckResult> Skip(const Check& check) const;
  // Reconsider turns a failure for lack of factory keys into "not applicable" when `probe` shows
  // that the instance's keys are provisioned remotely.
  void Reconsider(const Check& check, CheckResult* result,
                  const std::function<CheckResult(const Check&)>& probe);
  void Learn(const Check& check, const CheckResult& result);

 private:
  bool strongbox_absent_ = false;
  bool modem_unreachable_ = false;
  std::set<std::string> with_factory_keys_;  // instances
  std::set<std::string> without_factory_keys_;
};

}  // namespace orx_tool
