// SPDX-License-Identifier: Apache-2.0
// Stands in for the AIDL compiler's NDK output for android.hardware.security.keymint, version 3.
#pragma once

#include <aidl/android/hardware/security/keymint/Algorithm.h>
#include <aidl/android/hardware/security/keymint/BlockMode.h>
#include <aidl/android/hardware/security/keymint/Digest.h>
#include <aidl/android/hardware/security/keymint/EcCurve.h>
#include <aidl/android/hardware/security/keymint/HardwareAuthenticatorType.h>
#include <aidl/android/hardware/security/keymint/KeyOrigin.h>
#include <aidl/android/hardware/security/keymint/KeyPurpose.h>
#include <aidl/android/hardware/security/keymint/PaddingMode.h>
#include <aidl/android/hardware/security/keymint/SecurityLevel.h>
#include <android_host/aidl_types.h>

#include <cassert>
#include <initializer_list>

// FIRST(name, type), then NEXT(name, type)...
#define ANDROID_HOST_KEY_PARAMETER_VALUE(FIRST, NEXT)        \
  FIRST(invalid, int32_t)                                    \
  NEXT(algorithm, Algorithm)                                 \
  NEXT(blockMode, BlockMode)                                 \
  NEXT(paddingMode, PaddingMode)                             \
  NEXT(digest, Digest)                                       \
  NEXT(ecCurve, EcCurve)                                     \
  NEXT(origin, KeyOrigin)                                    \
  NEXT(keyPurpose, KeyPurpose)                               \
  NEXT(hardwareAuthenticatorType, HardwareAuthenticatorType) \
  NEXT(securityLevel, SecurityLevel)                         \
  NEXT(boolValue, bool)                                      \
  NEXT(integer, int32_t)                                     \
  NEXT(longInteger, int64_t)                                 \
  NEXT(dateTime, int64_t)                                    \
  NEXT(blob, std::vector<uint8_t>)
#define ANDROID_HOST_ALTERNATIVES(A) ANDROID_HOST_KEY_PARAMETER_VALUE(A, A)

namespace aidl::android::hardware::security::keymint {

// KeyParameterValue is a union: getTag() tells which alternative is present. get() of another one
// ends the process.
class KeyParameterValue {
 public:
#define ENUMERATOR(name, type) name,
#define CONSTANT(name, type) static const inline Tag name = Tag::name;
  enum class Tag : int32_t { ANDROID_HOST_ALTERNATIVES(ENUMERATOR) };
  ANDROID_HOST_ALTERNATIVES(CONSTANT)
#undef ENUMERATOR
#undef CONSTANT

  typedef std::false_type fixed_size;
  static inline const char* descriptor = "android.hardware.security.keymint.KeyParameterValue";
  static const ::ndk::parcelable_stability_t _aidl_stability = ::ndk::STABILITY_VINTF;

  template <typename T>
  static constexpr bool _not_self = !std::is_same_v<std::decay_t<T>, KeyParameterValue>;

  KeyParameterValue() : _value(std::in_place_index<0>, 0) {}

  // From a type that exactly one alternative has; others are made with make().
  template <typename T, typename = std::enable_if_t<_not_self<T>>>
  constexpr KeyParameterValue(T&& value) : _value(std::forward<T>(value)) {}

  template <size_t index, typename... T>
  constexpr explicit KeyParameterValue(std::in_place_index_t<index> place, T&&... values)
      : _value(place, std::forward<T>(values)...) {}

  template <Tag tag, typename... T>
  static KeyParameterValue make(T&&... values) {
    return KeyParameterValue(std::in_place_index<static_cast<size_t>(tag)>,
                             std::forward<T>(values)...);
  }

  template <Tag tag, typename U, typename... T>
  static KeyParameterValue make(std::initializer_list<U> list, T&&... values) {
    return KeyParameterValue(std::in_place_index<static_cast<size_t>(tag)>, std::move(list),
                             std::forward<T>(values)...);
  }

  Tag getTag() const {
    return static_cast<Tag>(_value.index());
  }

  template <Tag tag>
  const auto& get() const {
    CheckTag(tag, __PRETTY_FUNCTION__);
    return std::get<static_cast<size_t>(tag)>(_value);
  }

  template <Tag tag>
  auto& get() {
    CheckTag(tag, __PRETTY_FUNCTION__);
    return std::get<static_cast<size_t>(tag)>(_value);
  }

  template <Tag tag, typename... T>
  void set(T&&... values) {
    _value.template emplace<static_cast<size_t>(tag)>(std::forward<T>(values)...);
  }

  inline bool operator==(const KeyParameterValue& rhs) const {
    return _value == rhs._value;
  }
  inline bool operator<(const KeyParameterValue& rhs) const {
    return _value < rhs._value;
  }
  ANDROID_HOST_AIDL_COMPARISONS(KeyParameterValue)

  inline std::string toString() const;

 private:
  void CheckTag(Tag wanted, const char* function) const {
    if (getTag() == wanted) return;
    ::android_host::internal::AssertionFailed(__FILE__, __LINE__, function,
                                              "bad access: a wrong tag");
  }

#define FIRST_TYPE(name, type) type
#define NEXT_TYPE(name, type) , type
  std::variant<ANDROID_HOST_KEY_PARAMETER_VALUE(FIRST_TYPE, NEXT_TYPE)> _value;
#undef FIRST_TYPE
#undef NEXT_TYPE
};

[[nodiscard]] static inline std::string toString(KeyParameterValue::Tag val) {
  using Self = KeyParameterValue::Tag;
  switch (val) {
    ANDROID_HOST_ALTERNATIVES(ANDROID_HOST_AIDL_NAME_CASE)
    default:
      return std::to_string(static_cast<int32_t>(val));
  }
}

inline std::string KeyParameterValue::toString() const {
  ::android_host::internal::ObjectText text("KeyParameterValue");
  const std::string name = keymint::toString(getTag());
  std::visit([&](const auto& value) { text.Add(name.c_str(), value); }, _value);
  return text.Finish();
}

}  // namespace aidl::android::hardware::security::keymint

ANDROID_HOST_AIDL_ENUM_VALUES(::aidl::android::hardware::security::keymint::KeyParameterValue::Tag,
                              ANDROID_HOST_ALTERNATIVES)
#undef ANDROID_HOST_ALTERNATIVES
#undef ANDROID_HOST_KEY_PARAMETER_VALUE
