// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orx_test {

// FailingCrypto makes every call of the crypto library's function `name` fail while it lives: one
// that returns a pointer answers null, one that returns an int answers `result`. One at a time.
// Takes effect for the functions that failing_crypto.cpp, linked into the program, defines.
class FailingCrypto {
 public:
  explicit FailingCrypto(const char* name, int result = 0);
  ~FailingCrypto();
  FailingCrypto(const FailingCrypto&) = delete;
  FailingCrypto& operator=(const FailingCrypto&) = delete;
};

// CryptoCalls returns how often the function was called so far.
int CryptoCalls(const char* name);

}  // namespace orx_test
