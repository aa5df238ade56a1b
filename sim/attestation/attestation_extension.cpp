// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/attestation_extension.h"

#include <openssl/bytestring.h>

#include <set>

namespace orx_sim {
namespace {

using km::KeyParameter;
using km::TagType;
using Value = km::KeyParameterValue;

// The fields of AuthorizationList that a key here can have, ascending as in the schema. The ASN.1
// type follows from the type bits of the tag.
constexpr Tag kFields[] = {
    Tag::PURPOSE,
    Tag::ALGORITHM,
    Tag::KEY_SIZE,
    Tag::DIGEST,
    Tag::PADDING,
    Tag::EC_CURVE,
    Tag::RSA_PUBLIC_EXPONENT,
    Tag::RSA_OAEP_MGF_DIGEST,
    Tag::NO_AUTH_REQUIRED,
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
    Tag::ATTESTATION_ID_SECOND_IMEI,
};

constexpr uint32_t kTypeMask = 0xF0000000;

TagType TypeOf(Tag tag) {
  return static_cast<TagType>(static_cast<uint32_t>(tag) & kTypeMask);
}
unsigned FieldNumber(Tag tag) {
  return static_cast<uint32_t>(tag) & ~kTypeMask;
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
                      CBS_ASN1_CONTEXT_SPECIFIC | CBS_ASN1_CONSTRUCTED | FieldNumber(tag));
}

bool AddSetOfIntegers(CBB* field, const std::vector<const KeyParameter*>& values) {
  std::set<uint64_t> integers;
  for (const KeyParameter* param : values) {
    integers.insert(static_cast<uint64_t>(*NumberOf(param->value)));
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
      return NumberOf(param.value).has_value();
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
      added = CBB_add_asn1_uint64(&field, static_cast<uint64_t>(*NumberOf(values.front()->value)));
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

std::vector<const KeyParameter*> Select(const KeyParams& authorizations, Tag tag) {
  std::vector<const KeyParameter*> selected;
  for (const KeyParameter& param : authorizations) {
    if (param.tag == tag && IsWellTyped(param)) selected.push_back(&param);
  }
  return selected;
}

bool AddList(CBB* parent, const KeyParams& authorizations, const RootOfTrust* root_of_trust) {
  CBB list;
  if (!CBB_add_asn1(parent, &list, CBS_ASN1_SEQUENCE)) return false;
  for (const Tag tag : kFields) {
    if (tag == Tag::ROOT_OF_TRUST) {
      if (root_of_trust != nullptr && !AddRootOfTrust(&list, *root_of_trust)) return false;
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
  const Bytes no_unique_id;
  CBB sequence;
  return CBB_add_asn1(cbb, &sequence, CBS_ASN1_SEQUENCE) &&
         CBB_add_asn1_uint64(&sequence, version) && AddEnumerated(&sequence, level) &&
         CBB_add_asn1_uint64(&sequence, version) && AddEnumerated(&sequence, level) &&
         AddOctets(&sequence, record.challenge) && AddOctets(&sequence, no_unique_id) &&
         AddList(&sequence, record.software_enforced, nullptr) &&
         AddList(&sequence, record.hardware_enforced, &record.root_of_trust) && CBB_flush(cbb);
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
