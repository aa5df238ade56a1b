// SPDX-License-Identifier: Apache-2.0
#include "keymint/ORX_ATTEST.h"

#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <cutils/properties.h>
#include <keymint/ORX_KEYMINT.h>
#include <openssl/evp.h>
#include <openssl/mem.h>
#include <openssl/x509.h>
#include <orx/device.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "boringssl.h"
#include "common/certificate.h"
#include "orx_log.h"

namespace android::hardware::keymint::ORX::legacy {
namespace {

constexpr char kLeafSubject[] = "/CN=Android Keystore Key";
constexpr char kRootSubject[] = "/serialNumber=f92009e853b6b045";

bool CheckLeafSubject(X509* leaf) {
  const std::string subject = x509NameToStr(X509_get_subject_name(leaf));
  ORX_LOG("ATTEST: cert=%d has subject name: %s\n", 0, subject.c_str());
  if (subject == kLeafSubject) return true;
  ORX_LOG("ATTEST: cert=%d has wrong subject.(Possibly b/38394614)", 0);
  return false;
}

// Checks the certificate at `index` of the chain against its signer.
bool CheckLink(X509* cert, X509* signer, int index, bool strict) {
  const bssl::UniquePtr<EVP_PKEY> key(X509_get_pubkey(signer));
  if (key == nullptr) {
    ORX_LOG("ATTEST: no public key for the signing cert=%d", index);
    return false;
  }
  // Only 0 is a bad signature, see the header's WARNING.
  if (X509_verify(cert, key.get()) == 0) {
    ORX_LOG("ATTEST: verification against cert=%d failed", index);
    return false;
  }
  const std::string issuer = x509NameToStr(X509_get_issuer_name(cert));
  const std::string signer_subject = x509NameToStr(X509_get_subject_name(signer));
  if (strict && issuer != signer_subject) {
    ORX_LOG("ATTEST: cert=%d has subject: %s and issuer: %s\n", index, signer_subject.c_str(),
            issuer.c_str());
    return false;
  }
  return index != 0 || CheckLeafSubject(cert);
}

bool CheckRootSubject(const std::string& subject, bool strict) {
  ORX_LOG("ATTEST: Root cert  has subject name: %s\n", subject.c_str());
  if (subject == kRootSubject) return true;
  ORX_LOG("ATTEST: Root cert name didnot match expected: %s\n", kRootSubject);
  if (!strict) return true;
  ORX_LOG("ATTEST: Not Google Root cert - failing\n");
  return false;
}

}  // namespace

bool verify_chain(const std::vector<km::Certificate>& chain, unsigned expected_size, bool strict) {
  if (chain.size() != expected_size) {
    ORX_LOG("ATTEST: invalid attestation cert chain size");
    return false;
  }
  // Each certificate is parsed when it is first a signer, and is then the next one under test.
  bssl::UniquePtr<X509> next =
      chain.empty() ? nullptr : parse_cert_blob(chain[0].encodedCertificate);
  for (size_t i = 0; i < chain.size(); ++i) {
    const bssl::UniquePtr<X509> cert = std::move(next);
    next =
        i + 1 < chain.size() ? parse_cert_blob(chain[i + 1].encodedCertificate) : bssl::UpRef(cert);
    if (cert == nullptr || next == nullptr) return false;
    if (!CheckLink(cert.get(), next.get(), static_cast<int>(i), strict)) return false;
  }
  // The last signer is the root.
  const std::string root_subject =
      next == nullptr ? "" : x509NameToStr(X509_get_subject_name(next.get()));
  return CheckRootSubject(root_subject, strict);
}

bssl::UniquePtr<X509> parse_cert_blob(const std::vector<uint8_t>& blob) {
  return orx_common::ParseCertificate(blob);
}

std::string x509NameToStr(X509_NAME* name) {
  const bssl::UniquePtr<char> text(X509_NAME_oneline(name, nullptr, 0));
  return text == nullptr ? "" : std::string(text.get());
}

std::vector<uint8_t> make_name_from_str(const std::string& common_name) {
  const bssl::UniquePtr<X509_NAME> name(X509_NAME_new());
  if (name == nullptr) return {};
  if (X509_NAME_add_entry_by_txt(name.get(), "CN", MBSTRING_ASC,
                                 reinterpret_cast<const uint8_t*>(common_name.c_str()), -1, -1,
                                 0) != 1) {
    return {};
  }
  const int length = i2d_X509_NAME(name.get(), nullptr);
  if (length <= 0) return {};
  std::vector<uint8_t> encoding(static_cast<size_t>(length));
  uint8_t* cursor = encoding.data();
  if (i2d_X509_NAME(name.get(), &cursor) != length) return {};
  return encoding;
}

bool ORX_sb_factory_prov_support() {
  char value[PROPERTY_VALUE_MAX] = {};
  property_get("ro.boot.factorysbprov", value, nullptr);
  return strcmp(value, "true") == 0;
}

AuthorizationSet SigningKeyParams() {
  return AuthorizationSetBuilder()
      .EcdsaSigningKey(km::EcCurve::P_256)
      .Authorization(TAG_NO_AUTH_REQUIRED)
      .AttestationChallenge("challenge")
      .AttestationApplicationId("foo")
      .SetDefaultValidity();
}

bool ReadDeviceIds(DeviceIdRecords* records) {
  *records = {};
  uint32_t capacity = sizeof(*records);
  return ORX_get_attestation_id(reinterpret_cast<uint8_t*>(records), &capacity) == 0;
}

void AddIdTags(uint32_t id_mask, const DeviceIdRecords& records, AuthorizationSetBuilder* builder) {
  const auto add = [&](uint32_t bit, auto typed_tag, size_t index) {
    if ((id_mask & bit) != 0) add_tag_from_prop(builder, typed_tag, DeviceIdValue(records, index));
  };
  add(ORX_ATTEST_ID_BRAND, TAG_ATTESTATION_ID_BRAND, kBrandRecord);
  add(ORX_ATTEST_ID_DEVICE, TAG_ATTESTATION_ID_DEVICE, kDeviceRecord);
  add(ORX_ATTEST_ID_PRODUCT, TAG_ATTESTATION_ID_PRODUCT, kProductRecord);
  add(ORX_ATTEST_ID_SERIAL, TAG_ATTESTATION_ID_SERIAL, kSerialRecord);
  add(ORX_ATTEST_ID_MANUFACTURER, TAG_ATTESTATION_ID_MANUFACTURER, kManufacturerRecord);
  add(ORX_ATTEST_ID_MODEL, TAG_ATTESTATION_ID_MODEL, kModelRecord);
  add(ORX_ATTEST_ID_IMEI, TAG_ATTESTATION_ID_IMEI, kImeiRecord);
}

namespace {

// Where the attestation key's own certificates come from.
enum class KeyKind { kTee, kFactoryStrongBox, kRemoteStrongBox };

KeyKind KindOf(bool strongbox) {
  const bool factory_provisioned = ORX_sb_factory_prov_support();
  if (!strongbox) return KeyKind::kTee;
  return factory_provisioned ? KeyKind::kFactoryStrongBox : KeyKind::kRemoteStrongBox;
}

// SelfTest is one run of a self-test: an attestation key and the keys attested by it. The two
// exported self-tests differ in where the identifiers come from, and in the words for two failures.
class SelfTest {
 public:
  enum class Variant { kDeviceIds, kModel };

  SelfTest(Variant variant, bool relaxed, bool strongbox)
      : variant_(variant), strict_(!relaxed), service_(strongbox), kind_(KindOf(strongbox)) {}

  // Makes and checks the attestation key; comes first.
  bool MakeAttestationKey();

  // Has one key per identifier attested, and checks it.
  bool AttestAll(const AuthorizationSet& identifiers);

 private:
  AuthorizationSet AttestationKeyParams() const;
  bool Attest(const km::KeyParameter& identifier);
  unsigned ChainLength() const { return kind_ == KeyKind::kRemoteStrongBox ? 1 : 4; }

  void LogGenerateFailure(int error) const;
  void LogAttestationKeyChainInvalid() const;
  void LogAttestedChainInvalid() const;

  const Variant variant_;
  const bool strict_;
  KeyMintService service_;
  const KeyKind kind_;
  km::AttestationKey attestation_key_;
  std::vector<km::Certificate> attestation_key_chain_;
};

bool SelfTest::MakeAttestationKey() {
  std::vector<km::KeyCharacteristics> characteristics;
  const int error =
      service_.GenerateKey(AttestationKeyParams(), std::nullopt, &attestation_key_.keyBlob,
                           &characteristics, &attestation_key_chain_);
  if (error != 0) {
    LogGenerateFailure(error);
    return false;
  }
  attestation_key_.issuerSubjectName = make_name_from_str(kKeyCommonName);
  if (attestation_key_.issuerSubjectName.empty()) {
    ORX_LOG("ATTEST: could not make a subject name for the attestation key");
    return false;
  }
  if (!verify_chain(attestation_key_chain_, ChainLength(), strict_)) {
    LogAttestationKeyChainInvalid();
    return false;
  }
  return true;
}

AuthorizationSet SelfTest::AttestationKeyParams() const {
  AuthorizationSetBuilder params;
  params.EcdsaKey(km::EcCurve::P_256).AttestKey();
  // Without a challenge the device answers one self-signed certificate, which is all that a
  // remotely provisioned StrongBox can give.
  if (kind_ != KeyKind::kRemoteStrongBox) {
    params.Authorization(TAG_ATTESTATION_CHALLENGE, "fun")
        .Authorization(TAG_ATTESTATION_APPLICATION_ID, "fee");
  }
  return params.SetDefaultValidity();
}

bool SelfTest::AttestAll(const AuthorizationSet& identifiers) {
  return std::all_of(identifiers.begin(), identifiers.end(),
                     [this](const km::KeyParameter& identifier) { return Attest(identifier); });
}

bool SelfTest::Attest(const km::KeyParameter& identifier) {
  ORX_LOG("ATTEST: validate key with auth tag-%s", identifier.toString().c_str());
  AuthorizationSet params = SigningKeyParams();
  params.push_back(identifier);

  std::vector<uint8_t> key_blob;
  std::vector<km::KeyCharacteristics> characteristics;
  std::vector<km::Certificate> chain;
  if (service_.GenerateKey(params, attestation_key_, &key_blob, &characteristics, &chain) != 0) {
    ORX_LOG("ATTEST: attestation fails with device ID");
    return false;
  }
  chain.insert(chain.end(), attestation_key_chain_.begin(), attestation_key_chain_.end());
  if (!verify_chain(chain, ChainLength() + 1, strict_)) {
    LogAttestedChainInvalid();
    return false;
  }
  return true;
}

void SelfTest::LogGenerateFailure(int error) const {
  const std::string reason = toString(static_cast<km::ErrorCode>(error));
  if (kind_ == KeyKind::kTee) {
    ORX_LOG("ATTEST: could not generate a valid attestation key. Reason: %s", reason.c_str());
  } else if (kind_ == KeyKind::kFactoryStrongBox) {
    ORX_LOG("ATTEST: could not generate a valid sb attestation key. Reason: %s", reason.c_str());
  } else if (variant_ == Variant::kDeviceIds) {
    ORX_LOG("ATTEST: could not generate a valid sb attestation key with rkp. Reason: %s",
            reason.c_str());
  } else {
    ORX_LOG("ATTEST: could not generate a valid sb attestation key with rpk. Reason: %s",
            reason.c_str());
  }
}

void SelfTest::LogAttestationKeyChainInvalid() const {
  if (kind_ == KeyKind::kTee) {
    ORX_LOG("ATTEST: attest key cert chain invalid");
  } else if (kind_ == KeyKind::kFactoryStrongBox) {
    ORX_LOG("ATTEST: felica SB attest key cert chain invalid");
  } else {
    ORX_LOG("ATTEST: SB attest key cert chain invalid");
  }
}

void SelfTest::LogAttestedChainInvalid() const {
  if (kind_ == KeyKind::kFactoryStrongBox) {
    ORX_LOG("ATTEST: felica SB attested key cert chain invalid");
  } else if (kind_ == KeyKind::kRemoteStrongBox && variant_ == Variant::kModel) {
    ORX_LOG("ATTEST: SB attested cert chain invalid");
  } else {
    ORX_LOG("ATTEST: attested cert chain invalid");
  }
}

int ValidateAttestation(bool attest_ids, uint32_t id_mask, bool relaxed, bool strongbox) {
  SelfTest test(SelfTest::Variant::kDeviceIds, relaxed, strongbox);
  if (!test.MakeAttestationKey()) return 1;
  if (!attest_ids) return 0;

  DeviceIdRecords records;
  if (!ReadDeviceIds(&records)) {
    ORX_LOG("ATTEST: fail to retrieve device ID values");
    return 1;
  }
  AuthorizationSetBuilder identifiers;
  AddIdTags(id_mask, records, &identifiers);
  if ((id_mask & ORX_ATTEST_ID_MEID) != 0) {
    // Never adds a tag, as this record is not returned, see the WARNING of the mask.
    add_tag_from_prop(&identifiers, TAG_ATTESTATION_ID_MEID, DeviceIdValue(records, kMeidRecord));
  }
  return test.AttestAll(identifiers) ? 0 : 1;
}

int ValidateAttestationModel(const char* model, bool relaxed, bool strongbox) {
  SelfTest test(SelfTest::Variant::kModel, relaxed, strongbox);
  if (!test.MakeAttestationKey()) return 1;

  AuthorizationSetBuilder identifiers;
  add_tag_from_prop(&identifiers, TAG_ATTESTATION_ID_MODEL, model == nullptr ? "" : model);
  return test.AttestAll(identifiers) ? 0 : 1;
}

}  // namespace
}  // namespace android::hardware::keymint::ORX::legacy

// The device-ID records.

namespace android::hardware::keymint::ORX {
namespace {

struct PropertyRecord {
  km::Tag tag;
  const char* (*get)();
};

// Records 0 to 5, in their order.
constexpr PropertyRecord kPropertyRecords[] = {
    {km::Tag::ATTESTATION_ID_BRAND, ORX_get_brand_name},
    {km::Tag::ATTESTATION_ID_DEVICE, ORX_get_device_name},
    {km::Tag::ATTESTATION_ID_PRODUCT, ORX_get_product_name},
    {km::Tag::ATTESTATION_ID_SERIAL, ORX_get_serial},
    {km::Tag::ATTESTATION_ID_MANUFACTURER, ORX_get_manufacturer_name},
    {km::Tag::ATTESTATION_ID_MODEL, ORX_get_model_name},
};

// Copies `length` bytes, and aborts when they do not fit the `room` bytes at `out`.
void CheckedCopy(uint8_t* out, size_t room, const char* text, size_t length) {
  if (length > room) abort();
  memcpy(out, text, length);
}

// IdRecordArea is the zeroed area in which all records are assembled.
class IdRecordArea {
 public:
  const DeviceIdRecords& records() const { return records_; }

  void SetTag(size_t index, km::Tag tag) { records_[index].tag = static_cast<uint32_t>(tag); }

  void SetLength(size_t index, size_t length) {
    records_[index].length = static_cast<uint32_t>(std::min(length, kDeviceIdValueSize));
  }

  void SetValue(size_t index, const char* text, size_t length) {
    const size_t offset = index * sizeof(DeviceIdRecord) + offsetof(DeviceIdRecord, value);
    CheckedCopy(reinterpret_cast<uint8_t*>(&records_) + offset, sizeof(records_) - offset, text,
                length);
  }

 private:
  DeviceIdRecords records_ = {};
};

bool AddPropertyRecords(IdRecordArea& area) {
  size_t index = 0;
  for (const PropertyRecord& record : kPropertyRecords) {
    const char* value = record.get();
    if (value == nullptr) {  // removed since the properties were checked
      ORX_LOG("ATTEST: fail to validate generic device ids");
      return false;
    }
    area.SetTag(index, record.tag);
    area.SetValue(index, value, strlen(value));
    area.SetLength(index, strlen(value));
    ++index;
  }
  return true;
}

// Adds the IMEI record and leaves the IMEI in `imei`.
bool AddImeiRecord(IdRecordArea& area, char (&imei)[kDeviceIdValueSize]) {
  area.SetTag(kImeiRecord, km::Tag::ATTESTATION_ID_IMEI);
  if (ORX_DEVICE_GetImei(imei, sizeof(imei)) != 0) {
    ORX_LOG("ATTEST: ORX get IMEI fail");
    return false;
  }
  const size_t length = strnlen(imei, sizeof(imei));
  area.SetValue(kImeiRecord, imei, length);
  area.SetLength(kImeiRecord, length);
  return true;
}

// The record's length field stays 0; a MEID that the modem does not have is the IMEI without its
// check digit (3GPP TS 23.003).
void AddMeidRecord(IdRecordArea& area, const char (&imei)[kDeviceIdValueSize]) {
  char meid[kDeviceIdValueSize] = {};
  area.SetTag(kMeidRecord, km::Tag::ATTESTATION_ID_MEID);
  if (ORX_DEVICE_GetMeid(meid, sizeof(meid)) != 0) {
    ORX_LOG("ATTEST: ORX get MEID fail, convert IMEI to MEID");
    memset(meid, 0, sizeof(meid));
    // An empty IMEI, which ORX_DEVICE_GetImei() never reports as success, ends in the abort.
    CheckedCopy(reinterpret_cast<uint8_t*>(meid), sizeof(meid), imei,
                strnlen(imei, sizeof(imei)) - 1);
  }
  area.SetValue(kMeidRecord, meid, strnlen(meid, sizeof(meid)));
}

int GetAttestationIds(uint8_t* buf, uint32_t* len) {
  if (buf == nullptr || len == nullptr) {
    ORX_LOG("ATTEST: invalid device id inputs");
    return 1;
  }
  if (*len < sizeof(DeviceIdRecords)) {
    ORX_LOG("ATTEST: insufficient input buffer to store device ids");
    return 1;
  }
  if (ORX_device_id_attestation_properties_ok() != 0) {
    ORX_LOG("ATTEST: fail to validate generic device ids");
    return 1;
  }
  IdRecordArea area;
  if (!AddPropertyRecords(area)) return 1;
  char imei[kDeviceIdValueSize] = {};
  if (!AddImeiRecord(area, imei)) return 1;
  AddMeidRecord(area, imei);

  *len = kReturnedDeviceIdBytes;
  memcpy(buf, &area.records(), kReturnedDeviceIdBytes);
  return 0;
}

}  // namespace
}  // namespace android::hardware::keymint::ORX

namespace orx = android::hardware::keymint::ORX;

int ORX_validate_attestation(bool attest_ids, uint32_t id_mask, bool relaxed, bool strongbox) {
  const ErrorQueueGuard guard;
  return orx::legacy::ValidateAttestation(attest_ids, id_mask, relaxed, strongbox);
}

int ORX_validate_attestation_model(const char* model, bool relaxed, bool strongbox) {
  const ErrorQueueGuard guard;
  return orx::legacy::ValidateAttestationModel(model, relaxed, strongbox);
}

int ORX_get_attestation_id(uint8_t* buf, uint32_t* len) {
  return orx::GetAttestationIds(buf, len);
}
