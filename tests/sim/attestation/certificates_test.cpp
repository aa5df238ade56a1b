// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/certificates.h"

#include <gtest/gtest.h>

#include "tests/sim/simulated_device.h"
#include "tests/support/certificate_builder.h"
#include "tests/support/hex.h"

namespace orx_sim {
namespace {

using km::KeyPurpose;
using orx_test::FromHex;

// CN=signer, as a PrintableString: an encoder of today would choose another string type.
const Bytes kSignerName = FromHex("3011310f300d06035504031306 7369676e6572");

KeyParams Dates(int64_t not_before, int64_t not_after) {
  return {DateParam(Tag::CERTIFICATE_NOT_BEFORE, not_before),
          DateParam(Tag::CERTIFICATE_NOT_AFTER, not_after)};
}

KeyParams Purposes(const std::vector<KeyPurpose>& purposes) {
  KeyParams params = Dates(0, 0);
  for (const KeyPurpose purpose : purposes) params.push_back({Tag::PURPOSE, purpose});
  return params;
}

Bytes Encoded(X509_NAME* name) {
  Bytes der(static_cast<size_t>(i2d_X509_NAME(name, nullptr)));
  uint8_t* cursor = der.data();
  i2d_X509_NAME(name, &cursor);
  return der;
}

EVP_PKEY* const kOwnKey = orx_test::EcKey(0);
EVP_PKEY* const kSigner = orx_test::EcKey(1);

// The certificate of a request that must be accepted.
bssl::UniquePtr<X509> Certify(const KeyParams& params) {
  Bytes der;
  EXPECT_EQ(CertifyOwnKey(params, kOwnKey, &der), ErrorCode::OK);
  return ParseCertificate(der);
}

TEST(CertificatesTest, DatesAreUtcTimeUpTo2049AndGeneralizedTimeAfterwards) {
  for (const auto& [milliseconds, text] : {std::make_pair(int64_t{1999}, "700101000001Z"),
                                           {2524607999999, "491231235959Z"},
                                           {2524608000000, "20500101000000Z"},
                                           {253402300799999, "99991231235959Z"}}) {
    const auto certificate = Certify(Dates(milliseconds, milliseconds));
    for (const ASN1_TIME* time :
         {X509_get0_notBefore(certificate.get()), X509_get0_notAfter(certificate.get())}) {
      const auto* data = reinterpret_cast<const char*>(ASN1_STRING_get0_data(time));
      EXPECT_EQ(std::string(data, static_cast<size_t>(ASN1_STRING_length(time))), text);
      EXPECT_EQ(ASN1_STRING_type(time) == V_ASN1_UTCTIME, milliseconds < 2524608000000);
    }
  }
}

TEST(CertificatesTest, PurposesDecideKeyUsageAuthorityAndWhoSigns) {
  const std::tuple<std::vector<KeyPurpose>, const char*, bool, bool> rows[] = {
      {{KeyPurpose::SIGN, KeyPurpose::VERIFY}, "03020780", false, true},
      {{KeyPurpose::SIGN, KeyPurpose::DECRYPT}, "03020490", false, true},
      {{KeyPurpose::DECRYPT, KeyPurpose::ENCRYPT}, "03020410", false, false},
      {{KeyPurpose::WRAP_KEY}, "03020520", false, false},
      {{KeyPurpose::AGREE_KEY}, "03020308", false, false},
      {{KeyPurpose::ATTEST_KEY}, "03020204", true, true},
      {{KeyPurpose::VERIFY}, "", false, false},
  };
  for (const auto& [purposes, key_usage, authority, is_signed] : rows) {
    SCOPED_TRACE(key_usage);
    const auto certificate = Certify(Purposes(purposes));
    EXPECT_EQ(Extension(certificate.get(), "2.5.29.15"), FromHex(key_usage));
    EXPECT_EQ(Extension(certificate.get(), "2.5.29.19"), FromHex(authority ? "30030101ff" : ""));
    const ASN1_BIT_STRING* signature = nullptr;
    X509_get0_signature(&signature, nullptr, certificate.get());
    EXPECT_EQ(ASN1_STRING_length(signature) > 0, is_signed);
    EXPECT_EQ(X509_verify(certificate.get(), kOwnKey) == 1, is_signed);
  }
}

TEST(CertificatesTest, NamesAndSerialAreTakenOctetForOctet) {
  for (const Bytes& serial : {Bytes{0x00}, Bytes{0x00, 0xff}, Bytes{0xff}, Bytes(130, 0x22)}) {
    const KeyParams params =
        With(Purposes({KeyPurpose::SIGN}), {BlobParam(Tag::CERTIFICATE_SUBJECT, kSignerName),
                                            BlobParam(Tag::CERTIFICATE_SERIAL, serial)});
    Bytes der;
    ASSERT_EQ(CertifyAttestedKey(params, kOwnKey, {kSigner, kSignerName}, FromHex("3000"), &der),
              ErrorCode::OK);
    const auto certificate = ParseCertificate(der);
    EXPECT_EQ(Encoded(X509_get_issuer_name(certificate.get())), kSignerName);
    EXPECT_EQ(Encoded(X509_get_subject_name(certificate.get())), kSignerName);
    EXPECT_EQ(Extension(certificate.get(), kAttestationOid), FromHex("3000"));
    EXPECT_EQ(X509_verify(certificate.get(), kSigner), 1);
    uint8_t* encoded = nullptr;
    const int length = i2d_ASN1_INTEGER(X509_get_serialNumber(certificate.get()), &encoded);
    EXPECT_EQ(Bytes(encoded + length - serial.size(), encoded + length), serial);
    OPENSSL_free(encoded);
  }
}

constexpr ErrorCode kRefused = ErrorCode::INVALID_ARGUMENT;
constexpr ErrorCode kIssuer = ErrorCode::INVALID_ISSUER_SUBJECT;

TEST(CertificatesTest, WhatACertificateCannotCarryIsRefused) {
  const KeyParams good = Purposes({KeyPurpose::SIGN});
  const auto with = [&](Tag tag, const char* hex) {
    return With(good, {BlobParam(tag, FromHex(hex))});
  };
  const std::tuple<const char*, KeyParams, Bytes, ErrorCode> rows[] = {
      {"no Name", with(Tag::CERTIFICATE_SUBJECT, "010203"), kSignerName, kRefused},
      {"bytes after the Name", with(Tag::CERTIFICATE_SUBJECT, "300000"), kSignerName, kRefused},
      {"empty serial", with(Tag::CERTIFICATE_SERIAL, ""), kSignerName, kRefused},
      {"needless zero", with(Tag::CERTIFICATE_SERIAL, "0001"), kSignerName, kRefused},
      {"no dates", {}, kSignerName, ErrorCode::MISSING_NOT_BEFORE},
      {"no end", {good[0]}, kSignerName, ErrorCode::MISSING_NOT_AFTER},
      {"year 10000", Dates(0, 253402300800000), kSignerName, kRefused},
      {"last millisecond", Dates(0, -1), kSignerName, kRefused},
      {"empty issuer", good, {}, kIssuer},
      {"issuer is no Name", good, {0x31, 0x00}, kIssuer},
  };
  for (const auto& [title, params, issuer, code] : rows) {
    Bytes der = {1};
    EXPECT_EQ(CertifyAttestedKey(params, kOwnKey, {kOwnKey, issuer}, FromHex("3000"), &der), code)
        << title;
    EXPECT_EQ(der, Bytes{1}) << title;
  }
}

}  // namespace
}  // namespace orx_sim
