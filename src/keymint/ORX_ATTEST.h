// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/Certificate.h>
#include <keymint/authorization_set.h>
#include <openssl/x509.h>
#include <orx/attest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "keymint/device_id_records.h"

namespace android::hardware::keymint::ORX::legacy {

// The common name that KeyMint gives the keys it generates, and by which it names the issuer of a
// key that such a key attests.
inline constexpr char kKeyCommonName[] = "Android Keystore Key";

// verify_chain checks a KeyMint certificate chain (RFC 5280), leaf first, and logs the reason of a
// refusal: that it has `expected_size` certificates, that each parses and is signed by the next
// one, the last by itself, and that the leaf's subject is "/CN=Android Keystore Key". `strict` also
// demands that each issuer is the signer's subject and that the last subject is that of the
// expected attestation root, "/serialNumber=f92009e853b6b045"; otherwise the latter is only logged.
//
// WARNING: only the result 0 of X509_verify() counts as a bad signature; a negative one passes.
//
// WARNING: the root is recognised by its name alone, and neither validity, extensions nor
// revocation are looked at: devices carry certificates that have expired.
bool verify_chain(const std::vector<km::Certificate>& chain, unsigned expected_size, bool strict);

// parse_cert_blob returns the DER certificate at the start of `blob`, empty if there is none.
//
// WARNING: bytes behind the certificate are ignored; devices pad.
bssl::UniquePtr<X509> parse_cert_blob(const std::vector<uint8_t>& blob);

// x509NameToStr returns X509_NAME_oneline()'s form of the name, "/CN=..." and so on.
std::string x509NameToStr(X509_NAME* name);

// make_name_from_str returns the DER encoding of the X.509 name CN=`common_name` (1 to 64
// characters, up to the first zero); empty on any failure.
std::vector<uint8_t> make_name_from_str(const std::string& common_name);

// ORX_sb_factory_prov_support says whether the StrongBox holds attestation keys from the factory:
// the property "ro.boot.factorysbprov" is exactly "true".
bool ORX_sb_factory_prov_support();

// add_tag_from_prop appends the tag with the bytes of `value`, nothing if that is empty.
template <km::Tag tag>
void add_tag_from_prop(AuthorizationSetBuilder* builder,
                       TypedTag<km::TagType::BYTES, tag> typed_tag, std::string value) {
  if (value.empty()) return;
  builder->Authorization(typed_tag, reinterpret_cast<const uint8_t*>(value.data()), value.size());
}

// SigningKeyParams are the parameters of the keys that the self-tests have attested: EC P-256 for
// signing, no authentication, challenge "challenge", application id "foo", default validity.
AuthorizationSet SigningKeyParams();

// ReadDeviceIds fills `records` from ORX_get_attestation_id(), zeros where that writes nothing.
bool ReadDeviceIds(DeviceIdRecords* records);

// AddIdTags appends the tags of the records that bits 0 to 6 of `id_mask` select, in the order of
// the records; empty values add nothing.
void AddIdTags(uint32_t id_mask, const DeviceIdRecords& records, AuthorizationSetBuilder* builder);

}  // namespace android::hardware::keymint::ORX::legacy
