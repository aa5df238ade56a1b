// SPDX-License-Identifier: Apache-2.0
#include "tests/support/failing_crypto.h"

#include <dlfcn.h>
#include <openssl/digest.h>
#include <openssl/x509.h>

#include <map>
#include <string>

namespace {

std::string failing;
int failing_result = 0;
std::map<std::string, int> calls;

bool Fails(const char* name) {
  ++calls[name];
  return failing == name;
}

}  // namespace

// The program's definitions precede the crypto library's: most of these fail only when memory is
// exhausted.
#define ORX_TEST_FAILING(result_type, failure, name, parameters, arguments)       \
  extern "C" result_type name parameters {                                        \
    using Function = result_type(*) parameters;                                   \
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, #name)); \
    return Fails(#name) ? static_cast<result_type>(failure) : real arguments;     \
  }

ORX_TEST_FAILING(X509*, nullptr, d2i_X509, (X509 * *out, const uint8_t** in, long length),
                 (out, in, length))
ORX_TEST_FAILING(int, failing_result, X509_verify, (X509 * cert, EVP_PKEY* key), (cert, key))
ORX_TEST_FAILING(int, failing_result, EVP_DigestUpdate,
                 (EVP_MD_CTX * context, const void* data, size_t length), (context, data, length))
ORX_TEST_FAILING(int, failing_result, EVP_DigestFinal_ex,
                 (EVP_MD_CTX * context, uint8_t* out, unsigned* out_length),
                 (context, out, out_length))

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
