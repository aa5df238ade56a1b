// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/check_plan.h"

#include <orx/orx.h>

#include <algorithm>

#include "tools/orx/check/attest_key.h"

namespace orx_tool {
namespace {

constexpr const char kTee[] = "tee";
constexpr const char kStrongBox[] = "strongbox";
constexpr const char kAttestation[] = "attestation";
constexpr const char kAttestationIds[] = "attestation-ids";
constexpr const char kModel[] = "model";
constexpr const char kRkpIds[] = "rkp-ids";

constexpr Identifier kIdentifiers[] = {{"brand", 0x1},  {"device", 0x2},        {"product", 0x4},
                                       {"serial", 0x8}, {"manufacturer", 0x10}, {"model", 0x20},
                                       {"imei", 0x40},  {"imei2", 0x80},        {"meid", 0x100}};

int CountBits(uint32_t mask) {
  return __builtin_popcount(mask);
}

bool AddIdentifier(const std::string& name, std::vector<Identifier>* identifiers) {
  for (const Identifier& known : kIdentifiers) {
    if (name != known.name) continue;
    identifiers->push_back(known);
    return true;
  }
  return false;
}

// NoteRemoteKeys runs in the check's own process: it reads a property.
void NoteRemoteKeys(const std::string& instance, CheckNotes* notes) {
  if (instance != kStrongBox || StrongBoxHasFactoryKeys()) return;
  notes->remote_keys = true;
  notes->advice.push_back(
      "checked relaxed: a remotely provisioned StrongBox certifies its attestation key itself");
}

// NoteWhatIsAsked explains arguments of a single check that cannot do what they seem to.
void NoteWhatIsAsked(const std::string& instance, bool relaxed, CheckNotes* notes) {
  if (instance == kStrongBox && !relaxed && !StrongBoxHasFactoryKeys()) {
    notes->advice.push_back(
        "a remotely provisioned StrongBox certifies its attestation key itself: only --relaxed can "
        "pass");
  }
}

Check MakeAttestationCheck(const std::string& instance, uint32_t id_mask, bool relaxed,
                           bool relax_remote) {
  return {kAttestation, instance,
          [=](CheckNotes* notes) {
            if (relax_remote) NoteRemoteKeys(instance, notes);
            if (!relax_remote) NoteWhatIsAsked(instance, relaxed, notes);
            return ORX_validate_attestation(id_mask != 0, id_mask, relaxed || notes->remote_keys,
                                            instance == kStrongBox);
          },
          /*looks_at_chain=*/true, CountBits(id_mask)};
}

Check DeviceModelCheck() {
  return {kModel, kTee, [](CheckNotes*) {
            const char* model = ORX_get_model_name();
            if (model == nullptr) return 1;
            return ORX_validate_attestation_model(model, /*relaxed=*/false, /*strongbox=*/false);
          }};
}

bool NeedsModem(const Check& check) {
  return check.name == kAttestationIds || check.name == kRkpIds;
}

bool NeedsFactoryKeys(const Check& check) {
  return check.name == kAttestation || check.name == kAttestationIds || check.name == kModel;
}

CheckResult Known(const Check& check, const char* code) {
  return MakeResult(check, code, KnownProblem(code).cause);
}

}  // namespace

std::string ParseIdentifiers(const std::string& list, std::vector<Identifier>* identifiers) {
  if (list == "none") return "";
  if (list == "all") {
    identifiers->assign(std::begin(kIdentifiers), std::end(kIdentifiers));
    return "";
  }
  for (size_t begin = 0; begin <= list.size();) {
    const size_t end = std::min(list.find(',', begin), list.size());
    const std::string name = list.substr(begin, end - begin);
    if (!AddIdentifier(name, identifiers)) {
      return "'" + name + "' in --ids is none of brand, device, product, serial, manufacturer, " +
             "model, imei, imei2, meid, all, none";
    }
    begin = end + 1;
  }
  return "";
}

uint32_t IdentifierMask(const std::vector<Identifier>& identifiers) {
  uint32_t mask = 0;
  for (const Identifier& identifier : identifiers) mask |= identifier.bit;
  return mask;
}

Check AttestationCheck(const std::string& instance, uint32_t id_mask, bool relaxed) {
  return MakeAttestationCheck(instance, id_mask, relaxed, /*relax_remote=*/false);
}

Check ModelCheck(const std::string& instance, const std::string& model, bool relaxed) {
  return {kModel, instance,
          [=](CheckNotes*) {
            return ORX_validate_attestation_model(model.c_str(), relaxed, instance == kStrongBox);
          },
          /*looks_at_chain=*/true};
}

Check RkpIdsCheck(const std::string& instance, uint32_t id_mask) {
  return {kRkpIds, instance,
          [=](CheckNotes*) {
            return ORX_validate_attestation_ids(id_mask != 0, id_mask, /*relaxed=*/false,
                                                instance == kStrongBox);
          },
          /*looks_at_chain=*/false, CountBits(id_mask)};
}

Check RootOfTrustCheck() {
  return {"root-of-trust", "both", [](CheckNotes*) { return ORX_eSE_RoT_binding_check(); }};
}

Check SharedSecretCheck() {
  return {"shared-secret", "both",
          [](CheckNotes*) { return ORX_eSE_SharedSecret_negotiation_check(); }};
}

std::vector<Check> MakePlan(uint32_t id_mask, bool relaxed) {
  std::vector<Check> plan = {SharedSecretCheck(), RootOfTrustCheck()};
  for (const char* instance : {kTee, kStrongBox}) {
    plan.push_back(MakeAttestationCheck(instance, 0, relaxed, /*relax_remote=*/true));
  }
  plan.push_back(DeviceModelCheck());
  for (const char* instance : {kTee, kStrongBox}) {
    if (id_mask == 0) continue;
    Check check = MakeAttestationCheck(instance, id_mask, relaxed, /*relax_remote=*/true);
    check.name = kAttestationIds;
    check.looks_at_chain = false;  // it was looked at without the identifiers
    plan.push_back(check);
  }
  for (const char* instance : {kTee, kStrongBox}) plan.push_back(RkpIdsCheck(instance, id_mask));
  return plan;
}

std::optional<CheckResult> PlanKnowledge::Skip(const Check& check) const {
  if (strongbox_absent_ && check.instance == kStrongBox) return Known(check, "STRONGBOX-ABSENT");
  if (NeedsFactoryKeys(check) && without_factory_keys_.count(check.instance) != 0) {
    return Known(check, "ATTEST-REMOTE");
  }
  if (check.name == kRkpIds && with_factory_keys_.count(check.instance) != 0) {
    return Known(check, "RKP-NOT-USED");
  }
  if (modem_unreachable_ && NeedsModem(check)) return Known(check, "MODEM-UNREACHABLE");
  return std::nullopt;
}

void PlanKnowledge::Reconsider(const Check& check, CheckResult* result,
                               const std::function<CheckResult(const Check&)>& probe) {
  if (!NeedsFactoryKeys(check) || result->code != "KM-KEYS-NOT-PROVISIONED") return;
  if (probe(RkpIdsCheck(check.instance, 0)).verdict != Verdict::kPass) return;
  without_factory_keys_.insert(check.instance);
  *result = Known(check, "ATTEST-REMOTE");
}

void PlanKnowledge::Learn(const Check& check, const CheckResult& result) {
  if (result.code == "STRONGBOX-ABSENT") strongbox_absent_ = true;
  if (result.code == "MODEM-UNREACHABLE") modem_unreachable_ = true;
  const bool attests = check.name == kAttestation && result.verdict == Verdict::kPass;
  if (attests && !result.remote_keys) with_factory_keys_.insert(check.instance);
}

}  // namespace orx_tool
