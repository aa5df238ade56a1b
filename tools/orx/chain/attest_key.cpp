// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/chain/attest_key.h"

#include <keymint/ORX_KEYMINT.h>
#include <openssl/mem.h>
#include <openssl/x509.h>
#include <sys/system_properties.h>

#include <algorithm>
#include <cstring>

namespace orx_tool {

namespace km = aidl::android::hardware::security::keymint;
namespace orx = android::hardware::keymint::ORX;

orx::AuthorizationSet AttestKeyParameters(bool with_challenge) {
  orx::AuthorizationSetBuilder builder;
  builder.EcdsaKey(km::EcCurve::P_256).AttestKey();
  if (with_challenge) {
    builder.AttestationChallenge("orx").AttestationApplicationId("orx");
  }
  builder.SetDefaultValidity();
  return builder;
}

bool StrongBoxHasFactoryKeys() {
  char value[PROP_VALUE_MAX] = {};
  __system_property_get("ro.boot.factorysbprov", value);
  return strcmp(value, "true") == 0;
}

std::vector<uint8_t> GeneratedKeyName() {
  const bssl::UniquePtr<X509_NAME> name(X509_NAME_new());
  const auto* text = reinterpret_cast<const uint8_t*>("Android Keystore Key");
  X509_NAME_add_entry_by_txt(name.get(), "CN", MBSTRING_ASC, text, -1, -1, 0);
  uint8_t* der = nullptr;
  const int size = i2d_X509_NAME(name.get(), &der);
  const bssl::UniquePtr<uint8_t> owned(der);
  return {der, der + std::max(size, 0)};
}

int GenerateAttestKey(bool strongbox, CertificateChain* chain) {
  orx::KeyMintService service(strongbox);
  std::vector<uint8_t> blob;
  std::vector<km::KeyCharacteristics> characteristics;
  std::vector<km::Certificate> certificates;
  const bool with_challenge = !strongbox || StrongBoxHasFactoryKeys();
  const int result = service.GenerateKey(AttestKeyParameters(with_challenge), std::nullopt, &blob,
                                         &characteristics, &certificates);
  for (km::Certificate& certificate : certificates) {
    chain->push_back(std::move(certificate.encodedCertificate));
  }
  // The key was made to be looked at only.
  if (!blob.empty()) service.DeleteKey(&blob, /*keepBlob=*/false);
  return result;
}

}  // namespace orx_tool
