// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sim/attestation/remotely_provisioned.h"
#include "sim/base/device_folder.h"
#include "sim/base/instance.h"
#include "sim/channel/faults.h"
#include "sim/keymint/keymint_device.h"
#include "sim/modem/modem.h"
#include "sim/negotiation/shared_secret.h"
#include "sim/replay/replay.h"

namespace orx_sim {

// Services are what one instance offers to the system, each behaving correctly.
struct Services {
  Instance instance;
  std::shared_ptr<KeyMintDevice> keymint;
  std::shared_ptr<RemotelyProvisionedComponent> remotely_provisioned;  // null: not offered
  std::shared_ptr<SharedSecretService> shared_secret;
};

// StartServices starts the instances that the device has, the TEE first, and has them negotiate
// their shared secret, as the system does during boot.
// With a replay they answer what that holds.
std::vector<Services> StartServices(const std::shared_ptr<DeviceFolder>& folder,
                                    const std::shared_ptr<const Replay>& replay = nullptr);

// StartModem starts the daemon of the device's modem at a socket, if it has one or, with a replay,
// the other device had. The faults must outlive the daemon. Returns false with the reason in
// `*error`.
bool StartModem(const DeviceFolder& folder, const Replay& replay, FaultTable* faults,
                const std::string& socket_path, ModemDaemon* modem, std::string* error);

// Device is a simulated device: a folder that holds what survives a restart, and the services that
// a process sees once it is attached. It is never part of an Android build, and every key in it was
// made by or imported into it.
//
// Attaching is a boot: patch levels and interface versions are those of that moment. What another
// process changes in the folder later, a deleted key excepted, shows after the next attach.
class Device {
 public:
  // Create makes a new device folder from a profile (a name, or the path of a profile file) and
  // opens it. Returns null with the reason in `*error`; then no folder is left.
  static std::unique_ptr<Device> Create(const std::string& folder, const std::string& profile,
                                        std::string* error);

  // Open opens an existing device folder. Returns null with the reason in `*error`.
  static std::unique_ptr<Device> Open(const std::string& folder, std::string* error);

  // Attach sets this process's properties and registers the device's services. They live on until
  // they are unregistered, also when the Device is gone.
  void Attach();

  // faults returns the table of misbehaviours. Faults of services that are absent must be there
  // before Attach(); the others may be added at any time.
  FaultTable& faults() { return *faults_; }

  DeviceFolder& folder() { return *folder_; }

  // Answer makes the services answer what another device did, from the next Attach() on.
  void Answer(std::shared_ptr<const Replay> replay) { replay_ = std::move(replay); }

  // LogCalls makes the services write every call to a descriptor, from the next Attach() on; -1
  // ends that.
  void LogCalls(int descriptor) { log_descriptor_ = descriptor; }

 private:
  explicit Device(std::shared_ptr<DeviceFolder> folder);
  // Whether the device that the replay is of does not have the service.
  bool IsLeftOut(const std::string& instance, const std::string& name) const;
  template <typename Interface>
  void AddService(std::shared_ptr<Interface> service, const Instance& instance,
                  const std::string& name, int version);

  std::shared_ptr<DeviceFolder> folder_;
  std::shared_ptr<FaultTable> faults_;
  std::shared_ptr<const Replay> replay_;
  int log_descriptor_ = -1;
};

}  // namespace orx_sim
