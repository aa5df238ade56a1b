// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dlfcn.h>
#include <link.h>
#include <stdint.h>
#include <string.h>
#include <unwind.h>

// ORX_INTERPOSED defines the C function `name` before everybody's. What it returns is an expression
// of its arguments a to f, which are a register each and so are words whatever their types are, and
// of real(), the function that it precedes.
#define ORX_INTERPOSED(name, ...)                                                         \
  extern "C" long Interposed_##name(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,   \
                                    uintptr_t e, uintptr_t f) __asm__(#name);             \
  long Interposed_##name(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e, \
                         uintptr_t f) {                                                   \
    static const auto real =                                                              \
        reinterpret_cast<decltype(&Interposed_##name)>(dlsym(RTLD_NEXT, #name));          \
    return __VA_ARGS__;                                                                   \
  }

namespace orx_test {

// IsForLibrary returns whether the call of an interposed function is made on behalf of liborx.so:
// of the frames on the stack that are the library's, its platform's, the simulated device's or,
// behind those of the function itself, the program's, the innermost is the library's. What libbase,
// libstdc++ and the crypto library do for it counts. The library has no unwind tables, so the walk
// ends with its innermost frame.
inline bool IsForLibrary() {
  struct Walk {
    bool has_left_function = false, is_library = false;
  } result;
  const auto look = [](_Unwind_Context* frame, void* data) {
    Walk& walk = *static_cast<Walk*>(data);
    dl_find_object object;
    auto* const place = reinterpret_cast<void*>(_Unwind_GetIP(frame) - 1);
    if (_dl_find_object(place, &object) != 0) return _URC_NO_REASON;
    const char* const name = object.dlfo_link_map->l_name;
    walk.has_left_function |= *name != '\0';
    walk.is_library = strstr(name, "/liborx.so") != nullptr;
    const bool ends = walk.is_library || strstr(name, "/liborx_sim.so") != nullptr ||
                      strstr(name, "/libandroid_host.so") != nullptr ||
                      (*name == '\0' && walk.has_left_function);
    return ends ? _URC_NORMAL_STOP : _URC_NO_REASON;
  };
  _Unwind_Backtrace(look, &result);
  return result.is_library;
}

}  // namespace orx_test
