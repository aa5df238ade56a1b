// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/interposer.h"

#include <errno.h>
#include <malloc.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <atomic>
#include <initializer_list>
#include <new>

#include "tests/support/interposed/interposed.h"

namespace orx_faults {
namespace {

thread_local bool armed = false;
const char* failing = nullptr;
int failing_error = 0;
long failing_at = 0;
bool failed = false;
Call calls[kMaxCalls];

bool IsTheLibrarys() {
  if (!armed) return false;
  armed = false;
  const bool is_librarys = orx_test::IsForLibrary();
  armed = true;
  return is_librarys;
}

// Counts a call of the library, and returns whether it is the one to fail.
bool CountAndFail(const char* name, std::initializer_list<int> errors) {
  Call* call = calls;
  while (call->name != nullptr && strcmp(call->name, name) != 0) ++call;
  call->name = name;
  std::copy(errors.begin(), errors.end(), call->errors);
  ++call->times;
  if (failing == nullptr || strcmp(name, failing) != 0 || call->times != failing_at) return false;
  failed = true;
  errno = failing_error == kShort ? 0 : failing_error;
  return true;
}
bool Fails(const char* name, std::initializer_list<int> errors) {
  return IsTheLibrarys() && CountAndFail(name, errors);
}

std::atomic<long> num_live{0};

extern "C" void* __libc_malloc(size_t size);
extern "C" void __libc_free(void* memory);

// The last word of each block says whether it is the library's.
constexpr uintptr_t kMark = 0x6f72785f6c697665;
uintptr_t* MarkOf(void* memory) {
  return reinterpret_cast<uintptr_t*>(static_cast<char*>(memory) + malloc_usable_size(memory)) - 1;
}

void* Allocate(const char* name, size_t size) {
  // To have no memory for no bytes would be no failure to the crypto library.
  const bool is_librarys = size != 0 && IsTheLibrarys();
  if (is_librarys && CountAndFail(name, {ENOMEM})) return nullptr;
  void* const memory = __libc_malloc(size + sizeof(uintptr_t));
  *MarkOf(memory) = is_librarys ? kMark : 0;
  num_live += is_librarys ? 1 : 0;
  return memory;
}

// A stream that failed says so by a flag, which glibc keeps here.
long FailStream(uintptr_t stream) {
  reinterpret_cast<FILE*>(stream)->_flags |= 0x20;  // NOLINT: a register's value
  return 0;
}

int (*real_rand_bytes)(uint8_t* buffer, size_t length);
int RandBytes(uint8_t* buffer, size_t length) {
  return Fails("RAND_bytes", {EIO}) ? 0 : real_rand_bytes(buffer, length);
}

}  // namespace

void Arm(const char* call, int error, long at) {
  failing = call;
  failing_error = error;
  failing_at = at;
  failed = false;
  memset(calls, 0, sizeof calls);
  armed = true;
}
void Disarm() {
  armed = false;
}
bool HasFailed() {
  return failed;
}
const Call* Calls() {
  return calls;
}
long Live() {
  return num_live;
}

// `failure` is what happens instead of the call; then come the errors.
#define INTERPOSE(name, call, failure, ...) \
  ORX_INTERPOSED(name, Fails(call, {__VA_ARGS__}) ? (failure) : real(a, b, c, d, e, f))
#define SHORT_OR_FAILED (failing_error == kShort ? real(a, b, (c + 1) / 2, d, e, f) : -1)
#define DONE_AND_FAILED (real(a, b, c, d, e, f), -1)

INTERPOSE(open, "open", -1, EACCES, EINTR)
INTERPOSE(open64, "open", -1, EACCES, EINTR)
INTERPOSE(read, "read", SHORT_OR_FAILED, EIO, kShort, EINTR)
INTERPOSE(write, "write", SHORT_OR_FAILED, ENOSPC, kShort, EINTR)
INTERPOSE(fsync, "fsync", -1, EIO, EINVAL, EROFS)
INTERPOSE(close, "close", DONE_AND_FAILED, EIO)
INTERPOSE(fstat, "fstat", -1, EIO)
INTERPOSE(fstat64, "fstat", -1, EIO)
INTERPOSE(unlink, "unlink", -1, EACCES)
INTERPOSE(fopen, "fopen", 0, EMFILE)
INTERPOSE(fread, "fread", FailStream(d), EIO)
INTERPOSE(fwrite, "fwrite", FailStream(d), ENOSPC)
INTERPOSE(fclose, "fclose", DONE_AND_FAILED, EIO)
INTERPOSE(fcntl, "fcntl", -1, EINVAL)
INTERPOSE(select, "select", -1, EBADF, EINTR)
INTERPOSE(socket, "socket", -1, EMFILE)
INTERPOSE(connect, "connect", -1, ECONNREFUSED)
INTERPOSE(getsockopt, "getsockopt", -1, ENOTCONN)
INTERPOSE(sendto, "sendto", SHORT_OR_FAILED, EPIPE, kShort)
INTERPOSE(recvfrom, "recvfrom", SHORT_OR_FAILED, EIO, EINTR)

extern "C" {

// A library that tries again need not be waited for.
unsigned sleep(unsigned) {
  return 0;
}

void* malloc(size_t size) {
  return Allocate("malloc", size);
}
void free(void* memory) {
  if (memory != nullptr && *MarkOf(memory) == kMark) {
    *MarkOf(memory) = 0;
    --num_live;
  }
  __libc_free(memory);
}

// BoringSSL asks a program that defines these three for all its memory; freeing wipes.
void* OPENSSL_memory_alloc(size_t size) {
  return Allocate("crypto allocation", size);
}
size_t OPENSSL_memory_get_size(void* memory) {
  return malloc_usable_size(memory) - sizeof(uintptr_t);
}
void OPENSSL_memory_free(void* memory) {
  explicit_bzero(memory, OPENSSL_memory_get_size(memory));
  free(memory);
}

// Those who load the crypto library into a scope of their own ask here for its functions.
void* dlsym(void* handle, const char* name) {
  static const auto real =
      reinterpret_cast<decltype(&dlsym)>(dlvsym(RTLD_NEXT, "dlsym", "GLIBC_2.34"));
  void* const found = real(handle, name);
  if (strcmp(name, "RAND_bytes") != 0) return found;
  real_rand_bytes = reinterpret_cast<decltype(real_rand_bytes)>(found);
  return reinterpret_cast<void*>(RandBytes);
}

}  // extern "C"
}  // namespace orx_faults

// In which all others of the C++ library end.
void* operator new(size_t size) {
  void* const memory = orx_faults::Allocate("operator new", size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  free(memory);
}
