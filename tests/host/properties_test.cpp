// SPDX-License-Identifier: Apache-2.0
#include <android-base/properties.h>
#include <android_host/host.h>
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
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
    EXPECT_EQ(__system_property_find(name.c_str()), nullptr);
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
}

TEST_F(Properties, IntegersTakePrefixesAndRefuseOverflow) {
  const std::tuple<const char*, int64_t, int32_t> kCases[] = {
      {" -42 ", -42, -42},
      {"0x10", 16, 16},
      {"12 monkeys", 12, 12},
      {"monkeys", -7, -7},
      {"2147483648", 2147483648, -7},
      {"-2147483649", -2147483649, -7},
      {"9223372036854775808", -7, -7},
  };
  for (const auto& [value, as_int64, as_int32] : kCases) {
    property_set("vendor.a", value);
    EXPECT_EQ(property_get_int64("vendor.a", -7), as_int64) << value;
    EXPECT_EQ(property_get_int32("vendor.a", -7), as_int32) << value;
  }
}

TEST_F(Properties, ListNamesEveryPropertyWithItsWholeValue) {
  const std::map<std::string, std::string> expected = {
      {"ro.long", std::string(200, 'x')}, {"vendor.a", "1"}, {"vendor.empty", ""}};
  for (const auto& [name, value] : expected) property_set(name.c_str(), value.c_str());
  std::map<std::string, std::string> listed;
  const auto add = [](const char* name, const char* value, void* to) {
    (*static_cast<std::map<std::string, std::string>*>(to))[name] = value;
    EXPECT_NE(__system_property_find(name), nullptr) << "a callback may use the properties itself";
  };
  EXPECT_EQ(property_list(add, &listed), 0);
  EXPECT_EQ(listed, expected);
  EXPECT_EQ(android::base::GetProperty("vendor.a", ""), "1");
}

TEST_F(Properties, SerialTellsThatAValueChanged) {
  std::set<uint32_t> serials;
  const auto add = [](void* to, const char*, const char*, uint32_t serial) {
    static_cast<std::set<uint32_t>*>(to)->insert(serial);
  };
  for (const char* value : {"1", "2"}) {
    property_set("vendor.a", value);
    __system_property_read_callback(__system_property_find("vendor.a"), add, &serials);
  }
  EXPECT_EQ(serials.size(), 2u);
}

}  // namespace
