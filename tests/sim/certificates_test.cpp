// SPDX-License-Identifier: Apache-2.0
#include "sim/certificates.h"

#include <gtest/gtest.h>
#include <openssl/ec_key.h>
#include <openssl/mem.h>
#include <openssl/nid.h>
#include <openssl/x509v3.h>

#include "sim/key_parameters.h"

namespace orx_sim {
namespace {

using km::ErrorCode;
using km::KeyParameter;
using km::KeyPurpose;
using km::Tag;
using Bytes = std::vector<uint8_t>;
using Value = km::KeyParameterValue;

// CN=signer, as a PrintableString: an encoder of today would choose another string type.
const Bytes kSignerName = {0x30, 0x11, 0x31, 0x0f, 0x30, 0x0d, 0x06, 0x03, 0x55, 0x04,
                           0x03, 0x13, 0x06, 's',  'i',  'g',  'n',  'e',  'r'};

bssl::UniquePtr<EVP_PKEY> NewKey() {
  bssl::UniquePtr<EC_KEY> ec(EC_KEY_new_by_curve_name(NID_X9_62_prime256v1));
  EXPECT_TRUE(EC_KEY_generate_key(ec.get()));
  bssl::UniquePtr<EVP_PKEY> key(EVP_PKEY_new());
  EVP_PKEY_assign_EC_KEY(key.get(), ec.release());
  return key;
}

KeyParameter Date(Tag tag, int64_t milliseconds) {
  return {tag, Value::make<Value::dateTime>(milliseconds)};
}

std::vector<KeyParameter> Request(const std::vector<KeyPurpose>& purposes) {
  std::vector<KeyParameter> params = {Date(Tag::CERTIFICATE_NOT_BEFORE, 0),
                                      Date(Tag::CERTIFICATE_NOT_AFTER, 253402300799000)};
  for (const KeyPurpose purpose : purposes) params.push_back({Tag::PURPOSE, purpose});
  return params;
}

bssl::UniquePtr<X509> Parse(const Bytes& der) {
  const uint8_t* cursor = der.data();
  return bssl::UniquePtr<X509>(d2i_X509(nullptr, &cursor, static_cast<long>(der.size())));
}

Bytes Encoded(X509_NAME* name) {
  uint8_t* cursor = nullptr;
  Bytes der(static_cast<size_t>(i2d_X509_NAME(name, nullptr)));
  cursor = der.data();
  i2d_X509_NAME(name, &cursor);
  return der;
}

// The octets inside an extension, empty if it is not there.
Bytes Extension(X509* certificate, const char* oid) {
  bssl::UniquePtr<ASN1_OBJECT> object(OBJ_txt2obj(oid, 1));
  const int index = X509_get_ext_by_OBJ(certificate, object.get(), -1);
  if (index < 0) return {};
  const ASN1_STRING* value = X509_EXTENSION_get_data(X509_get_ext(certificate, index));
  const uint8_t* data = ASN1_STRING_get0_data(value);
  return Bytes(data, data + ASN1_STRING_length(value));
}

std::string Text(const ASN1_TIME* time) {
  return std::string(reinterpret_cast<const char*>(ASN1_STRING_get0_data(time)),
                     static_cast<size_t>(ASN1_STRING_length(time)));
}

constexpr char kKeyUsage[] = "2.5.29.15";
constexpr char kBasicConstraints[] = "2.5.29.19";
constexpr char kAttestation[] = "1.3.6.1.4.1.11129.2.1.17";

class CertificatesTest : public ::testing::Test {
 protected:
  // The certificate of a request that must be accepted.
  bssl::UniquePtr<X509> Certify(const std::vector<KeyParameter>& params) {
    Bytes der;
    EXPECT_EQ(CertifyOwnKey(params, key_.get(), &der), ErrorCode::OK);
    return Parse(der);
  }

  bssl::UniquePtr<EVP_PKEY> key_ = NewKey();
};

TEST_F(CertificatesTest, DefaultsAreAVersion3CertificateOfAndroidKeystoreKeyWithSerialOne) {
  const auto certificate = Certify(Request({KeyPurpose::SIGN}));
  ASSERT_TRUE(certificate);
  EXPECT_EQ(X509_get_version(certificate.get()), X509_VERSION_3);
  Bytes name = {0x30, 0x1f, 0x31, 0x1d, 0x30, 0x1b, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0c, 0x14};
  for (const char c : std::string("Android Keystore Key")) name.push_back(static_cast<uint8_t>(c));
  EXPECT_EQ(Encoded(X509_get_subject_name(certificate.get())), name);
  EXPECT_EQ(Encoded(X509_get_issuer_name(certificate.get())), name);
  uint64_t serial = 0;
  EXPECT_TRUE(ASN1_INTEGER_get_uint64(&serial, X509_get0_serialNumber(certificate.get())));
  EXPECT_EQ(serial, 1u);
  EXPECT_EQ(Extension(certificate.get(), kAttestation), Bytes());
}

TEST_F(CertificatesTest, DatesAreUtcTimeUpTo2049AndGeneralizedTimeAfterwards) {
  struct {
    int64_t milliseconds;
    int type;
    const char* text;
  } const rows[] = {{0, V_ASN1_UTCTIME, "700101000000Z"},
                    {1999, V_ASN1_UTCTIME, "700101000001Z"},
                    {2524607999999, V_ASN1_UTCTIME, "491231235959Z"},
                    {2524608000000, V_ASN1_GENERALIZEDTIME, "20500101000000Z"},
                    {253402300799999, V_ASN1_GENERALIZEDTIME, "99991231235959Z"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const auto certificate = Certify({Date(Tag::CERTIFICATE_NOT_BEFORE, row.milliseconds),
                                      Date(Tag::CERTIFICATE_NOT_AFTER, row.milliseconds)});
    ASSERT_TRUE(certificate);
    for (const ASN1_TIME* time :
         {X509_get0_notBefore(certificate.get()), X509_get0_notAfter(certificate.get())}) {
      EXPECT_EQ(ASN1_STRING_type(time), row.type);
      EXPECT_EQ(Text(time), row.text);
    }
  }
}

TEST_F(CertificatesTest, KeyUsageHasOneBitPerPurposeAndAttestKeysAreAuthorities) {
  struct {
    std::vector<KeyPurpose> purposes;
    Bytes key_usage;
    bool authority;
  } const rows[] = {
      {{KeyPurpose::SIGN}, {0x03, 0x02, 0x07, 0x80}, false},
      {{KeyPurpose::SIGN, KeyPurpose::VERIFY}, {0x03, 0x02, 0x07, 0x80}, false},
      {{KeyPurpose::SIGN, KeyPurpose::DECRYPT}, {0x03, 0x02, 0x04, 0x90}, false},
      {{KeyPurpose::DECRYPT, KeyPurpose::ENCRYPT}, {0x03, 0x02, 0x04, 0x10}, false},
      {{KeyPurpose::WRAP_KEY}, {0x03, 0x02, 0x05, 0x20}, false},
      {{KeyPurpose::AGREE_KEY}, {0x03, 0x02, 0x03, 0x08}, false},
      {{KeyPurpose::ATTEST_KEY}, {0x03, 0x02, 0x02, 0x04}, true},
      {{KeyPurpose::VERIFY}, {}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.key_usage));
    const auto certificate = Certify(Request(row.purposes));
    ASSERT_TRUE(certificate);
    EXPECT_EQ(Extension(certificate.get(), kKeyUsage), row.key_usage);
    const Bytes is_authority = {0x30, 0x03, 0x01, 0x01, 0xff};
    EXPECT_EQ(Extension(certificate.get(), kBasicConstraints),
              row.authority ? is_authority : Bytes());
  }
}

TEST_F(CertificatesTest, OnlyAKeyThatMaySignSignsItsOwnCertificate) {
  struct {
    KeyPurpose purpose;
    bool is_signed;
  } const rows[] = {{KeyPurpose::SIGN, true},
                    {KeyPurpose::ATTEST_KEY, true},
                    {KeyPurpose::AGREE_KEY, false},
                    {KeyPurpose::DECRYPT, false}};
  for (const auto& row : rows) {
    const auto certificate = Certify(Request({row.purpose}));
    ASSERT_TRUE(certificate);
    const ASN1_BIT_STRING* signature = nullptr;
    X509_get0_signature(&signature, nullptr, certificate.get());
    EXPECT_EQ(ASN1_STRING_length(signature) > 0, row.is_signed) << toString(row.purpose);
    EXPECT_EQ(X509_verify(certificate.get(), key_.get()) == 1, row.is_signed);
  }
}

TEST_F(CertificatesTest, AttestedCertificateBearsTheSignersNameOctetForOctet) {
  const auto signer = NewKey();
  Bytes der;
  ASSERT_EQ(CertifyAttestedKey(Request({KeyPurpose::SIGN}), key_.get(), {signer.get(), kSignerName},
                               {0x30, 0x00}, &der),
            ErrorCode::OK);
  const auto certificate = Parse(der);
  ASSERT_TRUE(certificate);
  EXPECT_EQ(Encoded(X509_get_issuer_name(certificate.get())), kSignerName);
  EXPECT_EQ(Extension(certificate.get(), kAttestation), (Bytes{0x30, 0x00}));
  EXPECT_EQ(X509_verify(certificate.get(), signer.get()), 1);
  EXPECT_EQ(X509_verify(certificate.get(), key_.get()), 0);
  const bssl::UniquePtr<EVP_PKEY> certified(X509_get_pubkey(certificate.get()));
  EXPECT_EQ(EVP_PKEY_cmp(certified.get(), key_.get()), 1);
}

TEST_F(CertificatesTest, GivenSubjectAndSerialAreTakenAsTheyAre) {
  for (const Bytes& serial : {Bytes{0x00}, Bytes{0x7f}, Bytes{0x00, 0xff}, Bytes{0xff},
                              Bytes(20, 0x11), Bytes(130, 0x22)}) {
    auto params = Request({KeyPurpose::SIGN});
    params.push_back({Tag::CERTIFICATE_SUBJECT, kSignerName});
    params.push_back({Tag::CERTIFICATE_SERIAL, serial});
    const auto certificate = Certify(params);
    ASSERT_TRUE(certificate) << ::testing::PrintToString(serial);
    EXPECT_EQ(Encoded(X509_get_subject_name(certificate.get())), kSignerName);
    uint8_t* der = nullptr;
    const int length = i2d_ASN1_INTEGER(X509_get_serialNumber(certificate.get()), &der);
    ASSERT_GT(length, static_cast<int>(serial.size()));
    EXPECT_EQ(Bytes(der + length - serial.size(), der + length), serial);
    OPENSSL_free(der);
  }
}

TEST_F(CertificatesTest, WhatACertificateCannotCarryIsRefused) {
  Bytes trailing = kSignerName;
  trailing.push_back(0);
  struct {
    const char* title;
    KeyParameter param;
    ErrorCode code;
  } const rows[] = {
      {"no Name", {Tag::CERTIFICATE_SUBJECT, Bytes{1, 2, 3}}, ErrorCode::INVALID_ARGUMENT},
      {"empty subject", {Tag::CERTIFICATE_SUBJECT, Bytes{}}, ErrorCode::INVALID_ARGUMENT},
      {"bytes after the Name", {Tag::CERTIFICATE_SUBJECT, trailing}, ErrorCode::INVALID_ARGUMENT},
      {"empty serial", {Tag::CERTIFICATE_SERIAL, Bytes{}}, ErrorCode::INVALID_ARGUMENT},
      {"needless zero", {Tag::CERTIFICATE_SERIAL, Bytes{0, 1}}, ErrorCode::INVALID_ARGUMENT},
  };
  for (const auto& row : rows) {
    auto params = Request({KeyPurpose::SIGN});
    params.push_back(row.param);
    Bytes der = {1};
    EXPECT_EQ(CertifyOwnKey(params, key_.get(), &der), row.code) << row.title;
    EXPECT_EQ(der, Bytes{1}) << row.title;
  }
}

TEST_F(CertificatesTest, BothDatesAreNeededAndMustBeBeforeTheYear10000) {
  const KeyParameter before = Date(Tag::CERTIFICATE_NOT_BEFORE, 0);
  const KeyParameter after = Date(Tag::CERTIFICATE_NOT_AFTER, 0);
  struct {
    std::vector<KeyParameter> params;
    ErrorCode code;
  } const rows[] = {
      {{}, ErrorCode::MISSING_NOT_BEFORE},
      {{after}, ErrorCode::MISSING_NOT_BEFORE},
      {{before}, ErrorCode::MISSING_NOT_AFTER},
      {{before, Date(Tag::CERTIFICATE_NOT_AFTER, 253402300800000)}, ErrorCode::INVALID_ARGUMENT},
      {{before, Date(Tag::CERTIFICATE_NOT_AFTER, -1)}, ErrorCode::INVALID_ARGUMENT},
      {{before, {Tag::CERTIFICATE_NOT_AFTER, Bytes{}}}, ErrorCode::MISSING_NOT_AFTER},
  };
  for (const auto& row : rows) {
    Bytes der;
    EXPECT_EQ(CertifyOwnKey(row.params, key_.get(), &der), row.code);
  }
}

TEST_F(CertificatesTest, ASignersNameThatIsNoNameIsRefused) {
  for (const Bytes& name : {Bytes{}, Bytes{0x30}, Bytes{0x31, 0x00}, Bytes(40, 0xff)}) {
    Bytes der;
    EXPECT_EQ(CertifyAttestedKey(Request({KeyPurpose::SIGN}), key_.get(), {key_.get(), name},
                                 {0x30, 0x00}, &der),
              ErrorCode::INVALID_ISSUER_SUBJECT);
    EXPECT_TRUE(der.empty());
  }
}

}  // namespace
}  // namespace orx_sim
