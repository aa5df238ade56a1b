// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace orx_bench {

// MemoryUse is what a piece of code asked of the heap and had copied by the C library. Copies of a
// fixed size, a few words, are made without it.
struct MemoryUse {
  size_t allocations = 0;
  size_t copied_bytes = 0;
};

// CountMemory runs `body` and counts in the calling thread, whatever the library. Null where
// counted_memory.cpp, which replaces malloc() and memcpy(), is not linked.
__attribute__((weak)) MemoryUse CountMemory(const std::function<void()>& body);

// Body is one side of a line; it returns whether it worked, as what fails is not measured.
using Body = std::function<bool()>;

// Compare adds a line: what this project does, beside the raw thing that it wraps. `name` is
// FAMILY/WHAT; `size` tells lines of one name apart.
void Compare(const std::string& name, size_t size, Body ours, Body raw);

// Run runs a program with a shell's help, which costs both sides the same, and tells if it
// succeeds.
bool Run(const std::string& command);

// Must ends the program unless `ok`.
void Must(bool ok, const std::string& what);

void AddLibrary();  // the library's functions, over a device that answers at once
void AddToken();    // the simulated device beside SoftHSM2

}  // namespace orx_bench
