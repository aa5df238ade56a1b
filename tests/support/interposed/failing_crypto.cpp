// SPDX-License-Identifier: Apache-2.0
#include "tests/support/interposed/failing_crypto.h"

#include <map>
#include <string>
#include <string_view>

#include "tests/support/interposed/interposed.h"

namespace {

std::string failing;
int failing_result = 0;
std::map<std::string_view, int> calls;

bool Fails(const char* name) {
  ++calls[name];
  return failing == name;
}

}  // namespace

#define FAILING(name, failure) \
  ORX_INTERPOSED(name, Fails(#name) ? (failure) : real(a, b, c, d, e, f))

FAILING(d2i_X509, 0)
FAILING(X509_verify, failing_result)
FAILING(EVP_MD_CTX_new, 0)
FAILING(EVP_DigestInit_ex, failing_result)
FAILING(EVP_DigestUpdate, failing_result)
FAILING(EVP_DigestFinal_ex, failing_result)

namespace orx_test {

FailingCrypto::FailingCrypto(const char* name, int result) {
  failing = name;
  failing_result = result;
}

FailingCrypto::~FailingCrypto() {
  failing.clear();
}

int CryptoCalls(const char* name) {
  return calls[name];
}

}  // namespace orx_test
