// SPDX-License-Identifier: Apache-2.0
#include <openssl/digest.h>
#include <orx/hash.h>

#include "boringssl.h"
#include "orx_log.h"

namespace {

constexpr uint32_t kLongestOneShotDigest = 32;

// The one digest in progress, or null.
EVP_MD_CTX* context = nullptr;
// A context that could not be initialised is destroyed; the next Begin warns of it all the same, as
// of any other that was not ended.
bool destroyed_context_unended = false;

const EVP_MD* DigestFor(uint32_t algorithm) {
  switch (algorithm) {
    case 0:
      return EVP_sha1();
    case 2:
      return EVP_sha256();
    case 4:
      return EVP_sha512();
    default:
      return nullptr;
  }
}

}  // namespace

uint32_t ORX_HASH_Begin(uint32_t algorithm, uint32_t* handle) {
  if (context != nullptr || destroyed_context_unended) ORX_LOG("Warning context not released!");
  const EVP_MD* digest = DigestFor(algorithm);
  if (digest == nullptr) {
    ORX_LOG("invalid hash algo");
    return 1;
  }
  if (handle != nullptr) *handle = 0;
  const ErrorQueueGuard guard;

  // A context that is still held is abandoned, not freed, see the header's WARNING.
  context = EVP_MD_CTX_new();
  destroyed_context_unended = false;
  if (context == nullptr) {
    ORX_LOG("EVP_MD_CTX_create failed");
    return 1;
  }
  if (EVP_DigestInit_ex(context, digest, nullptr) != 1) {
    ORX_LOG("EVP_DigestInit_ex failed");
    EVP_MD_CTX_free(context);
    context = nullptr;
    destroyed_context_unended = true;
    return 1;
  }
  return 0;
}

uint32_t ORX_HASH_Update(uint32_t /*handle*/, const void* data, size_t length) {
  if (context == nullptr) {
    ORX_LOG("openssl_ctx NULL");
    return 1;
  }
  const ErrorQueueGuard guard;
  if (EVP_DigestUpdate(context, data, length) != 1) {
    ORX_LOG("EVP_DigestUpdate failed");
    return 1;
  }
  return 0;
}

uint32_t ORX_HASH_End(uint32_t /*handle*/, uint8_t* digest, uint32_t* digest_length) {
  destroyed_context_unended = false;
  if (context == nullptr) {
    ORX_LOG("openssl_ctx NULL");
    return 1;
  }
  const ErrorQueueGuard guard;
  unsigned written = 0;
  const bool finished = EVP_DigestFinal_ex(context, digest, &written) == 1;
  if (finished) {
    *digest_length = written;
  } else {
    ORX_LOG("EVP_DigestFinal_ex fail");
  }
  EVP_MD_CTX_free(context);
  context = nullptr;
  return finished ? 0 : 1;
}

uint32_t ORX_HASH(uint32_t algorithm, const void* data, size_t length, uint8_t* digest,
                  uint32_t* digest_length) {
  uint32_t handle;
  if (ORX_HASH_Begin(algorithm, &handle) != 0) return 1;
  if (ORX_HASH_Update(handle, data, length) != 0) return 1;
  if (ORX_HASH_End(handle, digest, digest_length) != 0) return 1;
  // SHA-512 is written in full and still answered with 1, see the header's WARNING.
  return *digest_length >= 1 && *digest_length <= kLongestOneShotDigest ? 0 : 1;
}
