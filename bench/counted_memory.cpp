// SPDX-License-Identifier: Apache-2.0
#include <stddef.h>

#include "bench/bench.h"

namespace {

thread_local bool counting = false;
thread_local orx_bench::MemoryUse use;

void* Counted(void* memory) {
  use.allocations += counting ? 1 : 0;
  return memory;
}

}  // namespace

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);

void* malloc(size_t size) {
  return Counted(__libc_malloc(size));
}
void* calloc(size_t count, size_t size) {
  return Counted(__libc_calloc(count, size));
}
void* realloc(void* memory, size_t size) {
  return Counted(__libc_realloc(memory, size));
}

// A loop that the compiler may not turn into a call of memcpy(), which this is.
void* __memmove_chk(void* to, const void* from, size_t size, size_t) {
  use.copied_bytes += counting ? size : 0;
  auto* out = static_cast<volatile char*>(to);
  const auto* in = static_cast<const volatile char*>(from);
  const bool forward = out < in;
  for (size_t i = 0; i < size; ++i) {
    const size_t at = forward ? i : size - 1 - i;
    out[at] = in[at];
  }
  return to;
}
void* __memcpy_chk(void* to, const void* from, size_t size, size_t room) {
  return __memmove_chk(to, from, size, room);
}
void* memmove(void* to, const void* from, size_t size) {
  return __memmove_chk(to, from, size, size);
}
void* memcpy(void* __restrict to, const void* __restrict from, size_t size) {
  return __memmove_chk(to, from, size, size);
}

}  // extern "C"

namespace orx_bench {

MemoryUse CountMemory(const std::function<void()>& body) {
  use = {};
  counting = true;
  body();
  counting = false;
  return use;
}

}  // namespace orx_bench
