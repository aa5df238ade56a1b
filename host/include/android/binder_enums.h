// SPDX-License-Identifier: Apache-2.0
// Stands in for the binder NDK's <android/binder_enums.h>, complete: iteration over the enumerators
// of an AIDL enum.
#pragma once

#include <array>
#include <iterator>

namespace ndk {
namespace internal {

struct NotAnAidlEnum {};

// Each AIDL enum specialises this with a std::array of its enumerators in declared order.
template <typename EnumType>
constexpr inline NotAnAidlEnum enum_values{};

}  // namespace internal

template <typename EnumType>
struct enum_range {
  constexpr auto begin() const { return std::begin(internal::enum_values<EnumType>); }
  constexpr auto end() const { return std::end(internal::enum_values<EnumType>); }
};

}  // namespace ndk
