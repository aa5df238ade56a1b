// SPDX-License-Identifier: Apache-2.0
#include "tests/support/certificate_builder.h"

#include <android-base/logging.h>
#include <openssl/evp.h>
#include <openssl/mem.h>
#include <openssl/nid.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <map>
#include <tuple>

namespace orx_test {
namespace {

bssl::UniquePtr<X509_NAME> MakeName(const Name& entries) {
  bssl::UniquePtr<X509_NAME> name(X509_NAME_new());
  for (const auto& [type, value] : entries) {
    CHECK(X509_NAME_add_entry_by_txt(name.get(), type.c_str(), MBSTRING_ASC,
                                     reinterpret_cast<const uint8_t*>(value.data()),
                                     static_cast<int>(value.size()), -1, 0));
  }
  return name;
}

}  // namespace

EVP_PKEY* Key(int type, int bits_or_curve, int number) {
  static std::map<std::tuple<int, int, int>, bssl::UniquePtr<EVP_PKEY>> keys;
  bssl::UniquePtr<EVP_PKEY>& key = keys[{type, bits_or_curve, number}];
  if (key != nullptr) return key.get();
  const bssl::UniquePtr<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new_id(type, nullptr));
  const auto set = type == EVP_PKEY_RSA ? EVP_PKEY_CTX_set_rsa_keygen_bits
                                        : EVP_PKEY_CTX_set_ec_paramgen_curve_nid;
  EVP_PKEY* made = nullptr;
  CHECK(EVP_PKEY_keygen_init(context.get()));
  CHECK(set(context.get(), bits_or_curve));
  CHECK(EVP_PKEY_keygen(context.get(), &made));
  key.reset(made);
  return made;
}

EVP_PKEY* EcKey(int number) {
  return Key(EVP_PKEY_EC, NID_X9_62_prime256v1, number);
}

EVP_PKEY* RsaKey(int number) {
  return Key(EVP_PKEY_RSA, 2048, number);
}

std::vector<uint8_t> MakeCertificate(const CertificateFields& fields) {
  bssl::UniquePtr<X509> cert(X509_new());
  CHECK(X509_set_version(cert.get(), X509_VERSION_3));
  CHECK(ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), 1));
  CHECK(X509_gmtime_adj(X509_getm_notBefore(cert.get()), 0));
  CHECK(X509_gmtime_adj(X509_getm_notAfter(cert.get()), fields.seconds_left));
  CHECK(X509_set_subject_name(cert.get(), MakeName(fields.subject).get()));
  CHECK(X509_set_issuer_name(cert.get(), MakeName(fields.issuer).get()));
  CHECK(X509_set_pubkey(cert.get(), fields.key));
  CHECK(X509_sign(cert.get(), fields.signer, EVP_sha256()));

  uint8_t* der = nullptr;
  const int length = i2d_X509(cert.get(), &der);
  CHECK_GT(length, 0);
  const bssl::UniquePtr<uint8_t> owner(der);
  return std::vector<uint8_t>(der, der + length);
}

std::vector<CertificateFields> ChainFields(const std::vector<EVP_PKEY*>& keys) {
  const size_t root = keys.size() - 1;
  std::vector<Name> names;
  for (size_t i = 0; i < keys.size(); ++i) names.push_back({{"CN", std::to_string(i)}});
  names[root] = kRootName;
  names[0] = kKeyName;

  std::vector<CertificateFields> chain;
  for (size_t i = 0; i < keys.size(); ++i) {
    const size_t signer = i == root ? i : i + 1;
    chain.push_back({names[i], names[signer], keys[i], keys[signer]});
  }
  return chain;
}

Chain MakeChain(const std::vector<CertificateFields>& fields) {
  Chain chain;
  for (const CertificateFields& each : fields) chain.push_back({MakeCertificate(each)});
  return chain;
}

}  // namespace orx_test
