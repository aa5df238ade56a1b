// SPDX-License-Identifier: Apache-2.0
#include "sim/base/module_path.h"

#include <dlfcn.h>

#include <filesystem>

namespace orx_sim {

std::string ModulePath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&ModulePath), &info) == 0) return ".";
  return std::filesystem::absolute(info.dli_fname).lexically_normal();
}

}  // namespace orx_sim
