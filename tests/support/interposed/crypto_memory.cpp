// SPDX-License-Identifier: Apache-2.0
#include "tests/support/interposed/crypto_memory.h"

#include <malloc.h>
#include <openssl/err.h>
#include <openssl/mem.h>
#include <stdlib.h>

namespace {

ptrdiff_t num_live = 0;

}  // namespace

// BoringSSL asks a program that defines these three for all its memory. Freeing wipes, as its own
// allocator does.
extern "C" {

__attribute__((visibility("default"))) void* OPENSSL_memory_alloc(size_t size) {
  void* const memory = malloc(size);
  num_live += memory == nullptr ? 0 : 1;
  return memory;
}

__attribute__((visibility("default"))) size_t OPENSSL_memory_get_size(void* memory) {
  return malloc_usable_size(memory);
}

__attribute__((visibility("default"))) void OPENSSL_memory_free(void* memory) {
  --num_live;
  OPENSSL_cleanse(memory, malloc_usable_size(memory));
  free(memory);
}
}

namespace orx_test {

CryptoMemory::CryptoMemory() {
  // The thread's error queue is allocated with its first error and stays.
  OPENSSL_PUT_ERROR(CRYPTO, ERR_R_MALLOC_FAILURE);
  ERR_clear_error();
  num_live = 0;
}

ptrdiff_t CryptoMemory::live() const {
  ERR_clear_error();
  return num_live;
}

}  // namespace orx_test
