// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "sim/keymint/keymint_device.h"

namespace orx_sim {

// Replay is what another device answered, as 'orx check --evidence' kept it in the file "replay" of
// a folder, a line each; docs/formats.md has the lines.
struct Replay {
  using Chain = std::vector<Bytes>;  // DER, the leaf first

  std::vector<std::string> faults;                      // as faults.h writes them
  std::map<std::string, Chain> chains;                  // of attestation keys, by instance
  std::map<std::pair<std::string, int>, Chain> leaves;  // by instance and identifier's tag
  std::map<std::pair<std::string, int>, int> refusals;  // the same: the KeyMint error
  std::map<std::string, std::string> modem;             // answer by command
  std::set<std::string> absent;       // instances and services that the device does not declare
  bool has_modem = true;              // false: nobody listened
  std::vector<std::string> left_out;  // what the evidence does not hold
};

// LoadReplay reads a folder. Returns false with the reason in `*error`.
bool LoadReplay(const std::string& folder, Replay* replay, std::string* error);

// ReplayedKeyMint is a KeyMint whose generated keys get the chains and errors of a replay.
class ReplayedKeyMint : public KeyMintDevice {
 public:
  ReplayedKeyMint(std::shared_ptr<DeviceFolder> folder, const Instance& instance,
                  std::shared_ptr<SharedSecretParty> shared_secret,
                  std::shared_ptr<const Replay> replay)
      : KeyMintDevice(std::move(folder), instance, std::move(shared_secret)),
        instance_name_(instance.name),
        replay_(std::move(replay)) {}

  ndk::ScopedAStatus generateKey(const KeyParams& params,
                                 const std::optional<km::AttestationKey>& attestation_key,
                                 km::KeyCreationResult* result) override;

 private:
  const std::string instance_name_;
  const std::shared_ptr<const Replay> replay_;
};

}  // namespace orx_sim
