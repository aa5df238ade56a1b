// SPDX-License-Identifier: Apache-2.0
#pragma once

// What the AIDL compiler would write for each type, so that the headers under aidl/ need state only
// what the interface definition states: names, values, types, defaults, order. Each macro takes a
// list macro, which applies its argument to every entry.
//
// Left out of every type, as nothing leaves the process: readFromParcel and writeToParcel; of
// interfaces also the transaction codes, the proxy (Bp), the default implementation that only a
// proxy uses, and the delegator.

#include <android/binder_enums.h>
#include <android/binder_interface_utils.h>
#include <android/binder_parcelable_utils.h>
#include <android/binder_to_string.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace android_host {

// The hash of version 3 of the keymint package, which its interfaces share.
inline constexpr char kKeyMintHash[] = "74a538630d5d90f732f361a2313cbb69b09eb047";

}  // namespace android_host

namespace android_host::internal {

// ObjectText builds the text form of a parcelable: Name{field: value, field: value}.
class ObjectText {
 public:
  explicit ObjectText(const char* type) : text_(std::string(type) + "{") {}

  template <typename T>
  void Add(const char* field, const T& value) {
    text_ += separator_ + std::string(field) + ": " + ::android::internal::ToString(value);
    separator_ = ", ";
  }
  std::string Finish() { return text_ + "}"; }

 private:
  std::string text_;
  const char* separator_ = "";
};

// Ends the process as Android's C library does when an assertion fails.
[[noreturn]] void AssertionFailed(const char* file, int line, const char* function,
                                  const char* text);

// A binder of this class for an implementation, and back again (null for a binder of another
// class).
::ndk::SpAIBinder NewBinder(const AIBinder_Class* clazz, ::ndk::ICInterface* implementation);
std::shared_ptr<::ndk::ICInterface> FromBinder(const ::ndk::SpAIBinder& binder,
                                               const AIBinder_Class* clazz);

// The one class object of an interface, kept in the platform's library: classes are compared by
// address.
template <typename INTERFACE>
const AIBinder_Class* ClassOf();

}  // namespace android_host::internal

// ANDROID_HOST_AIDL_ENUM(package, Enum, LIST), at file scope. LIST(E) is E(NAME, value)...
#define ANDROID_HOST_AIDL_ENUM(package, Enum, LIST)                 \
  namespace aidl::android::hardware::security::package {            \
  enum class Enum : int32_t { LIST(ANDROID_HOST_AIDL_ENUMERATOR) }; \
  [[nodiscard]] static inline std::string toString(Enum val) {      \
    using Self = Enum;                                              \
    switch (val) {                                                  \
      LIST(ANDROID_HOST_AIDL_NAME_CASE)                             \
      default:                                                      \
        return std::to_string(static_cast<int32_t>(val));           \
    }                                                               \
  }                                                                 \
  }                                                                 \
  ANDROID_HOST_AIDL_ENUM_VALUES(::aidl::android::hardware::security::package::Enum, LIST)

#define ANDROID_HOST_AIDL_ENUMERATOR(name, value) name = value,
#define ANDROID_HOST_AIDL_NAME_CASE(name, ...) \
  case Self::name:                             \
    return #name;
#define ANDROID_HOST_AIDL_COUNT_ONE(name, ...) +1
#define ANDROID_HOST_AIDL_VALUE(name, ...) Self::name,

#define ANDROID_HOST_AIDL_ENUM_VALUES(Enum, LIST)                          \
  template <>                                                              \
  constexpr inline std::array<Enum, LIST(ANDROID_HOST_AIDL_COUNT_ONE)>     \
      ndk::internal::enum_values<Enum> = [] {                              \
        using Self = Enum;                                                 \
        return decltype(enum_values<Self>){LIST(ANDROID_HOST_AIDL_VALUE)}; \
      }();

// ANDROID_HOST_AIDL_COMPARISONS(Type): the four operators that follow from == and <, in a class.
#define ANDROID_HOST_AIDL_COMPARISONS(Type)       \
  inline bool operator!=(const Type& rhs) const { \
    return !(*this == rhs);                       \
  }                                               \
  inline bool operator>(const Type& rhs) const {  \
    return rhs < *this;                           \
  }                                               \
  inline bool operator>=(const Type& rhs) const { \
    return !(*this < rhs);                        \
  }                                               \
  inline bool operator<=(const Type& rhs) const { \
    return !(rhs < *this);                        \
  }

// ANDROID_HOST_AIDL_PARCELABLE(package, Type, FIELDS), in the class. FIELDS(F) is
// F(type, name, default)..., where an empty default is that of the type.
#define ANDROID_HOST_AIDL_PARCELABLE(package, Type, FIELDS)                               \
  typedef std::false_type fixed_size;                                                     \
  static inline const char* descriptor = "android.hardware.security." #package "." #Type; \
  static const ::ndk::parcelable_stability_t _aidl_stability = ::ndk::STABILITY_VINTF;    \
                                                                                          \
  FIELDS(ANDROID_HOST_AIDL_FIELD)                                                         \
                                                                                          \
  inline bool operator==(const Type& rhs) const {                                         \
    return true FIELDS(ANDROID_HOST_AIDL_FIELD_EQUAL);                                    \
  }                                                                                       \
  inline bool operator<(const Type& rhs) const {                                          \
    FIELDS(ANDROID_HOST_AIDL_FIELD_LESS)                                                  \
    return false;                                                                         \
  }                                                                                       \
  ANDROID_HOST_AIDL_COMPARISONS(Type)                                                     \
                                                                                          \
  inline std::string toString() const {                                                   \
    ::android_host::internal::ObjectText _text(#Type);                                    \
    FIELDS(ANDROID_HOST_AIDL_FIELD_TEXT)                                                  \
    return _text.Finish();                                                                \
  }

#define ANDROID_HOST_AIDL_FIELD(type, name, initial) type name{initial};
#define ANDROID_HOST_AIDL_FIELD_EQUAL(type, name, initial) &&name == rhs.name
#define ANDROID_HOST_AIDL_FIELD_LESS(type, name, initial) \
  if (name < rhs.name) return true;                       \
  if (rhs.name < name) return false;
#define ANDROID_HOST_AIDL_FIELD_TEXT(type, name, initial) _text.Add(#name, name);

// ANDROID_HOST_AIDL_INTERFACE(Foo, version, hash, METHODS), in class IFoo. METHODS(M) is
// M(method, (parameters), (arguments))... in the order of the interface definition.
#define ANDROID_HOST_AIDL_INTERFACE(Foo, interface_version, interface_hash, METHODS) \
 public:                                                                             \
  static const char* descriptor;                                                     \
  static inline const int32_t version = interface_version;                           \
  static inline const std::string hash = interface_hash;                             \
                                                                                     \
  I##Foo();                                                                          \
  ~I##Foo() override;                                                                \
  static std::shared_ptr<I##Foo> fromBinder(const ::ndk::SpAIBinder& binder);        \
                                                                                     \
  METHODS(ANDROID_HOST_AIDL_METHOD_PURE)                                             \
  virtual ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) = 0;       \
  virtual ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) = 0;

// ANDROID_HOST_AIDL_DEFAULT(Foo, METHODS): class IFooDefault, which answers every call with
// STATUS_UNKNOWN_TRANSACTION.
#define ANDROID_HOST_AIDL_DEFAULT(Foo, METHODS)                                \
  class I##Foo##Default : public I##Foo {                                      \
   public:                                                                     \
    METHODS(ANDROID_HOST_AIDL_METHOD_UNKNOWN)                                  \
    ::ndk::SpAIBinder asBinder() override;                                     \
    bool isRemote() override;                                                  \
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) override;  \
    ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) override; \
  };

// ANDROID_HOST_AIDL_LOCAL(Foo): class BnFoo, the base of implementations.
#define ANDROID_HOST_AIDL_LOCAL(Foo)                                        \
  class Bn##Foo : public ::ndk::BnCInterface<I##Foo> {                      \
   public:                                                                  \
    Bn##Foo();                                                              \
    ~Bn##Foo() override;                                                    \
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) final;  \
    ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) final; \
                                                                            \
   protected:                                                               \
    ::ndk::SpAIBinder createBinder() override;                              \
  };

#define ANDROID_HOST_AIDL_METHOD_PURE(name, parameters, arguments) \
  virtual ::ndk::ScopedAStatus name parameters = 0;
#define ANDROID_HOST_AIDL_METHOD_UNKNOWN(name, parameters, arguments)    \
  ::ndk::ScopedAStatus name parameters override {                        \
    static_cast<void>(std::forward_as_tuple arguments);                  \
    return ::ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION); \
  }
