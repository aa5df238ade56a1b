// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/attestation_extension.h"

#include <gtest/gtest.h>

#include "tests/support/hex.h"

namespace orx_sim {
namespace {

using orx_test::FromHex;

using km::KeyParameter;

const char kZeros32[] = "0000000000000000000000000000000000000000000000000000000000000000";

// The root of trust as every record of a simulated device has it: unlocked, unverified.
std::string RootOfTrustField() {
  return std::string("bf85404c304a 0420") + kZeros32 + "010100 0a0102 0420" + kZeros32;
}

Bytes Sequence(const Bytes& content) {
  Bytes der = {0x30};
  if (content.size() > 127) der.push_back(0x81);
  der.push_back(static_cast<uint8_t>(content.size()));
  der.insert(der.end(), content.begin(), content.end());
  return der;
}

// The whole record of a TEE and the challenge "fun", with these fields in its two lists.
Bytes Record(const std::string& software, const std::string& before_root,
             const std::string& after_root) {
  Bytes body = FromHex("0202012c 0a0101 0202012c 0a0101 0403 66756e 0400");
  for (const std::string& list : {software, before_root + RootOfTrustField() + after_root}) {
    const Bytes sequence = Sequence(FromHex(list));
    body.insert(body.end(), sequence.begin(), sequence.end());
  }
  return Sequence(body);
}

AttestationRecord Plain() {
  AttestationRecord record;
  record.security_level = km::SecurityLevel::TRUSTED_ENVIRONMENT;
  record.challenge = {'f', 'u', 'n'};
  return record;
}

TEST(AttestationExtensionTest, EncodesTheRecordOfASigningKeyInTagOrderWhateverTheInputOrder) {
  AttestationRecord record = Plain();
  record.software_enforced = {{Tag::ATTESTATION_APPLICATION_ID, Bytes{'f', 'e', 'e'}}};
  record.hardware_enforced = {
      {Tag::ORIGIN, km::KeyOrigin::GENERATED}, UintParam(Tag::OS_PATCHLEVEL, 202401),
      {Tag::NO_AUTH_REQUIRED, true},           {Tag::EC_CURVE, km::EcCurve::P_256},
      UintParam(Tag::KEY_SIZE, 256),           {Tag::ALGORITHM, km::Algorithm::EC},
      {Tag::PURPOSE, km::KeyPurpose::VERIFY},  {Tag::PURPOSE, km::KeyPurpose::SIGN}};
  EXPECT_EQ(EncodeKeyDescription(record),
            Record("bf854505 0403666565",
                   "a108 3106020102020103  a203 020103  a304 02020100  aa03 020101  bf837702 0500"
                   "bf853e03 020100",
                   "bf854205 0203 0316a1"));
}

TEST(AttestationExtensionTest, EveryFieldTypeHasItsAsn1Type) {
  const std::tuple<const char*, KeyParameter, const char*, const char*> rows[] = {
      {"set of one", {Tag::DIGEST, km::Digest::SHA_2_256}, "a505 3103 020104", ""},
      {"padding", {Tag::PADDING, km::PaddingMode::RSA_PKCS1_1_5_SIGN}, "a605 3103 020105", ""},
      {"unsigned 64 bits", UlongParam(Tag::RSA_PUBLIC_EXPONENT, 65537), "bf814805 0203010001", ""},
      {"exponent beyond int64", UlongParam(Tag::RSA_PUBLIC_EXPONENT, -1),
       "bf81480b 020900ffffffffffffffff", ""},
      {"octets", {Tag::ATTESTATION_ID_BRAND, Bytes{'a', 'c'}}, "", "bf854604 04026163"},
      {"second IMEI", {Tag::ATTESTATION_ID_SECOND_IMEI, Bytes{'1'}}, "", "bf855303 040131"},
      {"boot patch level", UintParam(Tag::BOOT_PATCHLEVEL, 20240105), "", "bf854f06 02040134d6e9"},
      {"wrapped import only", {Tag::BLOCK_MODE, km::BlockMode::CBC}, "", ""},
      {"never attested", {Tag::APPLICATION_ID, Bytes{1}}, "", ""},
      {"flag that is false", {Tag::NO_AUTH_REQUIRED, false}, "", ""},
      {"value of another type", {Tag::KEY_SIZE, Bytes{1}}, "", ""},
  };
  for (const auto& [title, param, before_root, after_root] : rows) {
    AttestationRecord record = Plain();
    record.hardware_enforced = {param};
    EXPECT_EQ(EncodeKeyDescription(record), Record("", before_root, after_root)) << title;
  }
}

}  // namespace
}  // namespace orx_sim
