// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/x509.h>

#include <cstdint>
#include <vector>

namespace orx_common {

// ParseCertificate returns the X.509 certificate (RFC 5280) that `der` begins with, null if there
// is none. Bytes behind its end are ignored; a caller to whom they matter looks at `*end`, the
// place behind the certificate.
inline bssl::UniquePtr<X509> ParseCertificate(const std::vector<uint8_t>& der,
                                              const uint8_t** end = nullptr) {
  const uint8_t* cursor = der.data();
  bssl::UniquePtr<X509> certificate(d2i_X509(nullptr, &cursor, static_cast<long>(der.size())));
  if (end != nullptr) *end = cursor;
  return certificate;
}

}  // namespace orx_common
