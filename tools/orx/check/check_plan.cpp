// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/check_plan.h"

#include "tools/orx/check/identifiers.h"

namespace orx_tool {
namespace {

constexpr const char* kInstances[] = {"default", "strongbox"};

Check MakeCheck(Check::Kind kind, const char* name, const std::string& instance) {
  Check check;
  check.kind = kind;
  check.name = name;
  check.instance = instance;
  return check;
}

}  // namespace

Check AttestationCheck(const std::string& instance, uint32_t id_mask, bool relaxed) {
  Check check = MakeCheck(Check::Kind::kAttestation, "attestation", instance);
  check.id_mask = id_mask;
  check.relaxed = relaxed;
  check.looks_at_chain = true;
  return check;
}

Check ModelCheck(const std::string& instance, const std::string& model, bool relaxed) {
  Check check = MakeCheck(Check::Kind::kModel, "model", instance);
  check.model = model;
  check.relaxed = relaxed;
  check.looks_at_chain = true;
  return check;
}

Check RkpIdsCheck(const std::string& instance, uint32_t id_mask) {
  Check check = MakeCheck(Check::Kind::kRkpIds, "rkp-ids", instance);
  check.id_mask = id_mask;
  return check;
}

Check RootOfTrustCheck() {
  return MakeCheck(Check::Kind::kRootOfTrust, "root-of-trust", "both");
}

Check SharedSecretCheck() {
  return MakeCheck(Check::Kind::kSharedSecret, "shared-secret", "both");
}

Check KeyMintCheck(const std::string& instance) {
  return MakeCheck(Check::Kind::kKeyMint, "keymint", instance);
}

std::vector<Check> MakePlan(uint32_t id_mask, bool relaxed) {
  std::vector<Check> plan;
  for (const char* instance : kInstances) plan.push_back(KeyMintCheck(instance));
  plan.push_back(SharedSecretCheck());
  plan.push_back(RootOfTrustCheck());
  for (const char* instance : kInstances) plan.push_back(AttestationCheck(instance, 0, relaxed));
  plan.push_back(MakeCheck(Check::Kind::kModel, "model", "default"));
  plan.back().relaxed = relaxed;
  for (const char* instance : kInstances) {
    if (id_mask == 0) continue;
    plan.push_back(AttestationCheck(instance, id_mask, relaxed));
    plan.back().name = "attestation-ids";
    plan.back().looks_at_chain = false;  // it was looked at without the identifiers
  }
  for (const char* instance : kInstances) {
    plan.push_back(RkpIdsCheck(instance, id_mask));
    plan.back().spares_factory_keys = true;
  }
  return plan;
}

std::vector<Check> SplitByIdentifier(const Check& check) {
  std::vector<Check> checks;
  for (const Identifier& identifier : IdentifiersIn(check.id_mask)) {
    checks.push_back(check);
    checks.back().name += std::string(":") + identifier.name;
    checks.back().id_mask = identifier.bit;
    checks.back().looks_at_chain = check.looks_at_chain && checks.size() == 1;
  }
  return checks;
}

}  // namespace orx_tool
