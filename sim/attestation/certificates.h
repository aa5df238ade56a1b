// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/evp.h>

#include "sim/keys/key_params.h"

namespace orx_sim {

// Who signs a certificate of another's key: the private key, and the DER-encoded Name that becomes
// the issuer, octet for octet. Both are borrowed.
struct CertificateSigner {
  EVP_PKEY* key;
  const Bytes& name;
};

// The certificate that a device hands out with a new or imported asymmetric key, X.509 version 3 of
// RFC 5280. `params` are the parameters of the request: CERTIFICATE_SUBJECT, CERTIFICATE_SERIAL,
// CERTIFICATE_NOT_BEFORE, CERTIFICATE_NOT_AFTER and PURPOSE are read. `key` is the key pair; `*der`
// is assigned only on OK. Results: OK; MISSING_NOT_BEFORE, MISSING_NOT_AFTER; INVALID_ARGUMENT for
// a subject, serial number or date that X.509 cannot carry; INVALID_ISSUER_SUBJECT for a signer's
// name that is not a DER Name; UNKNOWN_ERROR.

// CertifyOwnKey makes the certificate of a key that is not attested: self-signed if the key may
// sign (purpose SIGN or ATTEST_KEY), else with an empty signature.
ErrorCode CertifyOwnKey(const KeyParams& params, EVP_PKEY* key, Bytes* der);

// CertifyAttestedKey makes the certificate of an attested key, with `key_description` (the DER of
// KeyDescription) as its attestation extension.
ErrorCode CertifyAttestedKey(const KeyParams& params, EVP_PKEY* key,
                             const CertificateSigner& signer, const Bytes& key_description,
                             Bytes* der);

}  // namespace orx_sim
