// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/attestation_extension.h"

#include <openssl/bytestring.h>

#include <optional>
#include <set>

#include "sim/base/bytes.h"
#include "sim/keys/key_parameters.h"

namespace orx_sim {
namespace {

using km::KeyParameter;
using km::Tag;
using km::TagType;
using Params = std::vector<KeyParameter>;
using Value = km::KeyParameterValue;

// Fields of AuthorizationList, ascending as in the schema. The ASN.1 type follows from the type
// bits of the tag. Fields that exist for wrapped import only are never part of an attestation.
constexpr Tag kFields[] = {
    Tag::PURPOSE,
    Tag::ALGORITHM,
    Tag::KEY_SIZE,
    Tag::DIGEST,
    Tag::PADDING,
    Tag::EC_CURVE,
    Tag::RSA_PUBLIC_EXPONENT,
    Tag::RSA_OAEP_MGF_DIGEST,
    Tag::ROLLBACK_RESISTANCE,
    Tag::EARLY_BOOT_ONLY,
    Tag::ACTIVE_DATETIME,
    Tag::ORIGINATION_EXPIRE_DATETIME,
    Tag::USAGE_EXPIRE_DATETIME,
    Tag::USAGE_COUNT_LIMIT,
    Tag::NO_AUTH_REQUIRED,
    Tag::USER_AUTH_TYPE,
    Tag::AUTH_TIMEOUT,
    Tag::ALLOW_WHILE_ON_BODY,
    Tag::TRUSTED_USER_PRESENCE_REQUIRED,
    Tag::TRUSTED_CONFIRMATION_REQUIRED,
    Tag::UNLOCKED_DEVICE_REQUIRED,
    Tag::CREATION_DATETIME,
    Tag::ORIGIN,
    Tag::ROOT_OF_TRUST,
    Tag::OS_VERSION,
    Tag::OS_PATCHLEVEL,
    Tag::ATTESTATION_APPLICATION_ID,
    Tag::ATTESTATION_ID_BRAND,
    Tag::ATTESTATION_ID_DEVICE,
    Tag::ATTESTATION_ID_PRODUCT,
    Tag::ATTESTATION_ID_SERIAL,
    Tag::ATTESTATION_ID_IMEI,
    Tag::ATTESTATION_ID_MEID,
    Tag::ATTESTATION_ID_MANUFACTURER,
    Tag::ATTESTATION_ID_MODEL,
    Tag::VENDOR_PATCHLEVEL,
    Tag::BOOT_PATCHLEVEL,
    Tag::DEVICE_UNIQUE_ATTESTATION,
    Tag::ATTESTATION_ID_SECOND_IMEI,
};
constexpr int32_t kFirstVersionWithSecondImei = 3;

constexpr uint32_t kTypeMask = 0xF0000000;

TagType TypeOf(Tag tag) {
  return static_cast<TagType>(static_cast<uint32_t>(tag) & kTypeMask);
}
unsigned NumberOf(Tag tag) {
  return static_cast<uint32_t>(tag) & ~kTypeMask;
}

// The signed members hold unsigned numbers; so does the enumeration of authenticators, whose "any"
// is all ones.
template <typename T>
uint64_t Unsigned(T value) {
  return static_cast<uint32_t>(value);
}
uint64_t Unsigned(int64_t value) {
  return static_cast<uint64_t>(value);
}

// The value of a parameter that ASN.1 carries as an INTEGER.
std::optional<uint64_t> IntegerOf(const Value& value) {
  switch (value.getTag()) {
    case Value::algorithm:
      return Unsigned(value.get<Value::algorithm>());
    case Value::paddingMode:
      return Unsigned(value.get<Value::paddingMode>());
    case Value::digest:
      return Unsigned(value.get<Value::digest>());
    case Value::ecCurve:
      return Unsigned(value.get<Value::ecCurve>());
    case Value::origin:
      return Unsigned(value.get<Value::origin>());
    case Value::keyPurpose:
      return Unsigned(value.get<Value::keyPurpose>());
    case Value::hardwareAuthenticatorType:
      return Unsigned(value.get<Value::hardwareAuthenticatorType>());
    case Value::integer:
      return Unsigned(value.get<Value::integer>());
    case Value::longInteger:
      return Unsigned(value.get<Value::longInteger>());
    case Value::dateTime:
      return Unsigned(value.get<Value::dateTime>());
    default:
      return std::nullopt;
  }
}

bool AddEnumerated(CBB* cbb, uint8_t value) {
  CBB child;
  return CBB_add_asn1(cbb, &child, CBS_ASN1_ENUMERATED) && CBB_add_u8(&child, value) &&
         CBB_flush(cbb);
}

template <typename Container>
bool AddOctets(CBB* cbb, const Container& octets) {
  return CBB_add_asn1_octet_string(cbb, octets.data(), octets.size());
}

// A field: its type under an explicit tag with the number of the authorization.
bool OpenField(CBB* list, Tag tag, CBB* field) {
  return CBB_add_asn1(list, field,
                      CBS_ASN1_CONTEXT_SPECIFIC | CBS_ASN1_CONSTRUCTED | NumberOf(tag));
}

bool AddSetOfIntegers(CBB* field, const std::vector<const KeyParameter*>& values) {
  std::set<uint64_t> integers;
  for (const KeyParameter* param : values) {
    if (const auto integer = IntegerOf(param->value)) integers.insert(*integer);
  }
  CBB set;
  if (!CBB_add_asn1(field, &set, CBS_ASN1_SET)) return false;
  for (const uint64_t integer : integers) {
    if (!CBB_add_asn1_uint64(&set, integer)) return false;
  }
  return CBB_flush_asn1_set_of(&set) && CBB_flush(field);
}

bool AddNull(CBB* field) {
  CBB null;
  return CBB_add_asn1(field, &null, CBS_ASN1_NULL) && CBB_flush(field);
}

// Whether the parameter's value is of the kind that its tag's type calls for.
bool IsWellTyped(const KeyParameter& param) {
  switch (TypeOf(param.tag)) {
    case TagType::BOOL:
      return param.value.getTag() == Value::boolValue && param.value.get<Value::boolValue>();
    case TagType::BYTES:
      return param.value.getTag() == Value::blob;
    default:
      return IntegerOf(param.value).has_value();
  }
}

bool AddField(CBB* list, Tag tag, const std::vector<const KeyParameter*>& values) {
  CBB field;
  if (!OpenField(list, tag, &field)) return false;
  bool added = false;
  switch (TypeOf(tag)) {
    case TagType::ENUM_REP:
      added = AddSetOfIntegers(&field, values);
      break;
    case TagType::BOOL:
      added = AddNull(&field);
      break;
    case TagType::BYTES:
      added = AddOctets(&field, values.front()->value.get<Value::blob>());
      break;
    default:
      added = CBB_add_asn1_uint64(&field, *IntegerOf(values.front()->value));
  }
  return added && CBB_flush(list);
}

bool AddRootOfTrust(CBB* list, const RootOfTrust& root) {
  CBB field, sequence;
  return OpenField(list, Tag::ROOT_OF_TRUST, &field) &&
         CBB_add_asn1(&field, &sequence, CBS_ASN1_SEQUENCE) &&
         AddOctets(&sequence, root.verified_boot_key) &&
         CBB_add_asn1_bool(&sequence, root.device_locked) &&
         AddEnumerated(&sequence, static_cast<uint8_t>(root.verified_boot_state)) &&
         AddOctets(&sequence, root.verified_boot_hash) && CBB_flush(list);
}

std::vector<const KeyParameter*> Select(const Params& authorizations, Tag tag) {
  std::vector<const KeyParameter*> selected;
  for (const KeyParameter& param : authorizations) {
    if (param.tag == tag && IsWellTyped(param)) selected.push_back(&param);
  }
  return selected;
}

bool AddList(CBB* parent, const Params& authorizations, int32_t interface_version,
             const RootOfTrust* root_of_trust) {
  CBB list;
  if (!CBB_add_asn1(parent, &list, CBS_ASN1_SEQUENCE)) return false;
  for (const Tag tag : kFields) {
    if (tag == Tag::ROOT_OF_TRUST) {
      if (root_of_trust != nullptr && !AddRootOfTrust(&list, *root_of_trust)) return false;
      continue;
    }
    if (tag == Tag::ATTESTATION_ID_SECOND_IMEI && interface_version < kFirstVersionWithSecondImei) {
      continue;
    }
    const auto values = Select(authorizations, tag);
    if (!values.empty() && !AddField(&list, tag, values)) return false;
  }
  return CBB_flush(parent);
}

bool AddKeyDescription(CBB* cbb, const AttestationRecord& record) {
  const uint64_t version = static_cast<uint64_t>(record.interface_version) * 100;
  const uint8_t level = static_cast<uint8_t>(record.security_level);
  CBB sequence;
  return CBB_add_asn1(cbb, &sequence, CBS_ASN1_SEQUENCE) &&
         CBB_add_asn1_uint64(&sequence, version) && AddEnumerated(&sequence, level) &&
         CBB_add_asn1_uint64(&sequence, version) && AddEnumerated(&sequence, level) &&
         AddOctets(&sequence, record.challenge) && AddOctets(&sequence, record.unique_id) &&
         AddList(&sequence, record.software_enforced, record.interface_version, nullptr) &&
         AddList(&sequence, record.hardware_enforced, record.interface_version,
                 &record.root_of_trust) &&
         CBB_flush(cbb);
}

}  // namespace

Bytes EncodeKeyDescription(const AttestationRecord& record) {
  bssl::ScopedCBB cbb;
  if (!CBB_init(cbb.get(), 512) || !AddKeyDescription(cbb.get(), record)) {
    return {};
  }
  return Bytes(CBB_data(cbb.get()), CBB_data(cbb.get()) + CBB_len(cbb.get()));
}

}  // namespace orx_sim
