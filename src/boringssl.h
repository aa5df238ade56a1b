// SPDX-License-Identifier: Apache-2.0
#pragma once

// Included wherever the crypto library is called. It is BoringSSL: its results are only ever 0 or 1
// where other libraries also answer -1, and it wipes key objects and buffers when it frees them.
// The library's checks rely on both.

#include <openssl/base.h>

#ifndef OPENSSL_IS_BORINGSSL
#error "the crypto library must be BoringSSL"
#endif
