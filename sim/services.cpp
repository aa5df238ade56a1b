// SPDX-License-Identifier: Apache-2.0
#include "sim/services.h"

#include <algorithm>
#include <iterator>

namespace orx_sim {
namespace {

constexpr size_t kKeyLength = 32;

// Both environments have the device's pre-shared key, unless the StrongBox is one of another
// device.
std::shared_ptr<SharedSecretParty> NewParty(const DeviceFolder& folder, const Instance& instance) {
  if (!instance.IsStrongBox()) {
    return std::make_shared<SharedSecretParty>(folder.DeriveKey("pre-shared key", kKeyLength),
                                               Bytes());
  }
  const bool shared = folder.Get("strongbox-preshared-key") == "shared";
  const SecretBytes seed = folder.DeriveKey("shared secret seed", kKeyLength);
  return std::make_shared<SharedSecretParty>(
      folder.DeriveKey(shared ? "pre-shared key" : "pre-shared key of another device", kKeyLength),
      Bytes(seed.begin(), seed.end()));
}

void Negotiate(const std::vector<std::shared_ptr<SharedSecretParty>>& parties) {
  std::vector<ss::SharedSecretParameters> parameters;
  std::transform(parties.begin(), parties.end(), std::back_inserter(parameters),
                 [](const auto& party) { return party->parameters(); });
  std::sort(parameters.begin(), parameters.end());
  for (const auto& party : parties) party->Negotiate(parameters);
}

std::shared_ptr<RemotelyProvisionedComponent> NewComponent(
    const std::shared_ptr<DeviceFolder>& folder, const Instance& instance) {
  if (folder->Get(instance.Setting("attestation")) == "none") return nullptr;
  return ndk::SharedRefBase::make<RemotelyProvisionedComponent>(folder, instance);
}

}  // namespace

std::vector<Services> StartServices(const std::shared_ptr<DeviceFolder>& folder) {
  std::vector<Instance> instances = {kTee};
  if (folder->IsYes("strongbox")) instances.push_back(kStrongBox);
  std::vector<Services> services;
  std::vector<std::shared_ptr<SharedSecretParty>> parties;
  for (const Instance& instance : instances) {
    const auto party = parties.emplace_back(NewParty(*folder, instance));
    services.push_back({instance, ndk::SharedRefBase::make<KeyMintDevice>(folder, instance, party),
                        NewComponent(folder, instance),
                        ndk::SharedRefBase::make<SharedSecretService>(party)});
  }
  Negotiate(parties);
  return services;
}

}  // namespace orx_sim
