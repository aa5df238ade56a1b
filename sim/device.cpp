// SPDX-License-Identifier: Apache-2.0
#include "sim/device.h"

#include <android/binder_manager.h>
#include <android_host/host.h>
#include <stdio.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "sim/channel/channel.h"

namespace orx_sim {
namespace {

constexpr size_t kKeyLength = 32;

// Both instances have the device's pre-shared key, unless the StrongBox is one of another
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

std::shared_ptr<KeyMintDevice> NewKeyMint(const std::shared_ptr<DeviceFolder>& folder,
                                          const Instance& instance,
                                          const std::shared_ptr<SharedSecretParty>& party,
                                          const std::shared_ptr<const Replay>& replay) {
  if (replay == nullptr) return ndk::SharedRefBase::make<KeyMintDevice>(folder, instance, party);
  return ndk::SharedRefBase::make<ReplayedKeyMint>(folder, instance, party, replay);
}

void SetProperty(const std::string& name, const std::string& value) {
  std::string error;
  if (!android_host::SetProperty(name, value, &error)) {
    fprintf(stderr, "simulated device: %s\n", error.c_str());
  }
}

std::string WithDashes(const std::string& date) {
  const std::string day = date.size() > 6 ? date.substr(6) : "01";
  return date.substr(0, 4) + "-" + date.substr(4, 2) + "-" + day;
}

// The properties that tell what the settings say. A line of build.prop may say otherwise.
void SetDerivedProperties(const DeviceFolder& folder) {
  SetProperty("ro.build.version.release", std::to_string(folder.GetNumber("os-version") / 10000));
  SetProperty("ro.build.version.security_patch", WithDashes(folder.Get("os-patch-level")));
  SetProperty("ro.vendor.build.security_patch", WithDashes(folder.Get("vendor-patch-level")));
}

}  // namespace

std::vector<Services> StartServices(const std::shared_ptr<DeviceFolder>& folder,
                                    const std::shared_ptr<const Replay>& replay) {
  std::vector<Instance> instances = {kTee};
  if (folder->IsYes("strongbox")) instances.push_back(kStrongBox);
  std::vector<Services> services;
  std::vector<std::shared_ptr<SharedSecretParty>> parties;
  for (const Instance& instance : instances) {
    const auto party = parties.emplace_back(NewParty(*folder, instance));
    services.push_back({instance, NewKeyMint(folder, instance, party, replay),
                        NewComponent(folder, instance),
                        ndk::SharedRefBase::make<SharedSecretService>(party)});
  }
  Negotiate(parties);
  return services;
}

bool StartModem(const DeviceFolder& folder, const Replay& replay, FaultTable* faults,
                const std::string& socket_path, ModemDaemon* modem, std::string* error) {
  if (!folder.IsYes("modem") || !replay.has_modem) return true;
  ModemSettings settings;
  settings.replayed = replay.modem;
  settings.imei = folder.Get("imei");
  settings.imei2 = folder.Get("second-imei");
  settings.meid = folder.Get("meid");
  settings.faults = [faults] { return faults->OnModemRequest(); };
  return modem->Start(socket_path, settings, error);
}

Device::Device(std::shared_ptr<DeviceFolder> folder)
    : folder_(std::move(folder)), faults_(std::make_shared<FaultTable>()) {}

std::unique_ptr<Device> Device::Create(const std::string& folder, const std::string& profile,
                                       std::string* error) {
  std::shared_ptr<DeviceFolder> made = DeviceFolder::Create(folder, profile, error);
  return made == nullptr ? nullptr : std::unique_ptr<Device>(new Device(std::move(made)));
}

std::unique_ptr<Device> Device::Open(const std::string& folder, std::string* error) {
  std::shared_ptr<DeviceFolder> opened = DeviceFolder::Open(folder, error);
  return opened == nullptr ? nullptr : std::unique_ptr<Device>(new Device(std::move(opened)));
}

bool Device::IsLeftOut(const std::string& instance, const std::string& name) const {
  return replay_ != nullptr &&
         replay_->absent.count(instance) + replay_->absent.count(instance + "." + name) != 0;
}

template <typename Interface>
void Device::AddService(std::shared_ptr<Interface> service, const Instance& instance,
                        const std::string& name, int version) {
  if (service == nullptr || IsLeftOut(instance.name, name)) return;
  const std::string path = std::string(Interface::descriptor) + "/" + instance.name;
  // A service that a fault keeps away is one that the device should have.
  android_host::DeclareService(path);
  if (faults_->IsAbsent(instance.name, name)) return;
  const std::shared_ptr<ndk::ICInterface> channel =
      Connect(std::move(service), {faults_, instance.name, name, version, log_descriptor_});
  const ndk::SpAIBinder binder = channel->asBinder();
  if (AServiceManager_addService(binder.get(), path.c_str()) != EX_NONE) {
    fprintf(stderr, "simulated device: cannot register %s\n", path.c_str());
  }
}

void Device::Attach() {
  SetDerivedProperties(*folder_);
  for (const Assignment& property : folder_->properties()) {
    SetProperty(property.name, property.value);
  }
  for (const Services& services : StartServices(folder_, replay_)) {
    const Instance& instance = services.instance;
    const int64_t version = folder_->GetNumber(instance.Setting("keymint-version"));
    AddService<km::IKeyMintDevice>(services.keymint, instance, "keymint",
                                   static_cast<int>(version));
    AddService<km::IRemotelyProvisionedComponent>(services.remotely_provisioned, instance, "rkp",
                                                  km::IRemotelyProvisionedComponent::version);
    AddService<ss::ISharedSecret>(services.shared_secret, instance, "sharedsecret",
                                  ss::ISharedSecret::version);
  }
}

}  // namespace orx_sim
