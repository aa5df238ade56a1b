// SPDX-License-Identifier: Apache-2.0
#include <android-base/properties.h>
#include <android_host/host.h>
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <string.h>

#include <map>
#include <string>

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
  memset(value, '#', sizeof(value));
  const int length = property_get(name, value, default_value);
  EXPECT_EQ(static_cast<size_t>(length), strnlen(value, sizeof(value))) << name;
  return value;
}

TEST_F(Properties, MissingAndEmptyReadAsTheDefault) {
  ASSERT_EQ(property_set("vendor.full", "value"), 0);
  ASSERT_EQ(property_set("vendor.empty", ""), 0);
  const struct {
    const char* name;
    const char* default_value;
    std::string expected;
  } kCases[] = {
      {"vendor.full", nullptr, "value"},        {"vendor.full", "default", "value"},
      {"vendor.missing", nullptr, ""},          {"vendor.missing", "", ""},
      {"vendor.missing", "default", "default"}, {"vendor.empty", nullptr, ""},
      {"vendor.empty", "default", "default"},
  };
  for (const auto& row : kCases) EXPECT_EQ(Get(row.name, row.default_value), row.expected);
}

TEST_F(Properties, ValuesEndAt91Characters) {
  const std::string longest(91, 'a');
  const std::string longer(92, 'b');
  EXPECT_EQ(property_set("vendor.a", longest.c_str()), 0);
  EXPECT_EQ(Get("vendor.a"), longest);
  EXPECT_EQ(property_set("vendor.a", longer.c_str()), -1);
  EXPECT_EQ(Get("vendor.a"), longest);

  // Read-only values have no limit, but the old interface cannot carry them.
  EXPECT_EQ(property_set("ro.long", longer.c_str()), 0);
  EXPECT_EQ(Get("ro.long"), "Must use __system_property_read_callback() to read");
  EXPECT_EQ(property_set("ro.longest", longest.c_str()), 0);
  EXPECT_EQ(Get("ro.longest"), longest);

  EXPECT_EQ(Get("vendor.missing", std::string(200, 'c').c_str()), std::string(91, 'c'));
}

TEST_F(Properties, ReadOnlyIsSetOnceExceptByTheHost) {
  EXPECT_EQ(property_set("ro.once", "1"), 0);
  EXPECT_EQ(property_set("ro.once", "2"), -1);
  EXPECT_EQ(Get("ro.once"), "1");
  EXPECT_TRUE(android_host::SetProperty("ro.once", "3", nullptr));
  EXPECT_EQ(Get("ro.once"), "3");
  android_host::ClearProperties();
  EXPECT_EQ(Get("ro.once"), "");
  EXPECT_EQ(property_set("ro.once", "4"), 0);
  EXPECT_EQ(Get("ro.once"), "4");
}

TEST_F(Properties, BadNamesAndValuesAreRefusedWithTheReason) {
  const struct {
    std::string name;
    std::string value;
    const char* error;
  } kCases[] = {
      {"", "x", "property \"\": not a property name"},
      {".a", "x", "property \".a\": not a property name"},
      {"a.", "x", "property \"a.\": not a property name"},
      {"a..b", "x", "property \"a..b\": not a property name"},
      {"a b", "x", "property \"a b\": not a property name"},
      {"a=b", "x", "property \"a=b\": not a property name"},
      {"a", std::string(92, 'x'), "property \"a\": value longer than 91 characters"},
      {"a", std::string("x\0y", 3), "property \"a\": value with a NUL character"},
  };
  for (const auto& row : kCases) {
    std::string error;
    EXPECT_FALSE(android_host::SetProperty(row.name, row.value, &error));
    EXPECT_EQ(error, row.error);
    EXPECT_EQ(__system_property_find(row.name.c_str()), nullptr);
  }
  EXPECT_EQ(property_set("a..b", "x"), -1);
  EXPECT_EQ(property_set(nullptr, "x"), -1);
  EXPECT_TRUE(android_host::SetProperty("A-z_0.@:9", "x", nullptr));
}

TEST_F(Properties, BooleanTakesExactWordsOnly) {
  const struct {
    const char* value;
    int expected;  // -7 is the default
  } kCases[] = {
      {"1", 1},     {"y", 1},      {"yes", 1},   {"on", 1},    {"true", 1}, {"0", 0},
      {"n", 0},     {"no", 0},     {"off", 0},   {"false", 0}, {"", -7},    {"t", -7},
      {"True", -7}, {"true ", -7}, {" off", -7}, {"2", -7},
  };
  for (const auto& row : kCases) {
    ASSERT_EQ(property_set("vendor.bool", row.value), 0);
    EXPECT_EQ(property_get_bool("vendor.bool", -7), row.expected) << "\"" << row.value << "\"";
  }
  EXPECT_EQ(property_get_bool("vendor.missing", -7), -7);
  EXPECT_EQ(property_get_bool(nullptr, 1), 1);
}

TEST_F(Properties, IntegersTakePrefixesAndRefuseOverflow) {
  const struct {
    const char* value;
    int64_t as_int64;  // -7 is the default
    int32_t as_int32;
  } kCases[] = {
      {"42", 42, 42},
      {" -42 ", -42, -42},
      {"0x10", 16, 16},
      {"010", 8, 8},
      {"12 monkeys", 12, 12},
      {"", -7, -7},
      {"monkeys", -7, -7},
      {"-", -7, -7},
      {"2147483647", 2147483647, 2147483647},
      {"2147483648", 2147483648, -7},
      {"-2147483649", -2147483649, -7},
      {"9223372036854775807", INT64_MAX, -7},
      {"9223372036854775808", -7, -7},
  };
  for (const auto& row : kCases) {
    ASSERT_EQ(property_set("vendor.int", row.value), 0);
    EXPECT_EQ(property_get_int64("vendor.int", -7), row.as_int64) << "\"" << row.value << "\"";
    EXPECT_EQ(property_get_int32("vendor.int", -7), row.as_int32) << "\"" << row.value << "\"";
  }
  EXPECT_EQ(property_get_int64(nullptr, -7), -7);
}

TEST_F(Properties, ListNamesEveryPropertyWithItsWholeValue) {
  const std::string longer(200, 'x');
  const std::map<std::string, std::string> expected = {
      {"ro.long", longer}, {"vendor.a", "1"}, {"vendor.empty", ""}};
  for (const auto& [name, value] : expected) {
    ASSERT_EQ(property_set(name.c_str(), value.c_str()), 0);
  }
  std::map<std::string, std::string> listed;
  const auto add = [](const char* name, const char* value, void* to) {
    (*static_cast<std::map<std::string, std::string>*>(to))[name] = value;
    // A callback may use the properties itself.
    EXPECT_NE(__system_property_find(name), nullptr);
  };
  EXPECT_EQ(property_list(add, &listed), 0);
  EXPECT_EQ(listed, expected);
}

TEST_F(Properties, SerialTellsThatAValueChanged) {
  struct Seen {
    std::string value;
    uint32_t serial = 0;
  };
  const auto read = [](const prop_info* property) {
    Seen seen;
    __system_property_read_callback(
        property,
        [](void* to, const char*, const char* value, uint32_t serial) {
          *static_cast<Seen*>(to) = {value, serial};
        },
        &seen);
    return seen;
  };
  ASSERT_EQ(property_set("vendor.a", "1"), 0);
  const prop_info* const property = __system_property_find("vendor.a");
  ASSERT_NE(property, nullptr);
  const Seen first = read(property);
  EXPECT_EQ(first.value, "1");
  EXPECT_EQ(read(property).serial, first.serial);
  ASSERT_EQ(property_set("vendor.a", "2"), 0);
  EXPECT_EQ(read(property).value, "2");
  EXPECT_NE(read(property).serial, first.serial);
}

TEST_F(Properties, AreThoseOfLibbase) {
  ASSERT_EQ(property_set("vendor.here", "1"), 0);
  EXPECT_EQ(android::base::GetProperty("vendor.here", ""), "1");
  android::base::SetProperty("vendor.there", std::string(100, 'x'));
  EXPECT_EQ(Get("vendor.there"), std::string(91, 'x'));
}

}  // namespace
