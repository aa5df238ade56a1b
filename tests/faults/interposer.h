// SPDX-License-Identifier: Apache-2.0
#pragma once

// A shared object that stands before the C library, the C++ library and the crypto library, and
// fails one call that is made on behalf of liborx.so.
namespace orx_faults {

// In the place of an errno: half of the bytes are transferred.
constexpr int kShort = -1;

// A call that the library makes.
struct Call {
  const char* name;  // null: no more are counted
  int errors[3];     // what it fails with: an errno, kShort, or 0 for no more
  long times;        // how often it was made
};
constexpr int kMaxCalls = 32;

// Arm counts the library's calls on this thread and fails the `at`-th `call`, once, with `error`
// (an errno, or kShort); 0 fails none. Disarm ends that.
void Arm(const char* call, int error, long at);
void Disarm();

// HasFailed returns whether the call was failed since Arm(); Calls returns what was counted, in
// kMaxCalls rows.
bool HasFailed();
const Call* Calls();

// Live returns how many allocations of the library, made while it was armed, were not freed.
long Live();

}  // namespace orx_faults
