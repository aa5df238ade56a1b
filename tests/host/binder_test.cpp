// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/BnKeyMintDevice.h>
#include <aidl/android/hardware/security/secureclock/BnSecureClock.h>
#include <android/binder_manager.h>
#include <android_host/host.h>
#include <android_host/versioned_bn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

namespace {

using ndk::ScopedAStatus;
using ndk::SpAIBinder;

namespace km = ::aidl::android::hardware::security::keymint;
namespace sc = ::aidl::android::hardware::security::secureclock;

// Clock is a service that counts its living objects and answers the challenge that it was asked.
class Clock : public android_host::VersionedBn<sc::ISecureClock> {
 public:
  Clock() : VersionedBn(sc::ISecureClock::version, "fake") { ++alive; }
  ~Clock() override { --alive; }
  ScopedAStatus generateTimeStamp(int64_t challenge, sc::TimeStampToken* token) override {
    *token = {challenge, {1}, {2}};
    return ScopedAStatus::ok();
  }
  binder_status_t dump(int fd, const char**, uint32_t count) override {
    return 10 * fd + static_cast<binder_status_t>(count);
  }

  static int alive;
};
int Clock::alive = 0;

std::shared_ptr<Clock> MakeClock() {
  return ndk::SharedRefBase::make<Clock>();
}

class Binder : public testing::Test {
 protected:
  Binder() { android_host::DisableDeviceModule(); }
  ~Binder() override {
    android_host::ClearServices();
    EXPECT_EQ(Clock::alive, 0) << "a reference was lost";
  }
};
using ServiceManager = Binder;

TEST(Status, CarriesItsCodesAndDescribesItself) {
  // Whether it is ok; exception, service-specific error and status; its description.
  const std::pair<ScopedAStatus, const char*> kCases[] = {
      {ScopedAStatus::fromStatus(STATUS_OK), "1 0 0 0 No error"},
      {ScopedAStatus::fromServiceSpecificError(-66),
       "0 -8 -66 0 Status(-8, EX_SERVICE_SPECIFIC): '-66: '"},
      {ScopedAStatus::fromServiceSpecificErrorWithMessage(0, "removed"),
       "0 -8 0 0 Status(-8, EX_SERVICE_SPECIFIC): '0: removed'"},
      {ScopedAStatus::fromExceptionCodeWithMessage(EX_SECURITY, "no"),
       "0 -1 0 0 Status(-1, EX_SECURITY): 'no'"},
      {ScopedAStatus::fromExceptionCode(-1000),
       "0 -129 0 -2147483646 Status(-129, EX_TRANSACTION_FAILED): 'FAILED_TRANSACTION: '"},
      {ScopedAStatus::fromStatus(-12345),
       "0 -129 0 -2147483648 Status(-129, EX_TRANSACTION_FAILED): 'UNKNOWN_ERROR: '"},
  };
  for (const auto& [status, expected] : kCases) {
    std::ostringstream text;
    text << status.isOk() << " " << status.getExceptionCode() << " "
         << status.getServiceSpecificError() << " " << status.getStatus() << " " << status;
    EXPECT_EQ(text.str(), expected);
  }
  EXPECT_STREQ(kCases[2].first.getMessage(), "removed");
  EXPECT_EQ(ScopedAStatus::ok().get(), ScopedAStatus::ok().get()) << "one shared object";
  EXPECT_FALSE(ScopedAStatus().isOk());
}

TEST_F(Binder, DiesWithItsLastStrongReference) {
  SpAIBinder first = MakeClock()->asBinder();
  AIBinder* const raw = first.get();
  AIBinder_Weak* const weak = AIBinder_Weak_new(raw);
  EXPECT_EQ(AIBinder_debugGetRefCount(raw), 1) << "an owner takes over one reference";
  SpAIBinder copy = first;
  EXPECT_EQ(AIBinder_debugGetRefCount(raw), 2) << "a copy adds one";
  first = SpAIBinder(AIBinder_Weak_promote(weak));
  EXPECT_EQ(AIBinder_debugGetRefCount(raw), 2) << "one came, one went";
  EXPECT_TRUE(first == copy && copy != nullptr);
  copy = nullptr;
  EXPECT_EQ(Clock::alive, 1);
  first = nullptr;
  EXPECT_EQ(Clock::alive, 0);
  EXPECT_EQ(AIBinder_Weak_promote(weak), nullptr);
  AIBinder_Weak_delete(weak);
}

binder_status_t NoTransaction(AIBinder*, transaction_code_t, const AParcel*, AParcel*) {
  return STATUS_UNKNOWN_TRANSACTION;
}

TEST_F(Binder, IsOfOneClassComparedByAddress) {
  const SpAIBinder clock = MakeClock()->asBinder();
  // Never freed, as classes are not.
  static const AIBinder_Class* const kTwin =
      ndk::ICInterface::defineClass(sc::ISecureClock::descriptor, NoTransaction);
  EXPECT_FALSE(AIBinder_associateClass(clock.get(), kTwin));
  EXPECT_TRUE(AIBinder_associateClass(clock.get(), AIBinder_getClass(clock.get())));
  EXPECT_EQ(ndk::ICInterface::defineClass(nullptr, NoTransaction), nullptr);
  EXPECT_EQ(ndk::ICInterface::defineClass("a.b.IFoo", nullptr), nullptr);
}

TEST_F(Binder, KeepsTheObjectAliveAndGivesItBackAsItself) {
  auto clock = MakeClock();
  clock->asBinder();  // which ends at once, so that the next is made anew
  const SpAIBinder binder = clock->asBinder();
  EXPECT_EQ(clock->asBinder(), binder);
  EXPECT_EQ(AIBinder_debugGetRefCount(binder.get()), 1);
  EXPECT_EQ(sc::ISecureClock::fromBinder(binder), clock);
  EXPECT_EQ(km::IKeyMintDevice::fromBinder(binder), nullptr) << "another interface";
  EXPECT_EQ(sc::ISecureClock::fromBinder(SpAIBinder()), nullptr);
  EXPECT_EQ(AIBinder_dump(binder.get(), 4, nullptr, 2), 42) << "the object's own answer";
  clock.reset();
  EXPECT_EQ(Clock::alive, 1);
}

TEST(SharedRef, HasOneOwnerWhoMadeIt) {
  const char* const kComplaint = "destroyed by another than its owner";
  EXPECT_DEATH({ Clock on_the_stack; }, kComplaint);
  EXPECT_DEATH({ delete MakeClock().get(); }, kComplaint);
}

TEST_F(Binder, DelegatorForwardsToItsOwnVersionOnly) {
  const auto identity = [](sc::ISecureClock& clock) {
    int32_t version = -1;
    std::string hash = "none";
    EXPECT_TRUE(clock.getInterfaceVersion(&version).isOk());
    EXPECT_TRUE(clock.getInterfaceHash(&hash).isOk());
    return std::to_string(version) + " " + hash;
  };
  EXPECT_EQ(identity(*MakeClock()), "1 fake");
  const auto delegator = ndk::SharedRefBase::make<sc::ISecureClockDelegator>(MakeClock());
  EXPECT_EQ(identity(*delegator), "1 cd55ca9963c6a57fa5f2f120a45c6e0c4fafb423");
  EXPECT_EQ(sc::ISecureClock::fromBinder(delegator->asBinder()), delegator);
  sc::TimeStampToken token;
  EXPECT_TRUE(delegator->generateTimeStamp(9, &token).isOk());
  EXPECT_EQ(token.challenge, 9);

  const auto none = ndk::SharedRefBase::make<sc::ISecureClockDefault>();
  EXPECT_EQ(identity(*none), "0 ");
  EXPECT_EQ(none->generateTimeStamp(9, &token).getStatus(), STATUS_UNKNOWN_TRANSACTION);
  EXPECT_DEATH(ndk::SharedRefBase::make<sc::ISecureClockDelegator>(none), "Mismatched versions");
}

TEST_F(ServiceManager, HandsOutTheVeryObjectWithAReference) {
  const char* const kName = "a.b.IFoo/default";
  ASSERT_EQ(AServiceManager_addService(MakeClock()->asBinder().get(), kName), EX_NONE);
  EXPECT_EQ(Clock::alive, 1);
  const SpAIBinder successor = MakeClock()->asBinder();
  ASSERT_EQ(AServiceManager_addService(successor.get(), kName), EX_NONE);
  EXPECT_EQ(Clock::alive, 1) << "the replaced service";
  for (auto* look_up :
       {AServiceManager_checkService, AServiceManager_getService, AServiceManager_waitForService}) {
    const SpAIBinder found(look_up(kName));
    EXPECT_EQ(found, successor);
    EXPECT_EQ(AIBinder_debugGetRefCount(found.get()), 3);
  }
  android_host::ClearServices();
  EXPECT_EQ(AIBinder_debugGetRefCount(successor.get()), 1);
  EXPECT_FALSE(AServiceManager_isDeclared(kName));
}

TEST_F(ServiceManager, RefusesBadNames) {
  const SpAIBinder binder = MakeClock()->asBinder();
  for (const std::string& name : {std::string("A-z_0.9/x"), std::string(127, 'n')}) {
    EXPECT_EQ(AServiceManager_addService(binder.get(), name.c_str()), EX_NONE) << name;
  }
  EXPECT_EQ(AServiceManager_addService(nullptr, "name"), EX_ILLEGAL_ARGUMENT);
  for (const std::string& name : {std::string(128, 'n'), std::string(), std::string("a:b")}) {
    EXPECT_EQ(AServiceManager_addService(binder.get(), name.c_str()), EX_ILLEGAL_ARGUMENT) << name;
    EXPECT_FALSE(AServiceManager_isDeclared(name.c_str())) << name;
  }
}

TEST_F(ServiceManager, WaitsForALateService) {
  const SpAIBinder binder = MakeClock()->asBinder();
  SpAIBinder waited;
  SpAIBinder got;
  std::thread waiter([&] { waited = SpAIBinder(AServiceManager_waitForService("late")); });
  std::thread getter([&] { got = SpAIBinder(AServiceManager_getService("late")); });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  ASSERT_EQ(AServiceManager_addService(binder.get(), "late"), EX_NONE);
  waiter.join();
  getter.join();
  EXPECT_EQ(waited, binder);
  EXPECT_EQ(got, binder);
}

}  // namespace
