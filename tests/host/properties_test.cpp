// SPDX-License-Identifier: Apache-2.0
#include <android-base/properties.h>
#include <android_host/host.h>
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

class Properties : public testing::Test {
 protected:
  Properties() {
    android_host::DisableDeviceModule();
    android_host::ClearProperties();
  }
};

std::string Get(const char* name, const char* default_value = nullptr) {
  char value[PROPERTY_VALUE_MAX];
  const int length = property_get(name, value, default_value);
  EXPECT_EQ(value[length], '\0') << name;
  return std::string(value, static_cast<size_t>(length));
}

TEST_F(Properties, ReadingGivesTheValueElseTheDefault) {
  const std::string longest(91, 'a');
  const std::string longer(92, 'b');
  const std::tuple<const char*, const char*, const char*, std::string> kCases[] = {
      {"vendor.a", "value", "default", "value"},
      {"vendor.a", nullptr, nullptr, ""},
      {"vendor.a", nullptr, longer.c_str(), std::string(91, 'b')},
      {"vendor.a", "", "default", "default"},
      {"vendor.a", longest.c_str(), nullptr, longest},
      {"vendor.a", longer.c_str(), "default", "default"},
      {"ro.a", longest.c_str(), nullptr, longest},
      // Read-only values have no limit, but the old interface cannot carry them.
      {"ro.a", longer.c_str(), nullptr, "Must use __system_property_read_callback() to read"},
  };
  for (const auto& [name, value, default_value, expected] : kCases) {
    android_host::ClearProperties();
    property_set(name, value);
    EXPECT_EQ(Get(name, default_value), expected);
  }
  // libbase shares the properties, without the limit.
  android::base::SetProperty("vendor.a", longer);
  EXPECT_EQ(Get("vendor.a"), std::string(91, 'b'));
}

TEST_F(Properties, ReadOnlyIsSetOnceExceptByTheHost) {
  EXPECT_EQ(property_set("ro.once", "1"), 0);
  EXPECT_EQ(property_set("ro.once", "2"), -1);
  EXPECT_TRUE(android_host::SetProperty("ro.once", "3", nullptr));
  EXPECT_EQ(Get("ro.once"), "3");
  android_host::ClearProperties();
  EXPECT_EQ(property_set("ro.once", "4"), 0);
}

TEST_F(Properties, BadNamesAndValuesAreRefusedWithTheReason) {
  std::string error;
  for (const std::string name : {"", ".a", "a.", "a..b", "a b", "a=b"}) {
    EXPECT_FALSE(android_host::SetProperty(name, "x", &error));
    EXPECT_EQ(error, "property \"" + name + "\": not a property name");
  }
  EXPECT_TRUE(android_host::SetProperty("A-z_0.@:9", "x", nullptr));
  EXPECT_FALSE(android_host::SetProperty("a", std::string(92, 'x'), &error));
  EXPECT_EQ(error, "property \"a\": value longer than 91 characters");
  EXPECT_FALSE(android_host::SetProperty("ro.a", std::string(1, 0), &error));
  EXPECT_EQ(error, "property \"ro.a\": value with a NUL character");
}

TEST_F(Properties, BooleanTakesExactWordsOnly) {
  const auto as_bool = [](const char* word) {
    property_set("vendor.a", word);
    return property_get_bool("vendor.a", -7);
  };
  for (const char* word : {"1", "y", "yes", "on", "true"}) EXPECT_EQ(as_bool(word), 1) << word;
  for (const char* word : {"0", "n", "no", "off", "false"}) EXPECT_EQ(as_bool(word), 0) << word;
  for (const char* word : {"", "t", "True", " off", "2"}) EXPECT_EQ(as_bool(word), -7) << word;
  EXPECT_EQ(property_get_bool(nullptr, -7), -7);
}

}  // namespace
