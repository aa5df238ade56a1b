// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/BnKeyMintDevice.h>
#include <android/binder_manager.h>
#include <android_host/host.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

#include "tests/support/mock_hals.h"

namespace {

using ndk::ScopedAStatus;
using ndk::SpAIBinder;

namespace km = ::aidl::android::hardware::security::keymint;
namespace ss = orx_test::ss;

// Service counts its living objects.
class Service : public orx_test::MockSharedSecret {
 public:
  Service() { ++alive; }
  ~Service() override { --alive; }

  static int alive;
};
int Service::alive = 0;

std::shared_ptr<Service> MakeService() {
  return ndk::SharedRefBase::make<Service>();
}

class Binder : public testing::Test {
 protected:
  Binder() { android_host::DisableDeviceModule(); }
  ~Binder() override {
    android_host::ClearServices();
    EXPECT_EQ(Service::alive, 0) << "a reference was lost";
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
  SpAIBinder first = MakeService()->asBinder();
  AIBinder* const raw = first.get();
  AIBinder_Weak* const weak = AIBinder_Weak_new(raw);
  SpAIBinder copy = first;
  EXPECT_TRUE(first == copy && copy != nullptr);
  first = nullptr;
  EXPECT_EQ(Service::alive, 1) << "a copy has a reference of its own";
  first = SpAIBinder(AIBinder_Weak_promote(weak));
  EXPECT_EQ(first.get(), raw);
  copy = nullptr;
  EXPECT_EQ(Service::alive, 1) << "and so has what was promoted";
  first = nullptr;
  EXPECT_EQ(Service::alive, 0);
  EXPECT_EQ(AIBinder_Weak_promote(weak), nullptr);
  AIBinder_Weak_delete(weak);
}

binder_status_t NoTransaction(AIBinder*, transaction_code_t, const AParcel*, AParcel*) {
  return STATUS_UNKNOWN_TRANSACTION;
}

TEST_F(Binder, IsOfOneClassComparedByAddress) {
  const SpAIBinder service = MakeService()->asBinder();
  // Never freed, as classes are not.
  static const AIBinder_Class* const kTwin =
      ndk::ICInterface::defineClass(ss::ISharedSecret::descriptor, NoTransaction);
  EXPECT_FALSE(AIBinder_associateClass(service.get(), kTwin));
  EXPECT_EQ(ndk::ICInterface::defineClass(nullptr, NoTransaction), nullptr);
  EXPECT_EQ(ndk::ICInterface::defineClass("a.b.IFoo", nullptr), nullptr);
}

TEST_F(Binder, KeepsTheObjectAliveAndGivesItBackAsItself) {
  auto service = MakeService();
  service->asBinder();  // which ends at once, so that the next is made anew
  const SpAIBinder binder = service->asBinder();
  EXPECT_EQ(service->asBinder(), binder);
  EXPECT_EQ(ss::ISharedSecret::fromBinder(binder), service);
  EXPECT_EQ(km::IKeyMintDevice::fromBinder(binder), nullptr) << "another interface";
  EXPECT_EQ(ss::ISharedSecret::fromBinder(SpAIBinder()), nullptr);
  service.reset();
  EXPECT_EQ(Service::alive, 1);
}

TEST(SharedRef, HasOneOwnerWhoMadeIt) {
  const char* const kComplaint = "destroyed by another than its owner";
  EXPECT_DEATH({ Service on_the_stack; }, kComplaint);
  EXPECT_DEATH({ delete MakeService().get(); }, kComplaint);
}

TEST_F(Binder, SaysWhichVersionItIsOf) {
  int32_t version = -1;
  std::string hash = "none";
  EXPECT_TRUE(MakeService()->getInterfaceVersion(&version).isOk());
  EXPECT_TRUE(MakeService()->getInterfaceHash(&hash).isOk());
  EXPECT_EQ(std::to_string(version) + " " + hash, "1 aea3745b559d2977f0676952e510fb0547a52140");
  const auto none = ndk::SharedRefBase::make<ss::ISharedSecretDefault>();
  EXPECT_TRUE(none->getInterfaceVersion(&version).isOk());
  EXPECT_TRUE(none->getInterfaceHash(&hash).isOk());
  EXPECT_EQ(std::to_string(version) + hash, "0");
  EXPECT_EQ(none->getSharedSecretParameters(nullptr).getStatus(), STATUS_UNKNOWN_TRANSACTION);
}

TEST_F(ServiceManager, HandsOutTheVeryObjectWithAReference) {
  const char* const kName = "a.b.IFoo/default";
  ASSERT_EQ(AServiceManager_addService(MakeService()->asBinder().get(), kName), EX_NONE);
  EXPECT_EQ(Service::alive, 1);
  SpAIBinder successor = MakeService()->asBinder();
  ASSERT_EQ(AServiceManager_addService(successor.get(), kName), EX_NONE);
  EXPECT_EQ(Service::alive, 1) << "the replaced service";
  SpAIBinder found(AServiceManager_checkService(kName));
  EXPECT_EQ(found, successor);
  EXPECT_TRUE(AServiceManager_isDeclared(kName));
  android_host::DeclareService("a.b.IFoo/absent");
  EXPECT_TRUE(AServiceManager_isDeclared("a.b.IFoo/absent"));
  EXPECT_EQ(AServiceManager_checkService("a.b.IFoo/absent"), nullptr);
  android_host::ClearServices();
  EXPECT_EQ(SpAIBinder(AServiceManager_checkService(kName)), nullptr);
  EXPECT_FALSE(AServiceManager_isDeclared(kName));
  successor = nullptr;
  EXPECT_EQ(Service::alive, 1) << "what was found has a reference of its own";
}

TEST_F(ServiceManager, RefusesBadNames) {
  const SpAIBinder binder = MakeService()->asBinder();
  for (const std::string& name : {std::string("A-z_0.9/x"), std::string(127, 'n')}) {
    EXPECT_EQ(AServiceManager_addService(binder.get(), name.c_str()), EX_NONE) << name;
  }
  EXPECT_EQ(AServiceManager_addService(nullptr, "name"), EX_ILLEGAL_ARGUMENT);
  EXPECT_FALSE(AServiceManager_isDeclared(nullptr));
  for (const std::string& name : {std::string(128, 'n'), std::string(), std::string("a:b")}) {
    EXPECT_EQ(AServiceManager_addService(binder.get(), name.c_str()), EX_ILLEGAL_ARGUMENT) << name;
    EXPECT_FALSE(AServiceManager_isDeclared(name.c_str())) << name;
  }
}

}  // namespace
