// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/chain/attestation_record.h"

#include <aidl/android/hardware/security/keymint/Algorithm.h>
#include <aidl/android/hardware/security/keymint/Digest.h>
#include <aidl/android/hardware/security/keymint/EcCurve.h>
#include <aidl/android/hardware/security/keymint/KeyOrigin.h>
#include <aidl/android/hardware/security/keymint/KeyPurpose.h>
#include <aidl/android/hardware/security/keymint/PaddingMode.h>
#include <aidl/android/hardware/security/keymint/Tag.h>
#include <openssl/asn1.h>
#include <openssl/bytestring.h>
#include <openssl/obj.h>

#include <algorithm>

#include "tools/orx/cli/encoding.h"
#include "tools/orx/cli/iso8601.h"

namespace orx_tool {

namespace km = aidl::android::hardware::security::keymint;

namespace {

constexpr const char kExtensionOid[] = "1.3.6.1.4.1.11129.2.1.17";

// How the value of an authorization is shown.
enum class Kind {
  kNumber,
  kDate,
  kFlag,
  kBytes,
  kHash,
  kApplicationId,
  kRootOfTrust,
  kAlgorithm,
  kCurve,
  kOrigin,
  kPurposes,
  kDigests,
  kPaddings,
  kNumbers
};

using km::Tag;

// A record carries the numbers of KeyMint's tags without their types.
constexpr unsigned NumberOf(Tag tag) {
  return static_cast<unsigned>(tag) & 0x0fffffffU;
}

struct Field {
  constexpr Field(const char* field_name, Tag tag, Kind field_kind)
      : Field(field_name, NumberOf(tag), field_kind) {}
  // For what stands in records alone, or came with a later KeyMint than this one.
  constexpr Field(const char* field_name, unsigned field_number, Kind field_kind)
      : name(field_name), number(field_number), kind(field_kind) {}

  const char* name;
  unsigned number;
  Kind kind;
};

constexpr Field kFields[] = {
    {"purpose", Tag::PURPOSE, Kind::kPurposes},
    {"algorithm", Tag::ALGORITHM, Kind::kAlgorithm},
    {"keySize", Tag::KEY_SIZE, Kind::kNumber},
    {"blockMode", Tag::BLOCK_MODE, Kind::kNumbers},
    {"digest", Tag::DIGEST, Kind::kDigests},
    {"padding", Tag::PADDING, Kind::kPaddings},
    {"callerNonce", Tag::CALLER_NONCE, Kind::kFlag},
    {"minMacLength", Tag::MIN_MAC_LENGTH, Kind::kNumber},
    {"ecCurve", Tag::EC_CURVE, Kind::kCurve},
    {"mlDsaVariant", 11, Kind::kNumber},  // of interface versions newer than the header
    {"rsaPublicExponent", Tag::RSA_PUBLIC_EXPONENT, Kind::kNumber},
    {"mgfDigest", Tag::RSA_OAEP_MGF_DIGEST, Kind::kDigests},
    {"rollbackResistance", Tag::ROLLBACK_RESISTANCE, Kind::kFlag},
    {"earlyBootOnly", Tag::EARLY_BOOT_ONLY, Kind::kFlag},
    {"activeDateTime", Tag::ACTIVE_DATETIME, Kind::kDate},
    {"originationExpireDateTime", Tag::ORIGINATION_EXPIRE_DATETIME, Kind::kDate},
    {"usageExpireDateTime", Tag::USAGE_EXPIRE_DATETIME, Kind::kDate},
    {"usageCountLimit", Tag::USAGE_COUNT_LIMIT, Kind::kNumber},
    {"userSecureId", Tag::USER_SECURE_ID, Kind::kNumber},
    {"noAuthRequired", Tag::NO_AUTH_REQUIRED, Kind::kFlag},
    {"userAuthType", Tag::USER_AUTH_TYPE, Kind::kNumber},
    {"authTimeout", Tag::AUTH_TIMEOUT, Kind::kNumber},
    {"allowWhileOnBody", Tag::ALLOW_WHILE_ON_BODY, Kind::kFlag},
    {"trustedUserPresenceRequired", Tag::TRUSTED_USER_PRESENCE_REQUIRED, Kind::kFlag},
    {"trustedConfirmationRequired", Tag::TRUSTED_CONFIRMATION_REQUIRED, Kind::kFlag},
    {"unlockedDeviceRequired", Tag::UNLOCKED_DEVICE_REQUIRED, Kind::kFlag},
    {"allApplications", 600, Kind::kFlag},
    {"creationDateTime", Tag::CREATION_DATETIME, Kind::kDate},
    {"origin", Tag::ORIGIN, Kind::kOrigin},
    {"rollbackResistant", 703, Kind::kFlag},
    {"rootOfTrust", Tag::ROOT_OF_TRUST, Kind::kRootOfTrust},
    {"osVersion", Tag::OS_VERSION, Kind::kNumber},
    {"osPatchLevel", Tag::OS_PATCHLEVEL, Kind::kNumber},
    {"attestationApplicationId", Tag::ATTESTATION_APPLICATION_ID, Kind::kApplicationId},
    {"attestationIdBrand", Tag::ATTESTATION_ID_BRAND, Kind::kBytes},
    {"attestationIdDevice", Tag::ATTESTATION_ID_DEVICE, Kind::kBytes},
    {"attestationIdProduct", Tag::ATTESTATION_ID_PRODUCT, Kind::kBytes},
    {"attestationIdSerial", Tag::ATTESTATION_ID_SERIAL, Kind::kBytes},
    {"attestationIdImei", Tag::ATTESTATION_ID_IMEI, Kind::kBytes},
    {"attestationIdMeid", Tag::ATTESTATION_ID_MEID, Kind::kBytes},
    {"attestationIdManufacturer", Tag::ATTESTATION_ID_MANUFACTURER, Kind::kBytes},
    {"attestationIdModel", Tag::ATTESTATION_ID_MODEL, Kind::kBytes},
    {"vendorPatchLevel", Tag::VENDOR_PATCHLEVEL, Kind::kNumber},
    {"bootPatchLevel", Tag::BOOT_PATCHLEVEL, Kind::kNumber},
    {"deviceUniqueAttestation", Tag::DEVICE_UNIQUE_ATTESTATION, Kind::kFlag},
    {"attestationIdSecondImei", Tag::ATTESTATION_ID_SECOND_IMEI, Kind::kBytes},
    {"moduleHash", 724, Kind::kHash},
};

constexpr const char* kSecurityLevels[] = {"Software", "TrustedEnvironment", "StrongBox"};
constexpr const char* kBootStates[] = {"Verified", "SelfSigned", "Unverified", "Failed"};

std::string HexText(const CBS& bytes) {
  return ToHex(CBS_data(&bytes), CBS_len(&bytes));
}

// Printable text as it is, anything else in hexadecimal.
std::string BytesText(const CBS& bytes) {
  const uint8_t* data = CBS_data(&bytes);
  const size_t size = CBS_len(&bytes);
  const bool text =
      std::all_of(data, data + size, [](uint8_t byte) { return byte >= 0x20 && byte < 0x7f; });
  return text ? std::string(reinterpret_cast<const char*>(data), size) : HexText(bytes);
}

template <size_t N>
Json::Value Named(const char* const (&names)[N], uint64_t value) {
  if (value < N) return names[value];
  return static_cast<Json::UInt64>(value);
}

// The time of a tag in milliseconds since 1970.
Json::Value DateValue(uint64_t milliseconds) {
  const std::string text =
      milliseconds <= INT64_MAX ? Iso8601(static_cast<int64_t>(milliseconds / 1000)) : "";
  return text.empty() ? Json::Value(static_cast<Json::UInt64>(milliseconds)) : Json::Value(text);
}

Json::Value NumberValue(Kind kind, uint64_t number) {
  const auto value = static_cast<int32_t>(number);
  switch (kind) {
    case Kind::kAlgorithm:
      return toString(static_cast<km::Algorithm>(value));
    case Kind::kCurve:
      return toString(static_cast<km::EcCurve>(value));
    case Kind::kOrigin:
      return toString(static_cast<km::KeyOrigin>(value));
    case Kind::kPurposes:
      return toString(static_cast<km::KeyPurpose>(value));
    case Kind::kDigests:
      return toString(static_cast<km::Digest>(value));
    case Kind::kPaddings:
      return toString(static_cast<km::PaddingMode>(value));
    case Kind::kDate:
      return DateValue(number);
    default:
      return static_cast<Json::UInt64>(number);
  }
}

bool ReadEnumerated(CBS* in, uint64_t* value) {
  CBS bytes;
  if (!CBS_get_asn1(in, &bytes, CBS_ASN1_ENUMERATED) || CBS_len(&bytes) == 0 ||
      CBS_len(&bytes) > 4) {
    return false;
  }
  *value = 0;
  for (uint8_t byte = 0; CBS_get_u8(&bytes, &byte);) *value = *value << 8 | byte;
  return true;
}

// ReadBoolean takes every value but zero for true: devices write 01 as well as the FF of DER.
bool ReadBoolean(CBS* in, bool* value) {
  CBS bytes;
  uint8_t byte = 0;
  if (!CBS_get_asn1(in, &bytes, CBS_ASN1_BOOLEAN) || !CBS_get_u8(&bytes, &byte) ||
      CBS_len(&bytes) != 0) {
    return false;
  }
  *value = byte != 0;
  return true;
}

bool ReadRootOfTrust(CBS* in, RecordEntry* entry) {
  CBS sequence;
  CBS key;
  CBS hash;
  bool locked = false;
  uint64_t state = 0;
  if (!CBS_get_asn1(in, &sequence, CBS_ASN1_SEQUENCE) ||
      !CBS_get_asn1(&sequence, &key, CBS_ASN1_OCTETSTRING) || !ReadBoolean(&sequence, &locked) ||
      !ReadEnumerated(&sequence, &state)) {
    return false;
  }
  entry->entries = {{"verifiedBootKey", HexText(key), {}},
                    {"deviceLocked", locked, {}},
                    {"verifiedBootState", Named(kBootStates, state), {}}};
  // Records of version 2 and before end here.
  if (CBS_len(&sequence) == 0) return true;
  if (!CBS_get_asn1(&sequence, &hash, CBS_ASN1_OCTETSTRING)) return false;
  entry->entries.push_back({"verifiedBootHash", HexText(hash), {}});
  return true;
}

bool ReadPackages(CBS* in, Json::Value* packages) {
  CBS set;
  if (!CBS_get_asn1(in, &set, CBS_ASN1_SET)) return false;
  *packages = Json::Value(Json::arrayValue);
  while (CBS_len(&set) != 0) {
    CBS package;
    CBS name;
    uint64_t version = 0;
    if (!CBS_get_asn1(&set, &package, CBS_ASN1_SEQUENCE) ||
        !CBS_get_asn1(&package, &name, CBS_ASN1_OCTETSTRING) ||
        !CBS_get_asn1_uint64(&package, &version)) {
      return false;
    }
    packages->append(BytesText(name) + " version " + std::to_string(version));
  }
  return true;
}

bool ReadSignerDigests(CBS* in, Json::Value* digests) {
  CBS set;
  if (!CBS_get_asn1(in, &set, CBS_ASN1_SET)) return false;
  *digests = Json::Value(Json::arrayValue);
  while (CBS_len(&set) != 0) {
    CBS digest;
    if (!CBS_get_asn1(&set, &digest, CBS_ASN1_OCTETSTRING)) return false;
    digests->append(HexText(digest));
  }
  return true;
}

// ReadApplicationId decodes the structure that Android's key store puts in; other clients, as the
// self-tests, put in bytes of their own.
void ReadApplicationId(const CBS& bytes, RecordEntry* entry) {
  CBS in = bytes;
  CBS sequence;
  Json::Value packages;
  Json::Value digests;
  if (CBS_get_asn1(&in, &sequence, CBS_ASN1_SEQUENCE) && CBS_len(&in) == 0 &&
      ReadPackages(&sequence, &packages) && ReadSignerDigests(&sequence, &digests)) {
    entry->entries = {{"packages", packages, {}}, {"signerDigests", digests, {}}};
  } else {
    entry->value = BytesText(bytes);
  }
}

bool ReadSet(CBS* in, Kind kind, Json::Value* json) {
  CBS set;
  if (!CBS_get_asn1(in, &set, CBS_ASN1_SET)) return false;
  *json = Json::Value(Json::arrayValue);
  while (CBS_len(&set) != 0) {
    uint64_t number = 0;
    if (!CBS_get_asn1_uint64(&set, &number)) return false;
    json->append(NumberValue(kind, number));
  }
  return true;
}

// ReadValue reads what stands within the explicit tag of one authorization.
bool ReadValue(CBS* in, Kind kind, RecordEntry* entry) {
  CBS bytes;
  uint64_t number = 0;
  switch (kind) {
    case Kind::kFlag:
      entry->value = true;
      return CBS_get_asn1(in, &bytes, CBS_ASN1_NULL) == 1;
    case Kind::kBytes:
    case Kind::kHash:
    case Kind::kApplicationId:
      if (!CBS_get_asn1(in, &bytes, CBS_ASN1_OCTETSTRING)) return false;
      if (kind == Kind::kApplicationId) ReadApplicationId(bytes, entry);
      if (kind == Kind::kBytes) entry->value = BytesText(bytes);
      if (kind == Kind::kHash) entry->value = HexText(bytes);
      return true;
    case Kind::kRootOfTrust:
      return ReadRootOfTrust(in, entry);
    case Kind::kPurposes:
    case Kind::kDigests:
    case Kind::kPaddings:
    case Kind::kNumbers:
      return ReadSet(in, kind, &entry->value);
    default:
      if (!CBS_get_asn1_uint64(in, &number)) return false;
      entry->value = NumberValue(kind, number);
      return true;
  }
}

const Field* FindField(unsigned number) {
  for (const Field& field : kFields) {
    if (field.number == number) return &field;
  }
  return nullptr;
}

// ReadAuthorization reads one entry; one that makes no sense hides none of those behind it.
RecordEntry ReadAuthorization(unsigned number, const CBS& content) {
  RecordEntry entry;
  const Field* field = FindField(number);
  entry.name = field != nullptr ? field->name : "tag " + std::to_string(number);
  CBS in = content;
  if (field == nullptr) {
    entry.value = HexText(content);
  } else if (!ReadValue(&in, field->kind, &entry) || CBS_len(&in) != 0) {
    entry.value = "not readable: " + HexText(content);
    entry.entries.clear();
  }
  return entry;
}

RecordEntry Broken() {
  return {"error", "not well-formed from here on", {}};
}

bool ReadAuthorizations(CBS* in, const char* name, Record* record) {
  CBS list;
  if (!CBS_get_asn1(in, &list, CBS_ASN1_SEQUENCE)) return false;
  RecordEntry& entry = record->emplace_back();
  entry.name = name;
  entry.value = Json::Value(Json::objectValue);
  while (CBS_len(&list) != 0) {
    CBS content;
    unsigned tag = 0;
    if (!CBS_get_any_asn1(&list, &content, &tag)) {
      entry.entries.push_back(Broken());
      return true;
    }
    entry.entries.push_back(ReadAuthorization(tag & CBS_ASN1_TAG_NUMBER_MASK, content));
  }
  return true;
}

bool ReadVersion(CBS* in, const char* version_name, const char* level_name, Record* record) {
  uint64_t version = 0;
  uint64_t level = 0;
  if (!CBS_get_asn1_uint64(in, &version)) return false;
  record->push_back({version_name, static_cast<Json::UInt64>(version), {}});
  if (!ReadEnumerated(in, &level)) return false;
  record->push_back({level_name, Named(kSecurityLevels, level), {}});
  return true;
}

bool ReadBytes(CBS* in, const char* name, Record* record) {
  CBS bytes;
  if (!CBS_get_asn1(in, &bytes, CBS_ASN1_OCTETSTRING)) return false;
  record->push_back({name, BytesText(bytes), {}});
  return true;
}

bool ReadRecord(CBS in, Record* record) {
  CBS fields;
  return CBS_get_asn1(&in, &fields, CBS_ASN1_SEQUENCE) &&
         ReadVersion(&fields, "attestationVersion", "attestationSecurityLevel", record) &&
         ReadVersion(&fields, "keyMintVersion", "keyMintSecurityLevel", record) &&
         ReadBytes(&fields, "attestationChallenge", record) &&
         ReadBytes(&fields, "uniqueId", record) &&
         ReadAuthorizations(&fields, "softwareEnforced", record) &&
         ReadAuthorizations(&fields, "hardwareEnforced", record);
}

std::string ValueText(const Json::Value& value) {
  if (!value.isArray()) return value.asString();
  std::string text;
  for (const Json::Value& item : value) text += (text.empty() ? "" : ", ") + item.asString();
  return text;
}

}  // namespace

std::optional<Record> DecodeAttestationRecord(const X509* certificate) {
  const bssl::UniquePtr<ASN1_OBJECT> oid(OBJ_txt2obj(kExtensionOid, /*dont_search_names=*/1));
  const int index = X509_get_ext_by_OBJ(certificate, oid.get(), -1);
  if (index < 0) return std::nullopt;
  const ASN1_OCTET_STRING* value = X509_EXTENSION_get_data(X509_get_ext(certificate, index));
  return DecodeKeyDescription(ASN1_STRING_get0_data(value),
                              static_cast<size_t>(ASN1_STRING_length(value)));
}

Record DecodeKeyDescription(const uint8_t* der, size_t size) {
  CBS bytes;
  CBS_init(&bytes, der, size);
  Record record;
  if (!ReadRecord(bytes, &record)) record.push_back(Broken());
  return record;
}

Json::Value RecordJson(const Record& record) {
  Json::Value json(Json::objectValue);
  for (const RecordEntry& entry : record) {
    json[entry.name] = entry.entries.empty() ? entry.value : RecordJson(entry.entries);
  }
  return json;
}

void AppendRecordLines(const Record& record, size_t indent, std::vector<std::string>* lines) {
  for (const RecordEntry& entry : record) {
    const bool inner = !entry.entries.empty() || entry.value.isObject();
    const std::string begin = std::string(indent, ' ') + entry.name + ":";
    lines->push_back(inner ? begin : begin + " " + ValueText(entry.value));
    AppendRecordLines(entry.entries, indent + 2, lines);
  }
}

}  // namespace orx_tool
