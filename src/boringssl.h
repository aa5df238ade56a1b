// SPDX-License-Identifier: Apache-2.0
#pragma once

// Included wherever the crypto library is called. It is BoringSSL: its results are only ever 0 or 1
// where other libraries also answer -1, and it wipes key objects and buffers when it frees them.
// The library's checks rely on both.

#include <openssl/base.h>
#include <openssl/err.h>

#ifndef OPENSSL_IS_BORINGSSL
#error "the crypto library must be BoringSSL"
#endif

// ErrorQueueGuard leaves the thread's error queue of the crypto library as it was when the guard
// was made: what the library's own calls add to it goes, and the caller's entries stay. Guards do
// not nest, as one ends where another's mark is.
class ErrorQueueGuard {
 public:
  ErrorQueueGuard() { ERR_set_mark(); }
  ~ErrorQueueGuard() { ERR_pop_to_mark(); }
  ErrorQueueGuard(const ErrorQueueGuard&) = delete;
  ErrorQueueGuard& operator=(const ErrorQueueGuard&) = delete;
};
