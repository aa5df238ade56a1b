// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/evp.h>

#include <string>
#include <vector>

#include "sim/base/bytes.h"
#include "sim/base/instance.h"

namespace orx_sim {

// How the factory attestation keys of a device are certified.
struct FactoryChainSettings {
  // The root's subject, "/TYPE=value" for each entry, in order.
  std::string root_subject = "/serialNumber=f92009e853b6b045";
  bool expired = false;  // the two certificates below the root are past their validity
};

// FactoryChain is what a factory puts into one instance: the key that signs attestations
// (EC P-256) and its certificates, the key's own first, a self-signed root last; three in all, so
// that the chain of an attested key has four. All of it is made by the simulated device itself.
struct FactoryChain {
  bssl::UniquePtr<EVP_PKEY> key;
  std::vector<Bytes> certificates;
};

// OpenFactoryChain returns the chain of one instance of the device in `folder`, from its file
// attestation.pem: for the TEE, then the StrongBox, the private key (PKCS#8) and the certificates.
// The file is made when it is missing or was made with other settings: chains for both instances
// under one new root, whose key is not kept. Several processes may call this at
// once. On failure the chain's key is null and the reason is in `*error`.
FactoryChain OpenFactoryChain(const std::string& folder, const Instance& instance,
                              const FactoryChainSettings& settings, std::string* error);

}  // namespace orx_sim
