// SPDX-License-Identifier: Apache-2.0
// Gives the shared library that it is linked into Android's crypto library in a scope of its own.
// OpenSSL exports the same names with other structures behind them, and in a process with both the
// dynamic linker binds a name to whichever comes first. So every crypto function that the library
// calls is a hidden stub here, which jumps through a slot, and the slots are filled from a crypto
// library that nobody else's calls reach. crypto_names.sh lists the functions.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stddef.h>
#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

#include "crypto_names.h"

// The code of a stub. Everything but the registers that the platform's calling convention leaves to
// linker stubs arrives as the caller passed it.
#if defined(__x86_64__)
#define PAGE "4096"
#define SLOT ".quad 0\n"
#define MODE ""
#define JUMP(slot) "endbr64\njmp *" slot "(%rip)\n"
#elif defined(__aarch64__)
#define PAGE "65536"
#define SLOT ".quad 0\n"
#define MODE ""
#define JUMP(slot) "hint #34\nadrp x16, " slot "\nldr x16, [x16, #:lo12:" slot "]\nbr x16\n"
#elif defined(__arm__)
#define PAGE "4096"
#define SLOT ".long 0\n"
#define MODE ".arm\n"
#define JUMP(slot) "ldr ip, 1f\n0: ldr pc, [pc, ip]\n1: .long " slot " - (0b + 8)\n"
#else
#error "the crypto library's scope has stubs for x86-64, arm64 and arm only"
#endif

// The slots lie in pages of their own, which become read-only once they are filled, as the linker's
// do.
#define STUB(name)                                                                              \
  ".pushsection .data.crypto_slots, \"aw\"\n.Lslot_" #name ": " SLOT                            \
  ".popsection\n"                                                                               \
  ".globl " #name "\n.hidden " #name "\n.type " #name ", %function\n" MODE ".balign 16\n" #name \
  ":\n" JUMP(".Lslot_" #name) ".size " #name ", . - " #name "\n"
__asm__(".pushsection .data.crypto_slots, \"aw\"\n.balign " PAGE "\n"
        "crypto_slots:\n.popsection\n"
        ".pushsection .text\n" CRYPTO_NAMES(STUB) ".popsection\n"
        ".pushsection .data.crypto_slots, \"aw\"\n.balign " PAGE "\n"
        "crypto_slots_end:\n.popsection\n");

extern __attribute__((visibility("hidden"))) void* crypto_slots[];
extern __attribute__((visibility("hidden"))) void* crypto_slots_end[];

#define TEXT(name) #name,
static const char* const names[] = {CRYPTO_NAMES(TEXT)};

// As the dynamic linker ends a program whose libraries it cannot load.
static void* NotNull(void* found) {
  if (found != NULL) return found;
  fprintf(stderr, "%s: cannot load the crypto library: %s\n", CRYPTO_SCOPE_OF, dlerror());
  _exit(127);
}

// Before every constructor that has no priority. The crypto library stays loaded: its threads' data
// has destructors in it.
__attribute__((constructor(101))) static void FillSlots(void) {
  void* const library = NotNull(dlopen(CRYPTO_LIBRARY, RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND));
  for (size_t i = 0; i < sizeof(names) / sizeof(names[0]); ++i) {
    crypto_slots[i] = NotNull(dlsym(library, names[i]));
  }
  mprotect(crypto_slots, (size_t)((char*)crypto_slots_end - (char*)crypto_slots), PROT_READ);
}
