// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/BnKeyMintDevice.h>
#include <aidl/android/hardware/security/secureclock/BnSecureClock.h>
#include <aidl/android/hardware/security/sharedsecret/BnSharedSecret.h>
#include <android/binder_manager.h>
#include <android_host/host.h>
#include <android_host/versioned_bn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using ndk::ScopedAStatus;
using ndk::SpAIBinder;

namespace km = ::aidl::android::hardware::security::keymint;
namespace sc = ::aidl::android::hardware::security::secureclock;
namespace ss = ::aidl::android::hardware::security::sharedsecret;

// Clock is a service that counts its living objects and answers the challenge that it was asked.
class Clock : public sc::BnSecureClock {
 public:
  Clock() { ++alive; }
  ~Clock() override { --alive; }
  ScopedAStatus generateTimeStamp(int64_t challenge, sc::TimeStampToken* token) override {
    if (challenge < 0) return ScopedAStatus::fromServiceSpecificError(-38);
    *token = {challenge, {1}, {2}};
    return ScopedAStatus::ok();
  }
  binder_status_t dump(int fd, const char**, uint32_t count) override {
    return dprintf(fd, "%u", count) > 0 ? STATUS_OK : STATUS_UNKNOWN_ERROR;
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

TEST(Status, CarriesItsCodesAndDescribesItself) {
  const struct {
    ScopedAStatus status;
    binder_exception_t exception;
    int32_t service_specific;
    binder_status_t code;
    const char* description;
  } kCases[] = {
      {ScopedAStatus::ok(), 0, 0, 0, "No error"},
      {ScopedAStatus::fromStatus(STATUS_OK), 0, 0, 0, "No error"},
      {ScopedAStatus::fromExceptionCode(EX_NONE), 0, 0, 0, "No error"},
      {ScopedAStatus::fromServiceSpecificError(-66), -8, -66, 0,
       "Status(-8, EX_SERVICE_SPECIFIC): '-66: '"},
      {ScopedAStatus::fromServiceSpecificError(0), -8, 0, 0,
       "Status(-8, EX_SERVICE_SPECIFIC): '0: '"},
      {ScopedAStatus::fromServiceSpecificErrorWithMessage(6, "removed"), -8, 6, 0,
       "Status(-8, EX_SERVICE_SPECIFIC): '6: removed'"},
      {ScopedAStatus::fromExceptionCode(EX_NULL_POINTER), -4, 0, 0,
       "Status(-4, EX_NULL_POINTER): ''"},
      {ScopedAStatus::fromExceptionCodeWithMessage(EX_SECURITY, "no"), -1, 0, 0,
       "Status(-1, EX_SECURITY): 'no'"},
      {ScopedAStatus::fromExceptionCode(EX_TRANSACTION_FAILED), -129, 0, -2147483646,
       "Status(-129, EX_TRANSACTION_FAILED): 'FAILED_TRANSACTION: '"},
      {ScopedAStatus::fromExceptionCode(-1000), -129, 0, -2147483646,
       "Status(-129, EX_TRANSACTION_FAILED): 'FAILED_TRANSACTION: '"},
      {ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT), -129, 0, -32,
       "Status(-129, EX_TRANSACTION_FAILED): 'DEAD_OBJECT: '"},
      {ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION), -129, 0, -74,
       "Status(-129, EX_TRANSACTION_FAILED): 'UNKNOWN_TRANSACTION: '"},
      {ScopedAStatus::fromStatus(-12345), -129, 0, -2147483647 - 1,
       "Status(-129, EX_TRANSACTION_FAILED): 'UNKNOWN_ERROR: '"},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.description);
    EXPECT_EQ(row.status.isOk(), row.exception == 0);
    EXPECT_EQ(row.status.getExceptionCode(), row.exception);
    EXPECT_EQ(row.status.getServiceSpecificError(), row.service_specific);
    EXPECT_EQ(row.status.getStatus(), row.code);
    std::ostringstream printed;
    printed << row.status;
    EXPECT_EQ(printed.str(), row.description);
  }
  EXPECT_STREQ(kCases[5].status.getMessage(), "removed");
  EXPECT_STREQ(kCases[0].status.getMessage(), "");
}

TEST(Status, OkIsOneSharedObjectAndAbsentIsNotOk) {
  EXPECT_EQ(ScopedAStatus::ok().get(), ScopedAStatus::ok().get());
  ScopedAStatus status;
  EXPECT_EQ(status.get(), nullptr);
  EXPECT_FALSE(status.isOk());
  status = ScopedAStatus::fromServiceSpecificError(1);
  const ScopedAStatus moved = std::move(status);
  EXPECT_EQ(moved.getServiceSpecificError(), 1);
  EXPECT_EQ(status.get(), nullptr);  // NOLINT(bugprone-use-after-move): what a move leaves
}

// Objects of this class count in `destroyed` how many of them died.
int destroyed = 0;
binder_status_t NoTransaction(AIBinder*, transaction_code_t, const AParcel*, AParcel*) {
  return STATUS_UNKNOWN_TRANSACTION;
}
void* KeepArguments(void* args) {
  return args;
}
void CountDestroyed(void* count) {
  ++*static_cast<int*>(count);
}
// Never freed, as classes are not.
AIBinder_Class* const counting_class =
    AIBinder_Class_define("a.b.IFoo", KeepArguments, CountDestroyed, NoTransaction);
AIBinder_Class* const twin_class =
    AIBinder_Class_define("a.b.IFoo", KeepArguments, CountDestroyed, NoTransaction);

TEST(BinderObject, DiesWithItsLastStrongReference) {
  destroyed = 0;
  AIBinder* const object = AIBinder_new(counting_class, &destroyed);
  AIBinder_Weak* const weak = AIBinder_Weak_new(object);
  EXPECT_EQ(AIBinder_debugGetRefCount(object), 1);
  EXPECT_EQ(AIBinder_getUserData(object), &destroyed);
  AIBinder_incStrong(object);
  AIBinder* const promoted = AIBinder_Weak_promote(weak);
  EXPECT_EQ(promoted, object);
  EXPECT_EQ(AIBinder_debugGetRefCount(object), 3);
  AIBinder_decStrong(object);
  AIBinder_decStrong(object);
  EXPECT_EQ(destroyed, 0);
  AIBinder_decStrong(object);
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(AIBinder_Weak_promote(weak), nullptr);
  AIBinder_Weak_delete(weak);
}

TEST(BinderObject, ClassesAreComparedByAddress) {
  EXPECT_STREQ(AIBinder_Class_getDescriptor(counting_class),
               AIBinder_Class_getDescriptor(twin_class));
  const SpAIBinder object(AIBinder_new(counting_class, &destroyed));
  EXPECT_TRUE(AIBinder_associateClass(object.get(), counting_class));
  EXPECT_FALSE(AIBinder_associateClass(object.get(), twin_class));
  EXPECT_EQ(AIBinder_getClass(object.get()), counting_class);
  EXPECT_FALSE(AIBinder_isRemote(object.get()));
  EXPECT_TRUE(AIBinder_isAlive(object.get()));
  EXPECT_EQ(AIBinder_ping(object.get()), STATUS_OK);
}

TEST(BinderObject, NullIsAnsweredNotFollowed) {
  const char* const name = "a.b.IFoo";
  EXPECT_EQ(AIBinder_Class_define(nullptr, KeepArguments, CountDestroyed, NoTransaction), nullptr);
  EXPECT_EQ(AIBinder_Class_define(name, nullptr, CountDestroyed, NoTransaction), nullptr);
  EXPECT_EQ(AIBinder_Class_define(name, KeepArguments, nullptr, NoTransaction), nullptr);
  EXPECT_EQ(AIBinder_Class_define(name, KeepArguments, CountDestroyed, nullptr), nullptr);
  EXPECT_EQ(AIBinder_new(nullptr, nullptr), nullptr);
  AIBinder_incStrong(nullptr);
  AIBinder_decStrong(nullptr);
  EXPECT_EQ(AIBinder_debugGetRefCount(nullptr), -1);
  EXPECT_FALSE(AIBinder_isRemote(nullptr));
  EXPECT_FALSE(AIBinder_isAlive(nullptr));
  EXPECT_EQ(AIBinder_ping(nullptr), STATUS_UNEXPECTED_NULL);
  EXPECT_EQ(AIBinder_dump(nullptr, 1, nullptr, 0), STATUS_UNEXPECTED_NULL);
  EXPECT_FALSE(AIBinder_associateClass(nullptr, counting_class));
  EXPECT_EQ(AIBinder_getClass(nullptr), nullptr);
  EXPECT_EQ(AIBinder_getUserData(nullptr), nullptr);
  EXPECT_EQ(AIBinder_Weak_new(nullptr), nullptr);
  EXPECT_EQ(AIBinder_Weak_promote(nullptr), nullptr);
  EXPECT_EQ(ndk::ICInterface::asInterface(nullptr), nullptr);
}

TEST_F(Binder, OwnerTakesOverOneReferenceAndCopiesAddOne) {
  const SpAIBinder first = MakeClock()->asBinder();
  AIBinder* const raw = first.get();
  EXPECT_EQ(AIBinder_debugGetRefCount(raw), 1);
  {
    SpAIBinder copy = first;
    EXPECT_EQ(AIBinder_debugGetRefCount(raw), 2);
    SpAIBinder& self = copy;
    copy = self;
    EXPECT_EQ(AIBinder_debugGetRefCount(raw), 2);
    AIBinder_incStrong(raw);
    const SpAIBinder taken(raw);
    EXPECT_EQ(AIBinder_debugGetRefCount(raw), 3);
    copy = nullptr;
    EXPECT_EQ(AIBinder_debugGetRefCount(raw), 2);
    EXPECT_TRUE(taken == raw && raw == taken && taken == first);
    EXPECT_TRUE(copy != taken && copy == nullptr && copy < taken);
  }
  EXPECT_EQ(AIBinder_debugGetRefCount(raw), 1);
}

TEST_F(Binder, LocalObjectComesBackAsItself) {
  const auto clock = MakeClock();
  const SpAIBinder binder = clock->asBinder();
  EXPECT_EQ(clock->asBinder(), binder);
  EXPECT_EQ(sc::ISecureClock::fromBinder(binder), clock);
  EXPECT_EQ(sc::ISecureClock::fromBinder(SpAIBinder()), nullptr);
  EXPECT_EQ(km::IKeyMintDevice::fromBinder(binder), nullptr) << "another interface";
  EXPECT_FALSE(clock->isRemote());

  sc::TimeStampToken token;
  EXPECT_EQ(
      sc::ISecureClock::fromBinder(binder)->generateTimeStamp(-1, &token).getServiceSpecificError(),
      -38);
  EXPECT_EQ(token, sc::TimeStampToken());
  EXPECT_TRUE(sc::ISecureClock::fromBinder(binder)->generateTimeStamp(7, &token).isOk());
  EXPECT_EQ(token.challenge, 7);
}

TEST_F(Binder, KeepsTheObjectAliveAndIsMadeAnewAfterItsEnd) {
  auto clock = MakeClock();
  SpAIBinder binder = clock->asBinder();
  std::weak_ptr<Clock> watch = clock;
  clock.reset();
  ASSERT_FALSE(watch.expired());
  binder = nullptr;
  EXPECT_TRUE(watch.expired());

  clock = MakeClock();
  EXPECT_EQ(AIBinder_debugGetRefCount(clock->asBinder().get()), 1);
  EXPECT_EQ(sc::ISecureClock::fromBinder(clock->asBinder()), clock);
}

TEST_F(Binder, ThreadsSeeOneBinder) {
  const auto clock = MakeClock();
  const SpAIBinder expected = clock->asBinder();
  std::vector<int> wrong(4, 0);
  std::vector<std::thread> threads;
  for (int& mine : wrong) {
    threads.emplace_back([&] {
      for (int round = 0; round < 2000; ++round) {
        const SpAIBinder binder = clock->asBinder();
        if (binder != expected || sc::ISecureClock::fromBinder(binder) != clock) ++mine;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(4, 0));
  EXPECT_EQ(AIBinder_debugGetRefCount(expected.get()), 1);
}

TEST_F(Binder, DumpReachesTheObject) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_EQ(AIBinder_dump(MakeClock()->asBinder().get(), ends[1], nullptr, 5), STATUS_OK);
  char text = 0;
  EXPECT_EQ(read(ends[0], &text, 1), 1);
  EXPECT_EQ(text, '5');
  close(ends[0]);
  close(ends[1]);
}

template <typename T, typename = void>
constexpr bool kCanMakeShared = false;
template <typename T>
constexpr bool kCanMakeShared<T, std::void_t<decltype(std::make_shared<T>())>> = true;

TEST(SharedRef, HasOneOwnerWhoMadeIt) {
  static_assert(kCanMakeShared<std::string> && !kCanMakeShared<Clock>);
  const char* const kComplaint = "destroyed by another than its owner";
  EXPECT_DEATH({ Clock on_the_stack; }, kComplaint);
  EXPECT_DEATH({ delete MakeClock().get(); }, kComplaint);
  const auto clock = MakeClock();
  EXPECT_EQ(clock->ref<Clock>(), clock);
}

TEST(Interface, DefaultKnowsNoTransaction) {
  const auto device = ndk::SharedRefBase::make<km::IKeyMintDeviceDefault>();
  int32_t version = -1;
  std::string hash = "none";
  EXPECT_TRUE(device->getInterfaceVersion(&version).isOk());
  EXPECT_TRUE(device->getInterfaceHash(&hash).isOk());
  EXPECT_EQ(version, 0);
  EXPECT_EQ(hash, "");
  EXPECT_EQ(device->asBinder(), nullptr);
  km::BeginResult result;
  EXPECT_EQ(device->begin(km::KeyPurpose::SIGN, {}, {}, std::nullopt, &result).getStatus(),
            STATUS_UNKNOWN_TRANSACTION);
  EXPECT_EQ(device->deleteAllKeys().getExceptionCode(), EX_TRANSACTION_FAILED);
}

class OldClock : public android_host::VersionedBn<sc::ISecureClock> {
 public:
  OldClock() : VersionedBn(0, "old") {}
  ScopedAStatus generateTimeStamp(int64_t, sc::TimeStampToken*) override {
    return ScopedAStatus::fromStatus(STATUS_UNKNOWN_TRANSACTION);
  }
};

TEST_F(Binder, FakeMayAnswerAnotherVersion) {
  const auto old_clock = ndk::SharedRefBase::make<OldClock>();
  for (const std::shared_ptr<sc::ISecureClock>& clock :
       {std::shared_ptr<sc::ISecureClock>(old_clock),
        std::shared_ptr<sc::ISecureClock>(MakeClock())}) {
    const bool old = clock == old_clock;
    const auto found = sc::ISecureClock::fromBinder(clock->asBinder());
    ASSERT_EQ(found, clock);
    int32_t version = -1;
    std::string hash;
    ASSERT_TRUE(found->getInterfaceVersion(&version).isOk());
    ASSERT_TRUE(found->getInterfaceHash(&hash).isOk());
    EXPECT_EQ(version, old ? 0 : 1);
    EXPECT_EQ(hash, old ? "old" : "cd55ca9963c6a57fa5f2f120a45c6e0c4fafb423");
  }
}

TEST_F(Binder, DelegatorForwardsToItsOwnVersionOnly) {
  const auto delegator = ndk::SharedRefBase::make<sc::ISecureClockDelegator>(MakeClock());
  sc::TimeStampToken token;
  EXPECT_TRUE(delegator->generateTimeStamp(9, &token).isOk());
  EXPECT_EQ(token.challenge, 9);
  EXPECT_EQ(delegator->generateTimeStamp(-9, &token).getServiceSpecificError(), -38);
  EXPECT_EQ(sc::ISecureClock::fromBinder(delegator->asBinder()), delegator);
  EXPECT_DEATH(
      ndk::SharedRefBase::make<sc::ISecureClockDelegator>(ndk::SharedRefBase::make<OldClock>()),
      "Mismatched versions");
}

class ServiceManager : public Binder {};

TEST_F(ServiceManager, HandsOutTheVeryObjectWithAReference) {
  const char* const kName = "a.b.IFoo/default";
  AIBinder* raw = nullptr;
  {
    const SpAIBinder binder = MakeClock()->asBinder();
    raw = binder.get();
    ASSERT_EQ(AServiceManager_addService(raw, kName), EX_NONE);
    EXPECT_EQ(AIBinder_debugGetRefCount(raw), 2);
  }
  for (auto* look_up :
       {AServiceManager_checkService, AServiceManager_getService, AServiceManager_waitForService}) {
    const SpAIBinder found(look_up(kName));
    EXPECT_EQ(found, raw);
    EXPECT_EQ(AIBinder_debugGetRefCount(raw), 2);
  }
  EXPECT_TRUE(AServiceManager_isDeclared(kName));
  EXPECT_EQ(AIBinder_debugGetRefCount(raw), 1);

  const SpAIBinder successor = MakeClock()->asBinder();
  ASSERT_EQ(AServiceManager_addService(successor.get(), kName), EX_NONE);
  EXPECT_EQ(Clock::alive, 1) << "the replaced service";
  EXPECT_EQ(SpAIBinder(AServiceManager_checkService(kName)), successor);
  android_host::ClearServices();
  EXPECT_EQ(AIBinder_debugGetRefCount(successor.get()), 1);
  EXPECT_EQ(AServiceManager_checkService(kName), nullptr);
  EXPECT_FALSE(AServiceManager_isDeclared(kName));
}

TEST_F(ServiceManager, RefusesBadNamesAndNull) {
  const SpAIBinder binder = MakeClock()->asBinder();
  const struct {
    std::string name;
    bool valid;
  } kCases[] = {
      {"A-z_0.9/x", true},
      {std::string(127, 'n'), true},
      {std::string(128, 'n'), false},
      {"", false},
      {"a b", false},
      {"a:b", false},
      {"\xc3\xa4", false},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(AServiceManager_addService(binder.get(), row.name.c_str()),
              row.valid ? EX_NONE : EX_ILLEGAL_ARGUMENT)
        << row.name;
    EXPECT_EQ(AServiceManager_isDeclared(row.name.c_str()), row.valid) << row.name;
  }
  EXPECT_EQ(AServiceManager_addService(nullptr, "name"), EX_ILLEGAL_ARGUMENT);
  EXPECT_EQ(AServiceManager_addService(binder.get(), nullptr), EX_ILLEGAL_ARGUMENT);
  EXPECT_EQ(AServiceManager_checkService(nullptr), nullptr);
  EXPECT_EQ(AServiceManager_getService(nullptr), nullptr);
  EXPECT_EQ(AServiceManager_waitForService(nullptr), nullptr);
  EXPECT_FALSE(AServiceManager_isDeclared(nullptr));
}

TEST_F(ServiceManager, WaitsForALateService) {
  const SpAIBinder binder = MakeClock()->asBinder();
  SpAIBinder waited;
  SpAIBinder got;
  std::thread waiter([&] { waited = SpAIBinder(AServiceManager_waitForService("late")); });
  std::thread getter([&] { got = SpAIBinder(AServiceManager_getService("late")); });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(AServiceManager_checkService("late"), nullptr);
  ASSERT_EQ(AServiceManager_addService(binder.get(), "late"), EX_NONE);
  waiter.join();
  getter.join();
  EXPECT_EQ(waited, binder);
  EXPECT_EQ(got, binder);
}

}  // namespace
