// SPDX-License-Identifier: Apache-2.0
#include "sim/channel/channel.h"

#include <aidl/android/hardware/security/keymint/BnKeyMintDevice.h>
#include <aidl/android/hardware/security/keymint/BnKeyMintOperation.h>
#include <aidl/android/hardware/security/keymint/BnRemotelyProvisionedComponent.h>
#include <aidl/android/hardware/security/sharedsecret/BnSharedSecret.h>
#include <openssl/err.h>
#include <stdio.h>

#include <thread>
#include <tuple>
#include <utility>

#include "sim/channel/parcel_size.h"

namespace orx_sim {
namespace {

// The interfaces' method lists name their types as the interface definitions do.
using namespace ::aidl::android::hardware::security;           // NOLINT
using namespace ::aidl::android::hardware::security::keymint;  // NOLINT
using sharedsecret::SharedSecretParameters;

std::shared_ptr<IKeyMintOperation> ConnectOperation(std::shared_ptr<IKeyMintOperation> operation,
                                                    const ChannelContext& context);

// The hashes of the versions before the newest, which the interface has itself.
struct FrozenHashes {
  const char* v1;
  const char* v2;
};
constexpr FrozenHashes kKeyMintHashes = {"cd862ae2e49b54fc965dc1b99c218eb729c93bb1",
                                         "70c734fbd5cac5b36676d66d8d9aa941967e1e7b"};
constexpr FrozenHashes kRkpHashes = {"d285480d2e0002adc0ace80edf34aa725679512e",
                                     "c8d34e56ae0807b61f028019622d8b60a37e0a8b"};
constexpr struct {
  const char* service;
  FrozenHashes hashes;
} kFrozenHashes[] = {
    {"keymint", kKeyMintHashes}, {"operation", kKeyMintHashes}, {"rkp", kRkpHashes}};

std::string HashOf(const std::string& service, int version, const std::string& newest) {
  for (const auto& row : kFrozenHashes) {
    if (service == row.service && version == 1) return row.hashes.v1;
    if (service == row.service && version == 2) return row.hashes.v2;
  }
  return newest;
}

// The methods that came after version 1.
struct LaterMethod {
  const char* method;
  int since;
};
constexpr LaterMethod kLaterMethods[] = {
    {"getRootOfTrustChallenge", 2},
    {"getRootOfTrust", 2},
    {"sendRootOfTrust", 2},
    {"generateCertificateRequestV2", 3},
};

bool IsKnown(const std::string& method, int version) {
  for (const LaterMethod& row : kLaterMethods) {
    if (method == row.method) return version >= row.since;
  }
  return true;
}

// An argument of a call on its way through the channel. An input is passed on; of an output the
// service gets one of the channel's own.
template <typename T>
class Argument {
 public:
  explicit Argument(const T& input) : input_(input) {}
  const T& Pass() { return input_; }
  size_t RequestBytes() const { return ParcelSize::Of(input_); }
  size_t AnswerBytes() const { return 0; }
  void Alter(const Effect* effect) {
    if (effect != nullptr && effect->alter) effect->alter(std::any(&input_));
  }
  void Adopt(const ChannelContext&) {}
  void Assign() {}

 private:
  const T& input_;
};

template <typename T>
class Argument<T*> {
 public:
  explicit Argument(T* output) : output_(output) {}
  T* Pass() { return &answer_; }
  size_t RequestBytes() const { return 0; }
  size_t AnswerBytes() const { return ParcelSize::Of(answer_); }
  void Alter(const Effect* effect) {
    if (effect != nullptr && effect->alter) effect->alter(std::any(&answer_));
  }
  // Objects in an answer are reached through a channel too.
  void Adopt(const ChannelContext& context) {
    if constexpr (std::is_same_v<T, BeginResult>) {
      if (answer_.operation == nullptr) return;
      answer_.operation = ConnectOperation(std::move(answer_.operation), context);
    }
  }
  void Assign() { *output_ = std::move(answer_); }

 private:
  T answer_{};
  T* const output_;
};

ndk::ScopedAStatus TooLarge() {
  return ndk::ScopedAStatus::fromStatus(STATUS_FAILED_TRANSACTION);
}

template <typename Interface>
class Channel : public ndk::BnCInterface<Interface> {
 public:
  Channel(std::shared_ptr<Interface> service, ChannelContext context)
      : service_(std::move(service)), context_(std::move(context)) {}

  ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) override {
    const auto answer = [this](int32_t* out) {
      *out = context_.version;
      return ndk::ScopedAStatus::ok();
    };
    return Transact("getInterfaceVersion", answer, std::tie(_aidl_return));
  }

  ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) override {
    const auto answer = [this](std::string* out) {
      *out = HashOf(context_.service, context_.version, Interface::hash);
      return ndk::ScopedAStatus::ok();
    };
    return Transact("getInterfaceHash", answer, std::tie(_aidl_return));
  }

 protected:
  template <typename Call, typename... A>
  ndk::ScopedAStatus Transact(const char* method, const Call& call, std::tuple<A&...> arguments) {
    ndk::ScopedAStatus status = std::apply(
        [&](auto&... argument) {
          return Carry(method, call, Argument<std::decay_t<decltype(argument)>>(argument)...);
        },
        arguments);
    if (context_.log >= 0) Log(method, status);
    return status;
  }

  ndk::SpAIBinder createBinder() override {
    using namespace ::android_host::internal;
    return NewBinder(ClassOf<Interface>(), this);
  }

  const std::shared_ptr<Interface> service_;

 private:
  template <typename Call, typename... A>
  ndk::ScopedAStatus Carry(const char* method, const Call& call, A&&... arguments) {
    const std::shared_ptr<const Effect> fault =
        context_.faults->OnCall(context_.instance, context_.service, method);
    if (!IsKnown(method, context_.version)) {
      return ndk::ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
    }
    if ((kParcelOverheadBytes + ... + arguments.RequestBytes()) > kTransactionBytes) {
      return TooLarge();
    }
    if (fault != nullptr) std::this_thread::sleep_for(fault->delay);
    if (fault != nullptr && fault->status) return fault->status();
    ERR_set_mark();
    ndk::ScopedAStatus status = call(arguments.Pass()...);
    ERR_pop_to_mark();
    if (!status.isOk()) return status;
    (arguments.Alter(fault.get()), ...);
    if ((kParcelOverheadBytes + ... + arguments.AnswerBytes()) > kTransactionBytes) {
      return TooLarge();
    }
    (arguments.Adopt(context_), ...);
    (arguments.Assign(), ...);
    return status;
  }

  void Log(const char* method, const ndk::ScopedAStatus& status) const {
    const std::string result = status.get() == nullptr ? "no status" : status.getDescription();
    dprintf(context_.log, "orx-sim: %s %s.%s: %s\n", context_.instance.c_str(),
            context_.service.c_str(), method, result.c_str());
  }

  const ChannelContext context_;
};

#define ORX_SIM_CHANNEL_METHOD(name, parameters, arguments)                           \
  ndk::ScopedAStatus name parameters override {                                       \
    const auto call = [this](auto&&... values) { return service_->name(values...); }; \
    return Transact(#name, call, std::tie arguments);                                 \
  }
#define ORX_SIM_CHANNEL(Name, Interface, METHODS) \
  class Name : public Channel<Interface> {        \
   public:                                        \
    using Channel::Channel;                       \
    METHODS(ORX_SIM_CHANNEL_METHOD)               \
  };

ORX_SIM_CHANNEL(KeyMintChannel, IKeyMintDevice, ANDROID_HOST_KEYMINT_DEVICE_METHODS)
ORX_SIM_CHANNEL(OperationChannel, IKeyMintOperation, ANDROID_HOST_KEYMINT_OPERATION_METHODS)
ORX_SIM_CHANNEL(RkpChannel, IRemotelyProvisionedComponent,
                ANDROID_HOST_REMOTELY_PROVISIONED_COMPONENT_METHODS)
ORX_SIM_CHANNEL(SharedSecretChannel, sharedsecret::ISharedSecret,
                ANDROID_HOST_SHARED_SECRET_METHODS)

std::shared_ptr<IKeyMintOperation> ConnectOperation(std::shared_ptr<IKeyMintOperation> operation,
                                                    const ChannelContext& context) {
  ChannelContext of_operation = context;
  of_operation.service = "operation";
  return ndk::SharedRefBase::make<OperationChannel>(std::move(operation), std::move(of_operation));
}

}  // namespace

std::shared_ptr<ndk::ICInterface> Connect(std::shared_ptr<IKeyMintDevice> service,
                                          ChannelContext context) {
  return ndk::SharedRefBase::make<KeyMintChannel>(std::move(service), std::move(context));
}

std::shared_ptr<ndk::ICInterface> Connect(std::shared_ptr<IRemotelyProvisionedComponent> service,
                                          ChannelContext context) {
  return ndk::SharedRefBase::make<RkpChannel>(std::move(service), std::move(context));
}

std::shared_ptr<ndk::ICInterface> Connect(std::shared_ptr<sharedsecret::ISharedSecret> service,
                                          ChannelContext context) {
  return ndk::SharedRefBase::make<SharedSecretChannel>(std::move(service), std::move(context));
}

}  // namespace orx_sim
