// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/Algorithm.h>
#include <aidl/android/hardware/security/keymint/BlockMode.h>
#include <aidl/android/hardware/security/keymint/Digest.h>
#include <aidl/android/hardware/security/keymint/EcCurve.h>
#include <aidl/android/hardware/security/keymint/KeyParameter.h>
#include <aidl/android/hardware/security/keymint/KeyParameterValue.h>
#include <aidl/android/hardware/security/keymint/KeyPurpose.h>
#include <aidl/android/hardware/security/keymint/PaddingMode.h>
#include <aidl/android/hardware/security/keymint/Tag.h>
#include <aidl/android/hardware/security/keymint/TagType.h>
#include <orx/export.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace android::hardware::keymint::ORX {

namespace km = ::aidl::android::hardware::security::keymint;

// TypedTag pairs a KeyMint tag with its tag type at compile time. The pair selects the
// KeyParameterValue alternative in which push_back() stores the tag's value, so that a value of the
// wrong type does not compile.
template <km::TagType tag_type, km::Tag tag>
struct TypedTag {
  static_assert((static_cast<uint32_t>(tag) & 0xF0000000u) == static_cast<uint32_t>(tag_type),
                "a tag's upper four bits are its tag type");
};

// TAG_NAME is Tag::NAME with its tag type.
inline constexpr TypedTag<km::TagType::ENUM_REP, km::Tag::PURPOSE> TAG_PURPOSE;
inline constexpr TypedTag<km::TagType::ENUM, km::Tag::ALGORITHM> TAG_ALGORITHM;
inline constexpr TypedTag<km::TagType::UINT, km::Tag::KEY_SIZE> TAG_KEY_SIZE;
inline constexpr TypedTag<km::TagType::ENUM_REP, km::Tag::BLOCK_MODE> TAG_BLOCK_MODE;
inline constexpr TypedTag<km::TagType::ENUM_REP, km::Tag::DIGEST> TAG_DIGEST;
inline constexpr TypedTag<km::TagType::ENUM_REP, km::Tag::PADDING> TAG_PADDING;
inline constexpr TypedTag<km::TagType::BOOL, km::Tag::CALLER_NONCE> TAG_CALLER_NONCE;
inline constexpr TypedTag<km::TagType::UINT, km::Tag::MIN_MAC_LENGTH> TAG_MIN_MAC_LENGTH;
inline constexpr TypedTag<km::TagType::ENUM, km::Tag::EC_CURVE> TAG_EC_CURVE;
inline constexpr TypedTag<km::TagType::ULONG, km::Tag::RSA_PUBLIC_EXPONENT> TAG_RSA_PUBLIC_EXPONENT;
inline constexpr TypedTag<km::TagType::ENUM_REP, km::Tag::RSA_OAEP_MGF_DIGEST>
    TAG_RSA_OAEP_MGF_DIGEST;
inline constexpr TypedTag<km::TagType::BOOL, km::Tag::NO_AUTH_REQUIRED> TAG_NO_AUTH_REQUIRED;
inline constexpr TypedTag<km::TagType::BYTES, km::Tag::ATTESTATION_CHALLENGE>
    TAG_ATTESTATION_CHALLENGE;
inline constexpr TypedTag<km::TagType::BYTES, km::Tag::ATTESTATION_APPLICATION_ID>
    TAG_ATTESTATION_APPLICATION_ID;
inline constexpr TypedTag<km::TagType::BYTES, km::Tag::ATTESTATION_ID_BRAND>
    TAG_ATTESTATION_ID_BRAND;
inline constexpr TypedTag<km::TagType::BYTES, km::Tag::ATTESTATION_ID_DEVICE>
    TAG_ATTESTATION_ID_DEVICE;
inline constexpr TypedTag<km::TagType::BYTES, km::Tag::ATTESTATION_ID_PRODUCT>
    TAG_ATTESTATION_ID_PRODUCT;
inline constexpr TypedTag<km::TagType::BYTES, km::Tag::ATTESTATION_ID_SERIAL>
    TAG_ATTESTATION_ID_SERIAL;
inline constexpr TypedTag<km::TagType::BYTES, km::Tag::ATTESTATION_ID_IMEI> TAG_ATTESTATION_ID_IMEI;
inline constexpr TypedTag<km::TagType::BYTES, km::Tag::ATTESTATION_ID_MEID> TAG_ATTESTATION_ID_MEID;
inline constexpr TypedTag<km::TagType::BYTES, km::Tag::ATTESTATION_ID_MANUFACTURER>
    TAG_ATTESTATION_ID_MANUFACTURER;
inline constexpr TypedTag<km::TagType::BYTES, km::Tag::ATTESTATION_ID_MODEL>
    TAG_ATTESTATION_ID_MODEL;
inline constexpr TypedTag<km::TagType::BYTES, km::Tag::ATTESTATION_ID_SECOND_IMEI>
    TAG_ATTESTATION_ID_SECOND_IMEI;
inline constexpr TypedTag<km::TagType::BYTES, km::Tag::NONCE> TAG_NONCE;
inline constexpr TypedTag<km::TagType::UINT, km::Tag::MAC_LENGTH> TAG_MAC_LENGTH;
inline constexpr TypedTag<km::TagType::DATE, km::Tag::CERTIFICATE_NOT_BEFORE>
    TAG_CERTIFICATE_NOT_BEFORE;
inline constexpr TypedTag<km::TagType::DATE, km::Tag::CERTIFICATE_NOT_AFTER>
    TAG_CERTIFICATE_NOT_AFTER;

namespace internal {

// The KeyParameterValue alternative that holds a tag's value: fixed by the tag type, for the two
// enumeration types by the tag itself.
template <km::TagType tag_type, km::Tag tag>
constexpr km::KeyParameterValue::Tag Alternative() {
  using Value = km::KeyParameterValue;
  if constexpr (tag_type == km::TagType::BOOL) return Value::boolValue;
  if constexpr (tag_type == km::TagType::UINT || tag_type == km::TagType::UINT_REP)
    return Value::integer;
  if constexpr (tag_type == km::TagType::ULONG || tag_type == km::TagType::ULONG_REP)
    return Value::longInteger;
  if constexpr (tag_type == km::TagType::DATE) return Value::dateTime;
  if constexpr (tag_type == km::TagType::BYTES || tag_type == km::TagType::BIGNUM)
    return Value::blob;
  if constexpr (tag == km::Tag::PURPOSE) return Value::keyPurpose;
  if constexpr (tag == km::Tag::ALGORITHM) return Value::algorithm;
  if constexpr (tag == km::Tag::BLOCK_MODE) return Value::blockMode;
  if constexpr (tag == km::Tag::DIGEST || tag == km::Tag::RSA_OAEP_MGF_DIGEST) return Value::digest;
  if constexpr (tag == km::Tag::PADDING) return Value::paddingMode;
  if constexpr (tag == km::Tag::EC_CURVE) return Value::ecCurve;
  return Value::invalid;
}

}  // namespace internal

// AidlBuf is a byte vector that can be assigned from a byte string: the vector takes the string's
// length, and its bytes one for one.
class AidlBuf : public std::vector<uint8_t> {
 public:
  // AidlBuf holds the bytes of `bytes`, or none.
  AidlBuf() = default;
  explicit AidlBuf(const std::string& bytes) { *this = bytes; }

  // operator= replaces the bytes by those of `bytes`.
  AidlBuf& operator=(const std::string& bytes) {
    const auto* first = reinterpret_cast<const uint8_t*>(bytes.data());
    assign(first, first + bytes.size());
    return *this;
  }
};

// AuthorizationSet is the list of KeyMint key parameters that accompanies a request to a KeyMint
// device, in insertion order until Sort() or Deduplicate() reorders it. A plain value: no locking,
// no errors. Duplicates are allowed; repeatable tags rely on them. What is inline here is part of
// the caller's code, where a container without memory throws; the library's own code ends the
// process.
//
// The order of Sort(), Deduplicate(), Union() and Subtract() is that of KeyParameter: by tag as a
// signed 32-bit integer, then by value (index of the alternative first).
//
// WARNING: as tags compare signed, those of type BYTES, BIGNUM and ULONG_REP (top bit set) sort
// before INVALID and before all others.
class ORX_EXPORT AuthorizationSet {
 public:
  // AuthorizationSet holds `parameters`, or none.
  AuthorizationSet() = default;
  explicit AuthorizationSet(std::vector<km::KeyParameter> parameters)
      : parameters_(std::move(parameters)) {}

  // Sort orders the elements ascending; elements that compare equal may end in any order.
  void Sort();

  // Deduplicate sorts, keeps one of each run of equal elements and drops INVALID entries.
  //
  // WARNING: the last element always stays, whatever its tag, so an INVALID entry survives when
  // nothing sorts behind it.
  void Deduplicate();

  // Union appends all of `other`'s elements, then deduplicates.
  void Union(const AuthorizationSet& other);

  // Subtract deduplicates this set, then removes for each element of `other` at most one equal
  // element.
  void Subtract(const AuthorizationSet& other);

  // find returns the index of the first element behind position `begin`, -1 or more, whose tag is
  // `tag`, or -1.
  int find(km::Tag tag, int begin = -1) const;

  // operator[] returns the element at index `at`, which is not checked.
  km::KeyParameter& operator[](int at) { return parameters_[static_cast<size_t>(at)]; }
  const km::KeyParameter& operator[](int at) const { return parameters_[static_cast<size_t>(at)]; }

  // Clear removes all elements.
  void Clear() { parameters_.clear(); }

  // GetTagCount returns how many elements have `tag`.
  size_t GetTagCount(km::Tag tag) const;

  // erase removes the element at `index`, from 0 to the size. Returns false, with nothing removed,
  // when it equals the size.
  bool erase(int index);

  // GetEntry returns a reference to the first element with `tag`, valid until the set changes.
  std::optional<std::reference_wrapper<const km::KeyParameter>> GetEntry(km::Tag tag) const;

  // push_back appends one parameter with `value` in the alternative that belongs to the tag.
  // Unsigned values are stored bit for bit in the signed alternatives.
  template <km::TagType tag_type, km::Tag tag, typename Value>
  void push_back(TypedTag<tag_type, tag>, Value&& value) {
    static_assert(tag_type != km::TagType::BOOL, "a BOOL tag takes no value: presence means true");
    constexpr auto kAlternative = internal::Alternative<tag_type, tag>();
    static_assert(kAlternative != km::KeyParameterValue::invalid, "the tag has no value type here");
    Append({tag, km::KeyParameterValue::make<kAlternative>(std::forward<Value>(value))});
  }

  // push_back of a BOOL tag stores true; a false value is never carried.
  template <km::Tag tag>
  void push_back(TypedTag<km::TagType::BOOL, tag>) {
    Append({tag, km::KeyParameterValue::make<km::KeyParameterValue::boolValue>(true)});
  }

  // push_back of a whole parameter appends it as it is.
  void push_back(const km::KeyParameter& parameter) { parameters_.push_back(parameter); }

  // As those of std::vector.
  size_t size() const { return parameters_.size(); }
  bool empty() const { return parameters_.empty(); }
  std::vector<km::KeyParameter>::const_iterator begin() const { return parameters_.begin(); }
  std::vector<km::KeyParameter>::const_iterator end() const { return parameters_.end(); }

  // vector_data is the list as the KeyMint device receives it.
  const std::vector<km::KeyParameter>& vector_data() const { return parameters_; }

 private:
  // The first parameter makes room for a usual request, which otherwise moves four times.
  void Append(km::KeyParameter parameter) {
    constexpr size_t kUsualRequest = 8;
    if (parameters_.capacity() == 0) parameters_.reserve(kUsualRequest);
    parameters_.push_back(std::move(parameter));
  }

  std::vector<km::KeyParameter> parameters_;
};

// AuthorizationSetBuilder is an AuthorizationSet with named methods, each of which appends exactly
// the parameters that its comment lists, in that order, and returns the builder.
class ORX_EXPORT AuthorizationSetBuilder : public AuthorizationSet {
 public:
  // Authorization appends one parameter: a BOOL tag, which takes no value.
  template <km::Tag tag>
  AuthorizationSetBuilder& Authorization(TypedTag<km::TagType::BOOL, tag> typed_tag) {
    push_back(typed_tag);
    return *this;
  }

  // Authorization of a tag of another type appends it with its value.
  template <km::TagType tag_type, km::Tag tag, typename Value,
            typename = std::enable_if_t<tag_type != km::TagType::BYTES>>
  AuthorizationSetBuilder& Authorization(TypedTag<tag_type, tag> typed_tag, Value value) {
    push_back(typed_tag, value);
    return *this;
  }

  // Authorization of a BYTES tag appends it with the bytes of a string.
  template <km::Tag tag>
  AuthorizationSetBuilder& Authorization(TypedTag<km::TagType::BYTES, tag> typed_tag,
                                         const std::string& bytes) {
    push_back(typed_tag, AidlBuf(bytes));
    return *this;
  }

  // Authorization of a BYTES tag appends it with a copy of the `length` bytes at `data`.
  template <km::Tag tag>
  AuthorizationSetBuilder& Authorization(TypedTag<km::TagType::BYTES, tag> typed_tag,
                                         const uint8_t* data, size_t length) {
    push_back(typed_tag, std::vector<uint8_t>(data, data + length));
    return *this;
  }

  // ALGORITHM=RSA, KEY_SIZE, RSA_PUBLIC_EXPONENT. `key_size` in bits here and below.
  AuthorizationSetBuilder& RsaKey(uint32_t key_size, uint64_t public_exponent);
  // ALGORITHM=EC, KEY_SIZE; no curve is added.
  AuthorizationSetBuilder& EcdsaKey(uint32_t key_size);
  // ALGORITHM=EC, EC_CURVE.
  AuthorizationSetBuilder& EcdsaKey(km::EcCurve curve);
  // ALGORITHM=AES, KEY_SIZE.
  AuthorizationSetBuilder& AesKey(uint32_t key_size);
  // ALGORITHM=TRIPLE_DES, KEY_SIZE.
  AuthorizationSetBuilder& TripleDesKey(uint32_t key_size);
  // ALGORITHM=HMAC, KEY_SIZE, then SigningKey().
  AuthorizationSetBuilder& HmacKey(uint32_t key_size);

  // PURPOSE=SIGN, PURPOSE=VERIFY.
  AuthorizationSetBuilder& SigningKey();
  // PURPOSE=ENCRYPT, PURPOSE=DECRYPT.
  AuthorizationSetBuilder& EncryptionKey();
  // PURPOSE=ATTEST_KEY.
  AuthorizationSetBuilder& AttestKey();

  // The key's parameters, then those of its purposes.
  AuthorizationSetBuilder& RsaSigningKey(uint32_t key_size, uint64_t public_exponent);
  AuthorizationSetBuilder& RsaEncryptionKey(uint32_t key_size, uint64_t public_exponent);
  AuthorizationSetBuilder& EcdsaSigningKey(uint32_t key_size);
  AuthorizationSetBuilder& EcdsaSigningKey(km::EcCurve curve);
  AuthorizationSetBuilder& AesEncryptionKey(uint32_t key_size);
  AuthorizationSetBuilder& TripleDesEncryptionKey(uint32_t key_size);

  // DIGEST=NONE, PADDING=NONE.
  AuthorizationSetBuilder& NoDigestOrPadding();
  // BLOCK_MODE=ECB.
  AuthorizationSetBuilder& EcbMode();
  // BLOCK_MODE=GCM, PADDING=NONE, MIN_MAC_LENGTH or MAC_LENGTH (bits).
  AuthorizationSetBuilder& GcmModeMinMacLen(uint32_t min_mac_length);
  AuthorizationSetBuilder& GcmModeMacLen(uint32_t mac_length);

  // One BLOCK_MODE, DIGEST, RSA_OAEP_MGF_DIGEST or PADDING per element, in order; none for an empty
  // list.
  AuthorizationSetBuilder& BlockMode(std::initializer_list<km::BlockMode> block_modes);
  AuthorizationSetBuilder& Digest(std::initializer_list<km::Digest> digests) {
    return Digest(std::vector<km::Digest>(digests));
  }
  AuthorizationSetBuilder& Digest(std::vector<km::Digest> digests);
  AuthorizationSetBuilder& Digest(km::Digest digest);
  AuthorizationSetBuilder& OaepMGFDigest(const std::vector<km::Digest>& digests);
  AuthorizationSetBuilder& Padding(std::initializer_list<km::PaddingMode> padding_modes);
  AuthorizationSetBuilder& Padding(km::PaddingMode padding_mode) { return Padding({padding_mode}); }

  // CERTIFICATE_NOT_BEFORE=1970-01-01T00:00:00Z and CERTIFICATE_NOT_AFTER=9999-12-31T23:59:59Z, the
  // latter RFC 5280's "no well-defined expiration date".
  AuthorizationSetBuilder& SetDefaultValidity();

  // ATTESTATION_CHALLENGE or ATTESTATION_APPLICATION_ID with the string's bytes.
  AuthorizationSetBuilder& AttestationChallenge(const std::string& challenge);
  AuthorizationSetBuilder& AttestationApplicationId(const std::string& application_id);
};

}  // namespace android::hardware::keymint::ORX
