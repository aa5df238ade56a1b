// SPDX-License-Identifier: Apache-2.0
// Stands in for the binder NDK's <android/binder_to_string.h>: the text of any value that an AIDL
// type holds here. Left out: characters, binders and file descriptors, which no type has.
#pragma once

#include <android/binder_interface_utils.h>

#include <iterator>
#include <memory>
#include <optional>
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
    return "<interface>";
  } else if constexpr (std::is_same_v<T, bool>) {
    return value ? "true" : "false";
  } else if constexpr (std::is_arithmetic_v<T>) {
    return std::to_string(value);
  } else if constexpr (std::is_same_v<T, std::string>) {
    return value;
  } else if constexpr (IsNullable<T>::value) {
    return value ? ToString(*value) : "(null)";
  } else if constexpr (HasToStringMember<T>::value) {
    return value.toString();
  } else if constexpr (HasToStringFunction<T>::value) {
    return toString(value);
  } else if constexpr (IsIterable<T>::value) {
    return JoinElements(value);
  } else {
    static_assert(!sizeof(T), "no text for this type: give it a toString()");
  }
}

}  // namespace android::internal
