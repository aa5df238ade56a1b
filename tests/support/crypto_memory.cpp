// SPDX-License-Identifier: Apache-2.0
#include "tests/support/crypto_memory.h"

#include <openssl/err.h>
#include <openssl/mem.h>
#include <stdlib.h>

namespace {

constexpr size_t kNever = ~size_t{0};
constexpr size_t kHeader = 16;  // holds the size, keeps malloc's alignment

struct Counters {
  size_t fail_at = kNever;
  bool failed = false;
  size_t allocations = 0;
  ptrdiff_t live = 0;
} counters;

size_t* HeaderOf(void* memory) {
  return reinterpret_cast<size_t*>(static_cast<char*>(memory) - kHeader);
}

}  // namespace

// BoringSSL asks a program that defines these three for all its memory. Freeing wipes, as its own
// allocator does.
extern "C" {

__attribute__((visibility("default"))) void* OPENSSL_memory_alloc(size_t size) {
  // Null for no bytes would be no failure to the crypto library.
  if (size != 0 && counters.allocations++ == counters.fail_at) {
    counters.failed = true;
    return nullptr;
  }
  char* memory = size > kNever - kHeader ? nullptr : static_cast<char*>(malloc(size + kHeader));
  if (memory == nullptr) return nullptr;
  ++counters.live;
  *reinterpret_cast<size_t*>(memory) = size;
  return memory + kHeader;
}

__attribute__((visibility("default"))) void OPENSSL_memory_free(void* memory) {
  --counters.live;
  OPENSSL_cleanse(memory, *HeaderOf(memory));
  free(HeaderOf(memory));
}

__attribute__((visibility("default"))) size_t OPENSSL_memory_get_size(void* memory) {
  return *HeaderOf(memory);
}
}

namespace orx_test {

CryptoMemory::CryptoMemory() {
  // The thread's error queue is allocated with its first error and stays.
  OPENSSL_PUT_ERROR(CRYPTO, ERR_R_MALLOC_FAILURE);
  ERR_clear_error();
  counters = {};
}

CryptoMemory::~CryptoMemory() {
  counters = {};
}

void CryptoMemory::FailAt(size_t count) {
  counters.fail_at = count;
  counters.failed = false;
  counters.allocations = 0;
}

bool CryptoMemory::failed() const {
  return counters.failed;
}

size_t CryptoMemory::allocations() const {
  return counters.allocations;
}

ptrdiff_t CryptoMemory::live() const {
  ERR_clear_error();
  return counters.live;
}

}  // namespace orx_test
