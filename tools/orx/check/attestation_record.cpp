// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/attestation_record.h"

#include <aidl/android/hardware/security/keymint/Algorithm.h>
#include <aidl/android/hardware/security/keymint/Digest.h>
#include <aidl/android/hardware/security/keymint/EcCurve.h>
#include <aidl/android/hardware/security/keymint/KeyOrigin.h>
#include <aidl/android/hardware/security/keymint/KeyPurpose.h>
#include <aidl/android/hardware/security/keymint/PaddingMode.h>
#include <openssl/asn1.h>
#include <openssl/bytestring.h>
#include <openssl/obj.h>

#include <algorithm>

#include "tools/orx/cli/encoding.h"

namespace orx_tool {

namespace km = aidl::android::hardware::security::keymint;

namespace {

constexpr const char kExtensionOid[] = "1.3.6.1.4.1.11129.2.1.17";

// How the value of an authorization is shown.
enum class Kind {
  kNumber,
  kFlag,
  kBytes,
  kRootOfTrust,
  kAlgorithm,
  kCurve,
  kOrigin,
  kPurposes,
  kDigests,
  kPaddings,
  kNumbers
};

struct Field {
  const char* name;
  unsigned number;  // of the KeyMint tag, without its type
  Kind kind;
};

constexpr Field kFields[] = {
    {"purpose", 1, Kind::kPurposes},
    {"algorithm", 2, Kind::kAlgorithm},
    {"keySize", 3, Kind::kNumber},
    {"blockMode", 4, Kind::kNumbers},
    {"digest", 5, Kind::kDigests},
    {"padding", 6, Kind::kPaddings},
    {"callerNonce", 7, Kind::kFlag},
    {"minMacLength", 8, Kind::kNumber},
    {"ecCurve", 10, Kind::kCurve},
    {"rsaPublicExponent", 200, Kind::kNumber},
    {"mgfDigest", 203, Kind::kDigests},
    {"rollbackResistance", 303, Kind::kFlag},
    {"earlyBootOnly", 305, Kind::kFlag},
    {"activeDateTime", 400, Kind::kNumber},
    {"originationExpireDateTime", 401, Kind::kNumber},
    {"usageExpireDateTime", 402, Kind::kNumber},
    {"usageCountLimit", 405, Kind::kNumber},
    {"userSecureId", 502, Kind::kNumber},
    {"noAuthRequired", 503, Kind::kFlag},
    {"userAuthType", 504, Kind::kNumber},
    {"authTimeout", 505, Kind::kNumber},
    {"allowWhileOnBody", 506, Kind::kFlag},
    {"trustedUserPresenceRequired", 507, Kind::kFlag},
    {"trustedConfirmationRequired", 508, Kind::kFlag},
    {"unlockedDeviceRequired", 509, Kind::kFlag},
    {"creationDateTime", 701, Kind::kNumber},
    {"origin", 702, Kind::kOrigin},
    {"rootOfTrust", 704, Kind::kRootOfTrust},
    {"osVersion", 705, Kind::kNumber},
    {"osPatchLevel", 706, Kind::kNumber},
    {"attestationApplicationId", 709, Kind::kBytes},
    {"attestationIdBrand", 710, Kind::kBytes},
    {"attestationIdDevice", 711, Kind::kBytes},
    {"attestationIdProduct", 712, Kind::kBytes},
    {"attestationIdSerial", 713, Kind::kBytes},
    {"attestationIdImei", 714, Kind::kBytes},
    {"attestationIdMeid", 715, Kind::kBytes},
    {"attestationIdManufacturer", 716, Kind::kBytes},
    {"attestationIdModel", 717, Kind::kBytes},
    {"vendorPatchLevel", 718, Kind::kNumber},
    {"bootPatchLevel", 719, Kind::kNumber},
    {"deviceUniqueAttestation", 720, Kind::kFlag},
    {"attestationIdSecondImei", 723, Kind::kBytes},
};

constexpr const char* kSecurityLevels[] = {"Software", "TrustedEnvironment", "StrongBox"};
constexpr const char* kBootStates[] = {"Verified", "SelfSigned", "Unverified", "Failed"};

// Printable text as it is, anything else in hexadecimal.
std::string BytesText(const CBS& bytes) {
  const uint8_t* data = CBS_data(&bytes);
  const size_t size = CBS_len(&bytes);
  const bool text = size > 0 && std::all_of(data, data + size, [](uint8_t byte) {
                      return byte >= 0x20 && byte < 0x7f;
                    });
  if (text) return "\"" + std::string(reinterpret_cast<const char*>(data), size) + "\"";
  return size == 0 ? "(empty)" : ToHex(data, size);
}

template <size_t N>
std::string Named(const char* const (&names)[N], uint64_t value) {
  return value < N ? names[value] : std::to_string(value);
}

std::string NumberText(Kind kind, uint64_t number) {
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
    default:
      return std::to_string(number);
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

bool ReadRootOfTrust(CBS* in, Json::Value* json) {
  CBS sequence;
  CBS key;
  CBS hash;
  int locked = 0;
  uint64_t state = 0;
  if (!CBS_get_asn1(in, &sequence, CBS_ASN1_SEQUENCE) ||
      !CBS_get_asn1(&sequence, &key, CBS_ASN1_OCTETSTRING) ||
      !CBS_get_asn1_bool(&sequence, &locked) || !ReadEnumerated(&sequence, &state)) {
    return false;
  }
  (*json)["verifiedBootKey"] = BytesText(key);
  (*json)["deviceLocked"] = locked != 0;
  (*json)["verifiedBootState"] = Named(kBootStates, state);
  // Records of version 2 and before end here.
  if (CBS_get_asn1(&sequence, &hash, CBS_ASN1_OCTETSTRING)) {
    (*json)["verifiedBootHash"] = BytesText(hash);
  }
  return true;
}

bool ReadSet(CBS* in, Kind kind, Json::Value* json) {
  CBS set;
  if (!CBS_get_asn1(in, &set, CBS_ASN1_SET)) return false;
  *json = Json::Value(Json::arrayValue);
  while (CBS_len(&set) != 0) {
    uint64_t number = 0;
    if (!CBS_get_asn1_uint64(&set, &number)) return false;
    json->append(NumberText(kind, number));
  }
  return true;
}

// ReadValue reads what stands within the explicit tag of one authorization.
bool ReadValue(CBS* in, Kind kind, Json::Value* json) {
  CBS bytes;
  uint64_t number = 0;
  switch (kind) {
    case Kind::kFlag:
      *json = true;
      return CBS_get_asn1(in, &bytes, CBS_ASN1_NULL) == 1;
    case Kind::kBytes:
      if (!CBS_get_asn1(in, &bytes, CBS_ASN1_OCTETSTRING)) return false;
      *json = BytesText(bytes);
      return true;
    case Kind::kRootOfTrust:
      return ReadRootOfTrust(in, json);
    case Kind::kPurposes:
    case Kind::kDigests:
    case Kind::kPaddings:
    case Kind::kNumbers:
      return ReadSet(in, kind, json);
    default:
      if (!CBS_get_asn1_uint64(in, &number)) return false;
      *json = NumberText(kind, number);
      return true;
  }
}

const Field* FindField(unsigned number) {
  for (const Field& field : kFields) {
    if (field.number == number) return &field;
  }
  return nullptr;
}

bool ReadAuthorizations(CBS* in, Json::Value* json) {
  CBS list;
  if (!CBS_get_asn1(in, &list, CBS_ASN1_SEQUENCE)) return false;
  *json = Json::Value(Json::objectValue);
  while (CBS_len(&list) != 0) {
    CBS content;
    unsigned tag = 0;
    if (!CBS_get_any_asn1(&list, &content, &tag)) return false;
    const unsigned number = tag & CBS_ASN1_TAG_NUMBER_MASK;
    const Field* field = FindField(number);
    if (field == nullptr) {
      (*json)["tag " + std::to_string(number)] = BytesText(content);
    } else if (!ReadValue(&content, field->kind, &(*json)[field->name])) {
      return false;
    }
  }
  return true;
}

bool ReadNumbers(CBS* record, Json::Value* json) {
  uint64_t version = 0;
  uint64_t level = 0;
  uint64_t keymint_version = 0;
  uint64_t keymint_level = 0;
  if (!CBS_get_asn1_uint64(record, &version) || !ReadEnumerated(record, &level) ||
      !CBS_get_asn1_uint64(record, &keymint_version) || !ReadEnumerated(record, &keymint_level)) {
    return false;
  }
  (*json)["attestationVersion"] = static_cast<Json::UInt64>(version);
  (*json)["attestationSecurityLevel"] = Named(kSecurityLevels, level);
  (*json)["keyMintVersion"] = static_cast<Json::UInt64>(keymint_version);
  (*json)["keyMintSecurityLevel"] = Named(kSecurityLevels, keymint_level);
  return true;
}

bool ReadRecord(CBS in, Json::Value* json) {
  CBS record;
  CBS challenge;
  CBS unique_id;
  if (!CBS_get_asn1(&in, &record, CBS_ASN1_SEQUENCE) || !ReadNumbers(&record, json) ||
      !CBS_get_asn1(&record, &challenge, CBS_ASN1_OCTETSTRING) ||
      !CBS_get_asn1(&record, &unique_id, CBS_ASN1_OCTETSTRING)) {
    return false;
  }
  (*json)["attestationChallenge"] = BytesText(challenge);
  (*json)["uniqueId"] = BytesText(unique_id);
  return ReadAuthorizations(&record, &(*json)["softwareEnforced"]) &&
         ReadAuthorizations(&record, &(*json)["hardwareEnforced"]);
}

std::string ScalarText(const Json::Value& value) {
  if (!value.isArray()) return value.asString();
  std::string text;
  for (const Json::Value& item : value) text += (text.empty() ? "" : ", ") + item.asString();
  return text;
}

}  // namespace

std::optional<Json::Value> DecodeAttestationRecord(const X509* certificate) {
  const bssl::UniquePtr<ASN1_OBJECT> oid(OBJ_txt2obj(kExtensionOid, /*dont_search_names=*/1));
  const int index = X509_get_ext_by_OBJ(certificate, oid.get(), -1);
  if (index < 0) return std::nullopt;
  const ASN1_OCTET_STRING* value = X509_EXTENSION_get_data(X509_get_ext(certificate, index));
  CBS bytes;
  CBS_init(&bytes, ASN1_STRING_get0_data(value), static_cast<size_t>(ASN1_STRING_length(value)));
  Json::Value json(Json::objectValue);
  if (!ReadRecord(bytes, &json)) json["error"] = "the record is not well-formed from here on";
  return json;
}

void AppendRecordLines(const Json::Value& record, size_t indent, std::vector<std::string>* lines) {
  for (const std::string& name : record.getMemberNames()) {
    const Json::Value& value = record[name];
    const std::string begin = std::string(indent, ' ') + name + ":";
    lines->push_back(value.isObject() ? begin : begin + " " + ScalarText(value));
    if (value.isObject()) AppendRecordLines(value, indent + 2, lines);
  }
}

}  // namespace orx_tool
