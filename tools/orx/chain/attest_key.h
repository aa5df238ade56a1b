// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <keymint/authorization_set.h>

#include <cstdint>
#include <vector>

#include "tools/orx/check/check.h"

namespace orx_tool {

// StrongBoxHasFactoryKeys tells whether the StrongBox was provisioned with attestation keys in the
// factory (ro.boot.factorysbprov); otherwise its keys are provisioned remotely.
bool StrongBoxHasFactoryKeys();

// AttestKeyParameters are those of an attestation key of the kind that the self-tests use. With a
// challenge it gets a chain to the factory's root; without one it certifies itself.
android::hardware::keymint::ORX::AuthorizationSet AttestKeyParameters(bool with_challenge);

// GeneratedKeyName is the subject that KeyMint gives a key that it generates (RFC 5280), in DER.
std::vector<uint8_t> GeneratedKeyName();

// GenerateAttestKey has KeyMint make an attestation key and returns its chain. Returns the KeyMint
// error code.
int GenerateAttestKey(bool strongbox, CertificateChain* chain);

}  // namespace orx_tool
