// SPDX-License-Identifier: Apache-2.0
#include <android/binder_ibinder.h>
#include <android/binder_interface_utils.h>
#include <android/log.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#define BINDER_LOG(level, ...) __android_log_print(level, "libbinder_ndk", __VA_ARGS__)

struct AIBinder_Class {
  std::string descriptor;
  AIBinder_Class_onCreate on_create;
  AIBinder_Class_onDestroy on_destroy;
};

struct AIBinder {
  const AIBinder_Class* clazz;
  void* user_data;
  std::atomic<int32_t> strong{1};
  // Weak references, and one for all the strong ones together: the memory outlives the object.
  std::atomic<int32_t> weak{1};
};

struct AIBinder_Weak {
  AIBinder* binder;
};

namespace {

void ReleaseMemory(AIBinder* binder) {
  if (binder->weak.fetch_sub(1) == 1) delete binder;
}

}  // namespace

// Transactions come from other processes, of which there are none: the handler is only required.
AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact) {
  if (interfaceDescriptor == nullptr || onCreate == nullptr || onDestroy == nullptr ||
      onTransact == nullptr) {
    return nullptr;
  }
  return new AIBinder_Class{interfaceDescriptor, onCreate, onDestroy};
}

AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args) {
  if (clazz == nullptr) {
    BINDER_LOG(ANDROID_LOG_ERROR, "AIBinder_new: a class must be given");
    return nullptr;
  }
  return new AIBinder{clazz, clazz->on_create(args)};
}

void AIBinder_incStrong(AIBinder* binder) {
  if (binder != nullptr) binder->strong.fetch_add(1);
}

void AIBinder_decStrong(AIBinder* binder) {
  if (binder == nullptr) {
    BINDER_LOG(ANDROID_LOG_ERROR, "AIBinder_decStrong: called on null");
    return;
  }
  if (binder->strong.fetch_sub(1) != 1) return;
  binder->clazz->on_destroy(binder->user_data);
  ReleaseMemory(binder);
}

bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz) {
  if (binder == nullptr || clazz == nullptr) return false;
  if (binder->clazz == clazz) return true;
  BINDER_LOG(ANDROID_LOG_ERROR,
             "AIBinder_associateClass: the object is of another class '%s' than '%s'",
             binder->clazz->descriptor.c_str(), clazz->descriptor.c_str());
  return false;
}

void* AIBinder_getUserData(AIBinder* binder) {
  return binder == nullptr ? nullptr : binder->user_data;
}

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder) {
  if (binder == nullptr) return nullptr;
  binder->weak.fetch_add(1);
  return new AIBinder_Weak{binder};
}

void AIBinder_Weak_delete(AIBinder_Weak* weakBinder) {
  if (weakBinder == nullptr) return;
  ReleaseMemory(weakBinder->binder);
  delete weakBinder;
}

AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder) {
  if (weakBinder == nullptr) return nullptr;
  AIBinder* const binder = weakBinder->binder;
  int32_t strong = binder->strong.load();
  while (strong != 0) {
    if (binder->strong.compare_exchange_weak(strong, strong + 1)) return binder;
  }
  return nullptr;
}

namespace ndk {

SharedRefBase::~SharedRefBase() {
  if (owned_ && owner_.expired()) return;
  BINDER_LOG(ANDROID_LOG_FATAL,
             "an object made otherwise than through SharedRefBase::make, or "
             "destroyed by another than its owner");
  std::abort();
}

std::shared_ptr<SharedRefBase> SharedRefBase::ref() {
  const std::lock_guard<std::mutex> lock(owner_mutex_);
  if (owned_) return owner_.lock();
  owned_ = true;
  std::shared_ptr<SharedRefBase> owner(this);
  owner_ = owner;
  return owner;
}

void* SharedRefBase::operator new(size_t size) {
  void* const memory = std::malloc(size);
  if (memory == nullptr) std::abort();
  return memory;
}

void SharedRefBase::operator delete(void* memory) {
  std::free(memory);
}

ICInterface::~ICInterface() = default;

namespace {

struct InterfaceHolder {
  std::shared_ptr<ICInterface> interface;
};

void* HoldInterface(void* args) {
  return new InterfaceHolder{static_cast<ICInterface*>(args)->ref<ICInterface>()};
}

void DropInterface(void* user_data) {
  delete static_cast<InterfaceHolder*>(user_data);
}

}  // namespace

std::shared_ptr<ICInterface> ICInterface::asInterface(AIBinder* binder) {
  auto* const holder = static_cast<InterfaceHolder*>(AIBinder_getUserData(binder));
  return holder == nullptr ? nullptr : holder->interface;
}

AIBinder_Class* ICInterface::defineClass(const char* interfaceDescriptor,
                                         AIBinder_Class_onTransact onTransact) {
  return AIBinder_Class_define(interfaceDescriptor, HoldInterface, DropInterface, onTransact);
}

}  // namespace ndk
