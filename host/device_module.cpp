// SPDX-License-Identifier: Apache-2.0
#include "host/device_module.h"

#include <android_host/host.h>
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include <mutex>

namespace android_host {
namespace {

// Recursive because the module uses the platform while it attaches.
std::recursive_mutex module_mutex;
bool decided = false;

// Returns the module's attach function, or null with the reason in `*reason`. The module stays
// loaded: its services live as long as the process.
int (*LoadModule(const char* path, const char** reason))() {
  void* const module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  void* const attach = module == nullptr ? nullptr : dlsym(module, "android_host_device_attach");
  if (attach == nullptr) *reason = dlerror();
  return reinterpret_cast<int (*)()>(attach);
}

void AttachDevice(const char* path) {
  const char* reason = "the function is null";
  int (*const attach)() = LoadModule(path, &reason);
  if (attach == nullptr) {
    fprintf(stderr, "android_host: no device: cannot load the module %s: %s\n", path, reason);
    return;
  }
  const int result = attach();
  if (result == 0) return;
  fprintf(stderr, "android_host: no device: the module %s failed to attach (%d)\n", path, result);
  ClearServices();
  ClearProperties();
}

}  // namespace

void EnsureDevice() {
  const std::lock_guard<std::recursive_mutex> lock(module_mutex);
  if (decided) return;
  decided = true;
  const char* const path = secure_getenv("ANDROID_HOST_DEVICE");
  if (path != nullptr && path[0] != '\0') AttachDevice(path);
}

void DisableDeviceModule() {
  const std::lock_guard<std::recursive_mutex> lock(module_mutex);
  decided = true;
}

}  // namespace android_host
