// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/sim/simulated_device.h"

namespace orx_sim {
namespace {

using km::KeyPurpose;

Bytes NewBlob(Services& services, const KeyParams& more = {}) {
  return Imported(services, With(AesRequest(), more));
}

ErrorCode Begin(Services& services, const Bytes& blob, const KeyParams& params = AesUse()) {
  km::BeginResult result;
  return orx_sim::Begin(services, KeyPurpose::ENCRYPT, blob, params, &result);
}

// What the key makes of a block of zeros: the same key gives the same.
Bytes Fingerprint(Services& services, const Bytes& blob) {
  Bytes output;
  EXPECT_EQ(Operate(services, KeyPurpose::ENCRYPT, blob, AesUse(), Bytes(16), &output),
            ErrorCode::OK);
  return output;
}

ErrorCode Upgrade(Services& services, const Bytes& blob, Bytes* upgraded,
                  const KeyParams& params = {}) {
  return CodeOf(services.keymint->upgradeKey(blob, params, upgraded));
}

// Every call that takes a blob refuses this one.
void ExpectInvalid(Services& services, const Bytes& blob) {
  Bytes upgraded = {9};
  std::vector<km::KeyCharacteristics> characteristics;
  EXPECT_EQ(Begin(services, blob), ErrorCode::INVALID_KEY_BLOB);
  EXPECT_EQ(Upgrade(services, blob, &upgraded), ErrorCode::INVALID_KEY_BLOB);
  EXPECT_EQ(upgraded, Bytes{9});
  EXPECT_EQ(CodeOf(services.keymint->getKeyCharacteristics(blob, {}, {}, &characteristics)),
            ErrorCode::INVALID_KEY_BLOB);
}

TEST(KeyParamsTest, AValueThatIsNoNumberKeepsNone) {
  using Value = km::KeyParameterValue;
  EXPECT_EQ(MakeNumber(Value::invalid, 7), Value());
  EXPECT_EQ(MakeNumber(Value::blob, 7), Value());
}

TEST(BlobTest, EveryChangedBitAndEveryOtherLengthMakesItInvalid) {
  TestDevice device;
  Bytes blob = NewBlob(device.tee());
  ASSERT_EQ(Begin(device.tee(), blob), ErrorCode::OK);
  const Bytes other = NewBlob(device.tee());
  EXPECT_FALSE(std::equal(&blob[5], &blob[17], &other[5])) << "one nonce would give both away";
  for (size_t bit = 0; bit < blob.size() * 8; ++bit) {
    Bytes changed = blob;
    changed[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    ASSERT_EQ(Begin(device.tee(), changed), ErrorCode::INVALID_KEY_BLOB) << "bit " << bit;
  }
  blob.push_back(0);
  ExpectInvalid(device.tee(), blob);
  blob.pop_back();
  while (!blob.empty()) {
    blob.pop_back();
    ASSERT_EQ(Begin(device.tee(), blob), ErrorCode::INVALID_KEY_BLOB) << blob.size() << " bytes";
    ASSERT_EQ(CodeOf(device.tee().keymint->deleteKey(blob)), ErrorCode::INVALID_KEY_BLOB);
  }
  ExpectInvalid(device.tee(), blob);
}

TEST(BlobTest, WorksInItsOwnInstanceOfItsOwnDeviceOnly) {
  TestDevice device;
  TestDevice other;
  const Bytes blob = NewBlob(device.tee());
  ExpectInvalid(device.strongbox(), blob);
  ExpectInvalid(other.tee(), blob);
  EXPECT_EQ(CodeOf(other.tee().keymint->deleteKey(blob)), ErrorCode::INVALID_KEY_BLOB);
  device.Boot();
  EXPECT_EQ(Begin(device.tee(), blob), ErrorCode::OK) << "after a restart";
}

TEST(BlobTest, WantsTheHiddenParametersAgain) {
  TestDevice device;
  const KeyParams id = {BlobParam(Tag::APPLICATION_ID, {1, 2})};
  const KeyParams data = {BlobParam(Tag::APPLICATION_DATA, {1, 2})};
  const Bytes blob = NewBlob(device.tee(), id);
  const KeyParams use = With(AesUse(), id);
  EXPECT_EQ(Begin(device.tee(), blob, use), ErrorCode::OK);
  EXPECT_EQ(Begin(device.tee(), blob, With(AesUse(), data)), ErrorCode::INVALID_KEY_BLOB);
  EXPECT_EQ(Begin(device.tee(), blob, With(use, data)), ErrorCode::INVALID_KEY_BLOB);
  ExpectInvalid(device.tee(), blob);
  Bytes upgraded;
  EXPECT_EQ(Upgrade(device.tee(), blob, &upgraded, id), ErrorCode::OK);
  EXPECT_EQ(CodeOf(device.tee().keymint->deleteKey(blob)), ErrorCode::OK);
  EXPECT_EQ(Begin(device.tee(), blob, use), ErrorCode::INVALID_KEY_BLOB);
}

TEST(UpgradeTest, IsNeededAfterAnyVersionRoseAndKeepsTheKey) {
  TestDevice device(
      "os-version = 140000\nos-patch-level = 202611\nvendor-patch-level = 20261105\n"
      "boot-patch-level = 20261105\n");
  Bytes blob = NewBlob(device.tee());
  const Bytes fingerprint = Fingerprint(device.tee(), blob);
  for (const char* const change : {"os-version=150000", "os-patch-level=202612",
                                   "vendor-patch-level=20261205", "boot-patch-level=20261200"}) {
    SCOPED_TRACE(change);
    Bytes upgraded = {9};
    EXPECT_EQ(Upgrade(device.tee(), blob, &upgraded), ErrorCode::OK);
    EXPECT_TRUE(upgraded.empty()) << "there is nothing to upgrade yet";
    device.Boot({change});
    EXPECT_EQ(Begin(device.tee(), blob), ErrorCode::KEY_REQUIRES_UPGRADE);
    ASSERT_EQ(Upgrade(device.tee(), blob, &upgraded), ErrorCode::OK);
    EXPECT_EQ(Fingerprint(device.tee(), upgraded), fingerprint);
    EXPECT_EQ(Begin(device.tee(), blob), ErrorCode::KEY_REQUIRES_UPGRADE) << "the old one stays";
    blob = upgraded;
  }
}

TEST(UpgradeTest, RefusesAKeyOfANewerSystem) {
  TestDevice device("os-version = 140000\nos-patch-level = 202611\n");
  const Bytes blob = NewBlob(device.tee());
  Bytes upgraded = {9};
  device.Boot({"os-patch-level=202610", "os-version=150000"});
  EXPECT_EQ(Begin(device.tee(), blob), ErrorCode::KEY_REQUIRES_UPGRADE);
  EXPECT_EQ(Upgrade(device.tee(), blob, &upgraded), ErrorCode::INVALID_ARGUMENT);
  EXPECT_EQ(upgraded, Bytes{9});
  device.Boot({"os-patch-level=202611", "os-version=0"});
  EXPECT_EQ(Upgrade(device.tee(), blob, &upgraded), ErrorCode::OK)
      << "a system without a version takes every key";
  EXPECT_EQ(Begin(device.tee(), upgraded), ErrorCode::OK);
}

TEST(DeletionTest, LastsForTheKeyAndWhateverItWasUpgradedTo) {
  TestDevice device("os-patch-level = 202611\n");
  const Bytes kept = NewBlob(device.tee());
  const Bytes blob = NewBlob(device.tee());
  device.Boot({"os-patch-level=202612"});
  Bytes upgraded;
  Bytes kept_upgraded;
  ASSERT_EQ(Upgrade(device.tee(), blob, &upgraded), ErrorCode::OK);
  ASSERT_EQ(Upgrade(device.tee(), kept, &kept_upgraded), ErrorCode::OK);
  EXPECT_EQ(CodeOf(device.tee().keymint->deleteKey(blob)), ErrorCode::OK);
  EXPECT_EQ(CodeOf(device.tee().keymint->deleteKey(blob)), ErrorCode::OK) << "a second time";
  for (int boot = 0; boot < 2; ++boot) {
    ExpectInvalid(device.tee(), blob);
    ExpectInvalid(device.tee(), upgraded);
    EXPECT_EQ(Begin(device.tee(), kept_upgraded), ErrorCode::OK);
    device.Boot();
  }
}

TEST(DeletionTest, OfAllKeysLeavesTheOtherInstanceAndLaterKeys) {
  TestDevice device;
  const Bytes blob = NewBlob(device.tee());
  const Bytes in_strongbox = NewBlob(device.strongbox());
  for (int round = 0; round < 2; ++round) {
    const Bytes before = NewBlob(device.tee());
    ASSERT_EQ(Begin(device.tee(), before), ErrorCode::OK);
    EXPECT_EQ(CodeOf(device.tee().keymint->deleteAllKeys()), ErrorCode::OK);
    ExpectInvalid(device.tee(), blob);
    ExpectInvalid(device.tee(), before);
  }
  EXPECT_EQ(Begin(device.strongbox(), in_strongbox), ErrorCode::OK);
  EXPECT_EQ(Begin(device.tee(), NewBlob(device.tee())), ErrorCode::OK);
}

}  // namespace
}  // namespace orx_sim
