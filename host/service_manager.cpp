// SPDX-License-Identifier: Apache-2.0
#include <android/binder_auto_utils.h>
#include <android/binder_manager.h>
#include <android_host/host.h>

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "host/device_module.h"

namespace {

constexpr size_t kLongestName = 127;

struct Registry {
  std::mutex mutex;
  std::map<std::string, ndk::SpAIBinder> services;
  std::set<std::string> declared;
};

// Never destroyed: services live until the process ends.
Registry& TheRegistry() {
  static Registry& registry = *new Registry;
  return registry;
}

bool IsServiceName(std::string_view name) {
  constexpr std::string_view kAllowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./";
  return !name.empty() && name.size() <= kLongestName &&
         name.find_first_not_of(kAllowed) == std::string_view::npos;
}

}  // namespace

binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance) {
  android_host::EnsureDevice();
  if (binder == nullptr || instance == nullptr || !IsServiceName(instance)) {
    return EX_ILLEGAL_ARGUMENT;
  }
  AIBinder_incStrong(binder);
  ndk::SpAIBinder service(binder);
  Registry& registry = TheRegistry();
  // What is replaced dies after the lock is released: its destructor may use the registry.
  const std::lock_guard<std::mutex> lock(registry.mutex);
  std::swap(registry.services[instance], service);
  return EX_NONE;
}

AIBinder* AServiceManager_checkService(const char* instance) {
  android_host::EnsureDevice();
  if (instance == nullptr) return nullptr;
  Registry& registry = TheRegistry();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  const auto service = registry.services.find(instance);
  if (service == registry.services.end()) return nullptr;
  AIBinder_incStrong(service->second.get());
  return service->second.get();
}

bool AServiceManager_isDeclared(const char* instance) {
  android_host::EnsureDevice();
  if (instance == nullptr) return false;
  Registry& registry = TheRegistry();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  return registry.services.count(instance) != 0 || registry.declared.count(instance) != 0;
}

namespace android_host {

void ClearServices() {
  std::map<std::string, ndk::SpAIBinder> dropped;
  Registry& registry = TheRegistry();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  dropped.swap(registry.services);
  registry.declared.clear();
}

void DeclareService(const std::string& instance) {
  Registry& registry = TheRegistry();
  const std::lock_guard<std::mutex> lock(registry.mutex);
  registry.declared.insert(instance);
}

}  // namespace android_host
