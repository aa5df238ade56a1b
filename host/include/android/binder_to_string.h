// SPDX-License-Identifier: Apache-2.0
// Stands in for the binder NDK's <android/binder_to_string.h>, complete: the text of any value that
// an AIDL type can hold.
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_interface_utils.h>

#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

namespace android::internal {

template <typename T>
struct IsNullable : std::false_type {};
template <typename T>
struct IsNullable<std::optional<T>> : std::true_type {};
template <typename T, typename Deleter>
struct IsNullable<std::unique_ptr<T, Deleter>> : std::true_type {};
template <typename T>
struct IsNullable<std::shared_ptr<T>> : std::true_type {};
template <typename T>
struct IsNullable<T*> : std::true_type {};

template <typename T, typename = void>
struct HasToStringMember : std::false_type {};
template <typename T>
struct HasToStringMember<T, std::void_t<decltype(std::declval<const T&>().toString())>>
    : std::true_type {};

template <typename T, typename = void>
struct HasToStringFunction : std::false_type {};
template <typename T>
struct HasToStringFunction<T, std::void_t<decltype(toString(std::declval<const T&>()))>>
    : std::true_type {};

template <typename T, typename = void>
struct IsIterable : std::false_type {};
template <typename T>
struct IsIterable<T, std::void_t<decltype(std::begin(std::declval<const T&>())),
                                 decltype(std::end(std::declval<const T&>()))>> : std::true_type {};

// The UTF-8 form of one UTF-16 code unit.
inline std::string Utf8(char16_t unit) {
  const unsigned code = unit;
  const auto tail = [](unsigned bits) { return static_cast<char>(0x80 | (bits & 0x3f)); };
  if (code < 0x80) return {static_cast<char>(code)};
  if (code < 0x800) return {static_cast<char>(0xc0 | (code >> 6)), tail(code)};
  return {static_cast<char>(0xe0 | (code >> 12)), tail(code >> 6), tail(code)};
}

template <typename T>
std::string ToString(const T& value);

template <typename T>
std::string JoinElements(const T& values) {
  std::string text = "[";
  const char* separator = "";
  for (const auto& value : values) {
    text += separator + ToString(value);
    separator = ", ";
  }
  return text + "]";
}

// The first rule that fits a type gives its text.
template <typename T>
std::string ToString(const T& value) {
  if constexpr (std::is_base_of_v<::ndk::ICInterface, T>) {
    return "<unimplemented>";
  } else if constexpr (std::is_same_v<T, bool>) {
    return value ? "true" : "false";
  } else if constexpr (std::is_same_v<T, char16_t>) {
    return Utf8(value);
  } else if constexpr (std::is_arithmetic_v<T>) {
    return std::to_string(value);
  } else if constexpr (std::is_same_v<T, std::string>) {
    return value;
  } else if constexpr (std::is_same_v<T, ::ndk::SpAIBinder>) {
    std::ostringstream text;
    text << "binder:" << std::hex << static_cast<const void*>(value.get());
    return text.str();
  } else if constexpr (std::is_same_v<T, ::ndk::ScopedFileDescriptor>) {
    return "fd:" + std::to_string(value.get());
  } else if constexpr (IsNullable<T>::value) {
    return value ? ToString(*value) : "(null)";
  } else if constexpr (HasToStringMember<T>::value) {
    return value.toString();
  } else if constexpr (HasToStringFunction<T>::value) {
    return toString(value);
  } else if constexpr (IsIterable<T>::value) {
    return JoinElements(value);
  } else {
    return "{no toString() implemented}";
  }
}

}  // namespace android::internal
