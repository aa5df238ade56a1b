// SPDX-License-Identifier: Apache-2.0
#include "tests/support/certificate_builder.h"

#include <android-base/logging.h>
#include <openssl/bn.h>
#include <openssl/ec_key.h>
#include <openssl/evp.h>
#include <openssl/mem.h>
#include <openssl/nid.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <map>

namespace orx_test {
namespace {

bssl::UniquePtr<EVP_PKEY> NewEcKey() {
  bssl::UniquePtr<EC_KEY> ec(EC_KEY_new_by_curve_name(NID_X9_62_prime256v1));
  bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
  CHECK(EC_KEY_generate_key(ec.get()));
  CHECK(EVP_PKEY_set1_EC_KEY(key.get(), ec.get()));
  return key;
}

bssl::UniquePtr<EVP_PKEY> NewRsaKey() {
  bssl::UniquePtr<RSA> rsa(RSA_new());
  bssl::UniquePtr<BIGNUM> exponent(BN_new());
  bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
  CHECK(BN_set_word(exponent.get(), RSA_F4));
  CHECK(RSA_generate_key_ex(rsa.get(), 2048, exponent.get(), nullptr));
  CHECK(EVP_PKEY_set1_RSA(key.get(), rsa.get()));
  return key;
}

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

EVP_PKEY* EcKey(int number) {
  static std::map<int, bssl::UniquePtr<EVP_PKEY>> keys;
  bssl::UniquePtr<EVP_PKEY>& key = keys[number];
  if (key == nullptr) key = NewEcKey();
  return key.get();
}

EVP_PKEY* RsaKey(int number) {
  static std::map<int, bssl::UniquePtr<EVP_PKEY>> keys;
  bssl::UniquePtr<EVP_PKEY>& key = keys[number];
  if (key == nullptr) key = NewRsaKey();
  return key.get();
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
