// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/library_call.h"

#include <orx/orx.h>

#include <algorithm>

#include "tools/orx/chain/attest_key.h"

namespace orx_tool {
namespace {

int CheckModel(const Check& check, bool relaxed) {
  const char* model = check.model ? check.model->c_str() : ORX_get_model_name();
  if (model == nullptr) return 1;
  return ORX_validate_attestation_model(model, relaxed, check.on_strongbox());
}

int CallSelfTest(const Check& check) {
  const bool with_ids = check.id_mask != 0;
  const bool relaxed = check.relaxed || (check.on_strongbox() && !StrongBoxHasFactoryKeys());
  switch (check.kind) {
    case Check::Kind::kAttestation:
      return ORX_validate_attestation(with_ids, check.id_mask, relaxed, check.on_strongbox());
    case Check::Kind::kModel:
      return CheckModel(check, relaxed);
    case Check::Kind::kRkpIds:
      return ORX_validate_attestation_ids(with_ids, check.id_mask, relaxed, check.on_strongbox());
    case Check::Kind::kRootOfTrust:
      return ORX_eSE_RoT_binding_check();
    case Check::Kind::kSharedSecret:
      return ORX_eSE_SharedSecret_negotiation_check();
    case Check::Kind::kKeyMint:
      break;
  }
  return 1;
}

}  // namespace

CallResult CallLibrary(const Check& check) {
  if (check.kind != Check::Kind::kKeyMint) return {CallSelfTest(check), {}};
  std::vector<Refusal> refusals = ExerciseService(check.on_strongbox());
  const bool fit = std::all_of(refusals.begin(), refusals.end(),
                               [](const Refusal& refusal) { return refusal.optional; });
  return {fit ? 0 : 1, std::move(refusals)};
}

}  // namespace orx_tool
