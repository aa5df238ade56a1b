// SPDX-License-Identifier: Apache-2.0
// Stands in for the binder NDK's <android/binder_interface_utils.h>: the bases of interfaces and of
// the objects that implement them. Left out: BpCInterface, the base of proxies (every service is an
// object of this process and is called directly), dumps and shell commands.
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace ndk {

// SharedRefBase is an object that knows its owner pointer. Made through make() alone: it aborts
// when destroyed without ever having had an owner, or while owned by another one.
class SharedRefBase {
 public:
  SharedRefBase() = default;
  SharedRefBase(const SharedRefBase&) = delete;
  SharedRefBase& operator=(const SharedRefBase&) = delete;
  virtual ~SharedRefBase();

  std::shared_ptr<SharedRefBase> ref();

  template <typename CHILD>
  std::shared_ptr<CHILD> ref() {
    return std::static_pointer_cast<CHILD>(ref());
  }

  template <class T, class... Args>
  static std::shared_ptr<T> make(Args&&... args) {
    T* const object = new T(std::forward<Args>(args)...);
    return object->template ref<T>();
  }

  static void operator delete(void* memory);

 private:
  static void* operator new(size_t size);

  std::mutex owner_mutex_;
  bool owned_ = false;
  std::weak_ptr<SharedRefBase> owner_;
};

// ICInterface is the base of every interface.
class ICInterface : public SharedRefBase {
 public:
  ICInterface() = default;
  ~ICInterface() override;

  virtual SpAIBinder asBinder() = 0;
  virtual bool isRemote() = 0;

  // The object behind a binder of a class that defineClass() made, which is not checked; null for a
  // null binder.
  static std::shared_ptr<ICInterface> asInterface(AIBinder* binder);

  // A class whose objects hold the ICInterface* that AIBinder_new() is given. Null arguments give
  // null.
  static AIBinder_Class* defineClass(const char* interfaceDescriptor,
                                     AIBinder_Class_onTransact onTransact);
};

// BnCInterface is the local side of an interface. The binder owns the object, the object knows its
// binder weakly: whoever holds the binder keeps the object alive.
template <typename INTERFACE>
class BnCInterface : public INTERFACE {
 public:
  BnCInterface() = default;

  SpAIBinder asBinder() final {
    const std::lock_guard<std::mutex> lock(binder_mutex_);
    SpAIBinder binder = weak_binder_.promote();
    if (binder == nullptr) {
      binder = createBinder();
      weak_binder_.set(AIBinder_Weak_new(binder.get()));
    }
    return binder;
  }

  bool isRemote() final { return false; }

  static std::string makeServiceName(std::string_view instance) {
    return std::string(INTERFACE::descriptor) + "/" + std::string(instance);
  }

 protected:
  virtual SpAIBinder createBinder() = 0;

 private:
  std::mutex binder_mutex_;
  ScopedAIBinder_Weak weak_binder_;
};

}  // namespace ndk

namespace std {

// Such an object would have two owners; ndk::SharedRefBase::make is the way to create it.
template <typename T, typename... Args,
          std::enable_if_t<std::is_base_of_v<::ndk::SharedRefBase, T>, int> = 0>
std::shared_ptr<T> make_shared(Args&&...) = delete;

}  // namespace std
