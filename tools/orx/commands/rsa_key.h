// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <optional>
#include <string>

#include "common/secret.h"
#include "tools/orx/diagnosis/diagnostics.h"

namespace orx_tool {

using orx_common::SecretBytes;

// RsaPrivateKey is an RSA key in PKCS#8 DER (RFC 5208).
struct RsaPrivateKey {
  SecretBytes der;
  unsigned bits;
};

// ReadRsaPrivateKey reads PKCS#8 or PKCS#1 in DER or PEM, unencrypted.
std::optional<RsaPrivateKey> ReadRsaPrivateKey(const std::string& path,
                                               std::optional<Problem>* problem);

// The components of an RSA key in the order in which the library takes them.
constexpr std::array<const char*, 8> kRsaComponents = {"e", "n", "d", "p", "q", "dp", "dq", "qinv"};
using RsaComponents = std::array<std::optional<SecretBytes>, kRsaComponents.size()>;

// ReadRsaComponents reads a text file of lines "name = hex", one for each of kRsaComponents in any
// order, each an unsigned big-endian integer (RFC 8017, section 3.2). Blanks and colons within the
// digits, empty lines and lines that begin with '#' are allowed.
std::optional<RsaComponents> ReadRsaComponents(const std::string& path,
                                               std::optional<Problem>* problem);

}  // namespace orx_tool
