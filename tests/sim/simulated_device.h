// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/ec_key.h>
#include <openssl/mem.h>
#include <openssl/nid.h>
#include <openssl/x509.h>

#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/certificate.h"
#include "sim/base/files.h"
#include "sim/device.h"
#include "sim/keys/key_params.h"
#include "sim/keys/private_key.h"
#include "tests/support/hex.h"
#include "tests/support/temp_folder.h"

namespace orx_sim {

// TestDevice is a device in a folder that goes away with it, made of lines of settings; properties
// are those of a current phone.
class TestDevice {
 public:
  explicit TestDevice(const std::string& settings = "") {
    std::ofstream(parent_ / "test.profile")
        << "imei = 490154203237518\nsecond-imei = 490154203237526\nmeid = A0000000002329\n"
        << settings
        << "\n[build.prop]\nro.product.first_api_level=34\nro.product.vendor.brand=acme\n"
        << "ro.product.vendor.device=phone\nro.product.vendor.name=phone_eu\n"
        << "ro.product.vendor.manufacturer=ACME\nro.product.vendor.model=Phone 1\n"
        << "ro.vendor.boot.serialno=S1\n";
    std::string error;
    EXPECT_TRUE(DeviceFolder::Create(parent_ / "device", parent_ / "test.profile", &error,
                                     Lifetime::kThrownAway))
        << error;
    Boot();
  }

  // Boot opens the folder and starts the services afresh, after changes to the settings.
  void Boot(const std::vector<std::string>& settings = {}) {
    std::string error;
    folder_ = DeviceFolder::Open(parent_ / "device", &error);
    ASSERT_TRUE(folder_) << error;
    ASSERT_TRUE(folder_->Set(settings, &error)) << error;
    services_ = StartServices(folder_);
  }

  Services& tee() { return services_.at(0); }
  Services& strongbox() { return services_.at(1); }
  DeviceFolder& folder() { return *folder_; }

 private:
  orx_test::TempFolder parent_;
  std::shared_ptr<DeviceFolder> folder_;
  std::vector<Services> services_;
};

// The error code of a status, 0 if it is OK.
inline ErrorCode CodeOf(const ndk::ScopedAStatus& status) {
  return status.isOk() ? ErrorCode::OK : static_cast<ErrorCode>(status.getServiceSpecificError());
}

// Calls of KeyMint, which leave their outputs alone when they fail.
inline ErrorCode Import(Services& services, const KeyParams& params, km::KeyFormat format,
                        const Bytes& data, km::KeyCreationResult* result) {
  const ErrorCode code =
      CodeOf(services.keymint->importKey(params, format, data, std::nullopt, result));
  EXPECT_TRUE(code == ErrorCode::OK || *result == km::KeyCreationResult());
  return code;
}
inline ErrorCode Begin(Services& services, km::KeyPurpose purpose, const Bytes& blob,
                       const KeyParams& params, km::BeginResult* result) {
  const ErrorCode code =
      CodeOf(services.keymint->begin(purpose, blob, params, std::nullopt, result));
  EXPECT_EQ(result->operation == nullptr, code != ErrorCode::OK);
  return code;
}
inline ErrorCode Finish(const std::shared_ptr<km::IKeyMintOperation>& operation, const Bytes& input,
                        Bytes* output, const Bytes& signature = {}) {
  return CodeOf(
      operation->finish(input, signature, std::nullopt, std::nullopt, std::nullopt, output));
}
inline ErrorCode Operate(Services& services, km::KeyPurpose purpose, const Bytes& blob,
                         const KeyParams& params, const Bytes& input, Bytes* output,
                         const Bytes& signature = {}) {
  km::BeginResult begun;
  const ErrorCode code = Begin(services, purpose, blob, params, &begun);
  return code == ErrorCode::OK ? Finish(begun.operation, input, output, signature) : code;
}

// A key that must come to be, from the device or from outside.
inline km::KeyCreationResult Generated(
    Services& services, const KeyParams& params,
    const std::optional<km::AttestationKey>& attestation_key = std::nullopt) {
  km::KeyCreationResult key;
  EXPECT_EQ(CodeOf(services.keymint->generateKey(params, attestation_key, &key)), ErrorCode::OK);
  return key;
}
inline Bytes Imported(Services& services, const KeyParams& params,
                      const Bytes& data = Bytes(16, 5)) {
  km::KeyCreationResult key;
  const auto format = data.size() == 16 ? km::KeyFormat::RAW : km::KeyFormat::PKCS8;
  EXPECT_EQ(Import(services, params, format, data, &key), ErrorCode::OK);
  return key.keyBlob;
}

using Code = ErrorCode;  // so that a row stays on its line

// What importKey answers in either instance.
struct ImportRow {
  const char* title;
  km::KeyFormat format;
  KeyParams params;
  Bytes data;
  Code tee;
  Code strongbox;
};
inline void ExpectCodes(TestDevice& device, const std::vector<ImportRow>& rows) {
  for (const ImportRow& row : rows) {
    km::KeyCreationResult result;
    EXPECT_EQ(Import(device.tee(), row.params, row.format, row.data, &result), row.tee)
        << row.title;
    result = {};
    EXPECT_EQ(Import(device.strongbox(), row.params, row.format, row.data, &result), row.strongbox)
        << row.title << " in the StrongBox";
  }
}

// What begin answers.
struct BeginRow {
  const char* title;
  km::KeyPurpose purpose;
  const Bytes& blob;
  KeyParams params;
  Code code;
};
inline void ExpectCodes(Services& services, const std::vector<BeginRow>& rows) {
  for (const BeginRow& row : rows) {
    km::BeginResult result;
    EXPECT_EQ(Begin(services, row.purpose, row.blob, row.params, &result), row.code) << row.title;
    EXPECT_TRUE(result.params.empty()) << row.title;
  }
}

inline bssl::UniquePtr<X509> ParseCertificate(const Bytes& der) {
  const uint8_t* end = nullptr;
  bssl::UniquePtr<X509> certificate = orx_common::ParseCertificate(der, &end);
  EXPECT_TRUE(certificate);
  EXPECT_EQ(end, der.data() + der.size());
  return certificate;
}

// The octets inside an extension, empty if it is not there.
inline Bytes Extension(X509* certificate, const char* oid) {
  const bssl::UniquePtr<ASN1_OBJECT> object(OBJ_txt2obj(oid, 1));
  const int index = X509_get_ext_by_OBJ(certificate, object.get(), -1);
  if (index < 0) return {};
  const ASN1_STRING* const value = X509_EXTENSION_get_data(X509_get_ext(certificate, index));
  const uint8_t* const data = ASN1_STRING_get0_data(value);
  return Bytes(data, data + ASN1_STRING_length(value));
}
inline constexpr char kAttestationOid[] = "1.3.6.1.4.1.11129.2.1.17";

// The public key of a MACed COSE_Key of P-256 in canonical form, null if the coordinates are no
// point of the curve.
inline bssl::UniquePtr<EVP_PKEY> PublicKeyOf(const Bytes& maced_key) {
  // A SubjectPublicKeyInfo (RFC 5480) up to the coordinates.
  Bytes info = orx_test::FromHex("3059301306072a8648ce3d020106082a8648ce3d03010703420004");
  for (const ptrdiff_t at : {18, 53}) {
    info.insert(info.end(), maced_key.begin() + at, maced_key.begin() + at + 32);
  }
  const uint8_t* data = info.data();
  return bssl::UniquePtr<EVP_PKEY>(d2i_PUBKEY(nullptr, &data, static_cast<long>(info.size())));
}

// The PrivateKeyInfo (PKCS#8) of a pair.
inline Bytes Pkcs8(const EVP_PKEY* pair) {
  const SecretBytes der = EncodePrivateKey(pair);
  return Bytes(der.begin(), der.end());
}

// Parameters of an EC P-256 key with this purpose, valid without end.
inline KeyParams EcRequest(km::KeyPurpose purpose = km::KeyPurpose::SIGN) {
  return {{Tag::ALGORITHM, km::Algorithm::EC},
          {Tag::EC_CURVE, km::EcCurve::P_256},
          {Tag::PURPOSE, purpose},
          {Tag::DIGEST, km::Digest::SHA_2_256},
          {Tag::NO_AUTH_REQUIRED, true},
          DateParam(Tag::CERTIFICATE_NOT_BEFORE, 0),
          DateParam(Tag::CERTIFICATE_NOT_AFTER, 253402300799000)};
}

inline KeyParams With(KeyParams params, const KeyParams& more) {
  params.insert(params.end(), more.begin(), more.end());
  return params;
}
inline KeyParams Without(KeyParams params, Tag tag) {
  Remove(&params, tag);
  return params;
}

// The same for a key of another algorithm, without its size.
inline KeyParams RequestOf(km::Algorithm algorithm, km::KeyPurpose purpose) {
  KeyParams params = Without(Without(EcRequest(purpose), Tag::EC_CURVE), Tag::ALGORITHM);
  params.push_back({Tag::ALGORITHM, algorithm});
  return params;
}

// Parameters of an AES key for CBC without padding, and of its use.
inline KeyParams AesRequest() {
  return {{Tag::ALGORITHM, km::Algorithm::AES},
          {Tag::PURPOSE, km::KeyPurpose::ENCRYPT},
          {Tag::BLOCK_MODE, km::BlockMode::CBC},
          {Tag::PADDING, km::PaddingMode::NONE},
          {Tag::CALLER_NONCE, true},
          {Tag::NO_AUTH_REQUIRED, true}};
}
inline KeyParams AesUse() {
  return {{Tag::BLOCK_MODE, km::BlockMode::CBC},
          {Tag::PADDING, km::PaddingMode::NONE},
          BlobParam(Tag::NONCE, Bytes(16))};
}

// What makes a request one for attestation.
inline KeyParams Attested(const KeyParams& params) {
  return With(params, {{Tag::ATTESTATION_CHALLENGE, Bytes{'f', 'u', 'n'}},
                       {Tag::ATTESTATION_APPLICATION_ID, Bytes{'f', 'e', 'e'}}});
}

// The DER of CN=Android Keystore Key, the subject of every generated key.
inline Bytes DefaultSubjectName() {
  Bytes name = {0x30, 0x1f, 0x31, 0x1d, 0x30, 0x1b, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0c, 0x14};
  for (const char c : std::string("Android Keystore Key")) name.push_back(static_cast<uint8_t>(c));
  return name;
}

}  // namespace orx_sim
