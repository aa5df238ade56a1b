// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdint>
#include <string>
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

// ReadPemBlock decodes the next PEM block (RFC 7468); false when there is none, or a damaged one,
// with the reason in the queue of errors.
inline bool ReadPemBlock(BIO* bio, std::string* label, std::vector<uint8_t>* der) {
  char* name = nullptr;
  char* header = nullptr;
  uint8_t* bytes = nullptr;
  long size = 0;
  if (PEM_read_bio(bio, &name, &header, &bytes, &size) != 1) return false;
  const bssl::UniquePtr<char> owned_name(name);
  const bssl::UniquePtr<char> owned_header(header);
  const bssl::UniquePtr<uint8_t> owned_bytes(bytes);
  *label = name;
  der->assign(bytes, bytes + size);
  return true;
}

}  // namespace orx_common
