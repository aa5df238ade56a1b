// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <cppbor.h>
#include <cppbor_parse.h>
#include <gmock/gmock.h>
#include <keymaster/cppcose/cppcose.h>
#include <sys/resource.h>

#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/hex.h"

namespace {

using orx_test::FromHex;

TEST(CppborTest, PrintsAndEncodesWhatItRead) {
  const std::pair<const char*, const char*> kCases[] = {
      {"84 17 1818 18ff 190100", "[23, 24, 255, 256, ]"},
      {"83 19ffff 1a00010000 1bffffffffffffffff", "[65535, 65536, 18446744073709551615, ]"},
      {"83 20 3818 3b7fffffffffffffff", "[-1, -25, -9223372036854775808, ]"},
      {"87 43010203 40 63616263 63610062 f4 f5 f6",
       "[{0x01, 0x02, 0x03}, {}, 'abc', 'a', false, true, null, ]"},
      {"c4c5c663414553", "tag 4 tag 5 tag 6 'AES'"},
      {"8281018182028103", "[\n  [1, ],\n  [\n    [\n      2,\n      [3, ],\n    ],\n  ],\n]"},
      {"8201c18103", "[\n  1,\n  tag 1 [3, ],\n]"},
      {"a4010203260481022001", "{\n  1 : 2,\n  3 : -7,\n  4 : [2, ],\n  -1 : 1,\n}"},
      {"a10181a10203", "{\n  1 : [\n    {\n      2 : 3,\n    },\n  ],\n}"},
      {"a1a10102a0", "{\n  {\n    1 : 2,\n  } : {},\n}"},
  };
  for (const auto& [encoding, text] : kCases) {
    const auto [item, position, message] = cppbor::parse(FromHex(encoding));
    ASSERT_NE(item, nullptr) << encoding << ": " << message;
    EXPECT_EQ(cppbor::prettyPrint(item.get()), text);
    EXPECT_EQ(item->encode(), FromHex(encoding)) << encoding;
  }
}

TEST(CppborTest, PrettyPrintKeepsLimitsAndSecrets) {
  EXPECT_EQ(cppbor::prettyPrint(FromHex("43010203"), 3), "{0x01, 0x02, 0x03}");
  EXPECT_EQ(cppbor::prettyPrint(FromHex("43010203"), 2),
            "<bstr size=3 sha1=7037807198c22a7d2b0807371d763779a84fdfcf>");
  EXPECT_EQ(cppbor::prettyPrint(FromHex("a16178a1616101"), 32, {"a"}),
            "{\n  'x' : {\n    'a' : <not printed>,\n  },\n}");
  // Accepted although another encoding is the shortest, or bytes follow.
  EXPECT_EQ(cppbor::prettyPrint(FromHex("821805f90015ff")), "[5, true, ]");
  // The platform's count of keys and values wraps here.
  EXPECT_EQ(cppbor::prettyPrint(FromHex("bb8000000000000000")), "{}");
}

TEST(CppborTest, ParseSaysWhatIsWrongAndWhere) {
  const char kReserved[] =
      "Reserved additional information value or unsupported indefinite length item.";
  const char kUnsupported[] = "Unsupported floating-point or simple value.";
  const std::tuple<const char*, std::string, size_t> kCases[] = {
      {"", "Input buffer is empty. Begin and end cannot point to the same location.", 0},
      {"1b00000000000000", "Need 8 byte(s) for length field, have 7.", 0},
      {"82430102", "Need 3 byte(s) for byte string, have 2.", 1},
      {"5bffffffffffffffff", "Need 18446744073709551615 byte(s) for byte string, have 0.", 0},
      {"7bffffffffffffffff61", "Need 18446744073709551615 byte(s) for text string, have 1.", 0},
      {"018201", "", 1},
      {"9bffffffffffffffff00", "Not enough entries for array.", 0},
      {"81bb7fffffffffffffff0000", "Not enough entries for map.", 1},
      {"c1", "Not enough entries for semantic.", 0},
      {"1c", kReserved, 0},
      {"9f01ff", kReserved, 0},
      {"82 00 f7", kUnsupported, 2},
      {"3b8000000000000000", "NINT values that don't fit in int64_t are not supported.", 0},
  };
  for (const auto& [hex, says, at] : kCases) {
    SCOPED_TRACE(hex);
    const std::vector<uint8_t> encoding = FromHex(hex);
    const auto [item, position, message] = cppbor::parse(encoding);
    EXPECT_EQ(message, says);
    EXPECT_EQ(item == nullptr, !message.empty());
    EXPECT_EQ(position, encoding.data() + at);
  }
}

TEST(CppborTest, NestingEndsAtAThousandLevels) {
  for (const uint8_t opener : {0x81, 0xA1, 0xC1}) {
    std::vector<uint8_t> deep(10000, opener);
    const auto [item, position, message] = cppbor::parse(deep);
    EXPECT_EQ(message,
              "Max depth reached.  Cannot parse CBOR structures with more than 1000 levels.");
    EXPECT_EQ(position, deep.data() + 1001);

    // The deepest that is accepted can be printed, compared and released.
    deep.resize(1000);
    deep.resize(2001, 0x00);
    const auto accepted = std::move(std::get<0>(cppbor::parse(deep)));
    ASSERT_NE(accepted, nullptr);
    EXPECT_NE(cppbor::prettyPrint(accepted.get()), "");
    EXPECT_EQ(*std::get<0>(cppbor::parse(accepted->encode())), *accepted);
  }
}

std::vector<std::string> logged_errors;

int64_t PeakMemoryKb() {
  struct rusage usage {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST(CppborTest, PrettyPrintRefusesWhatItCannotPrintWithOneErrorLine) {
  __android_log_set_logger([](const __android_logger_data* data, const char* message) {
    if (data->priority == ANDROID_LOG_ERROR) logged_errors.push_back(message);
  });
  EXPECT_EQ(cppbor::prettyPrint(FromHex("a1")), "");
  // Every entry of the innermost array is a line behind 1800 blanks, 470 MB in all.
  std::vector<uint8_t> wide(900, 0x81);
  for (uint8_t byte : {0x9a, 0x00, 0x04, 0x00, 0x00}) wide.push_back(byte);
  wide.resize(wide.size() + 0x40000, 0x80);
  const auto item = std::move(std::get<0>(cppbor::parse(wide)));
  const int64_t before = PeakMemoryKb();
  EXPECT_EQ(cppbor::prettyPrint(item.get()), "");
  EXPECT_LT(PeakMemoryKb() - before, 200 << 10) << "what would be cut off is not made first";
  using testing::HasSubstr;
  EXPECT_THAT(logged_errors,
              testing::ElementsAre(HasSubstr("not valid CBOR: Not enough entries for map."),
                                   HasSubstr("longer than 16777216 bytes")));
}

TEST(CppborTest, ValuesBecomeItemsAndFindThemAsKeys) {
  EXPECT_EQ(cppbor::Array("a", std::string("b"), FromHex("01"), false, nullptr,
                          cppbor::SemanticTag(17, cppbor::Map(cppcose::CoseKey::CURVE, "x")))
                .encode(),
            FromHex("86 6161 6162 4101 f4 f6 d1a1206178"));

  const cppbor::Map map(-2, 1, -2, 2, cppbor::SemanticTag(5, 5), 3, true, 4, "a", 5);
  EXPECT_EQ(*map.get(cppcose::CoseKey::PUBKEY_X), cppbor::Uint(1)) << "first of duplicates";
  EXPECT_EQ(*map.get(5), cppbor::Uint(3)) << "a key's tag does not count";
  EXPECT_EQ(*map.get(true), cppbor::Uint(4)) << "a bool is no number";
  EXPECT_EQ(*map.get("a"), cppbor::Uint(5));
  EXPECT_FALSE(map.get(1));
}

TEST(CppborTest, EqualItemsHaveOneTypeAndValueWhateverTheirTags) {
  // All different from one another.
  const char* const kItems[] = {"00",     "01",     "20",     "21",   "40",   "4100",
                                "60",     "6100",   "80",     "8100", "8101", "a0",
                                "a10000", "a10001", "a10100", "f4",   "f5",   "f6"};
  for (const char* left : kItems) {
    const auto item = std::move(std::get<0>(cppbor::parse(FromHex(left))));
    for (const char* right : kItems) {
      const auto other =
          std::move(std::get<0>(cppbor::parse(FromHex("c1c2" + std::string(right)))));
      EXPECT_EQ(*item == *other, left == right) << left << " and tagged " << right;
      EXPECT_EQ(*other == *item, left == right) << "tagged " << right << " and " << left;
    }
  }
  EXPECT_EQ(cppbor::SemanticTag(1, 5), cppbor::SemanticTag(2, 5));
}

template <typename A, typename B, typename = void>
struct AreComparable : std::false_type {};
template <typename A, typename B>
struct AreComparable<A, B, std::void_t<decltype(std::declval<A>() == std::declval<B>())>>
    : std::true_type {};

TEST(CppborTest, DifferentClassesCompareAsItemsAlone) {
  using cppbor::Item;
  EXPECT_TRUE((AreComparable<cppbor::Uint&, cppbor::Uint&>::value));
  EXPECT_TRUE((AreComparable<Item&, cppbor::Uint&>::value));
  EXPECT_FALSE((AreComparable<cppbor::Uint&, cppbor::Nint&>::value));
  EXPECT_FALSE((AreComparable<cppbor::SemanticTag&, cppbor::Uint&>::value));
}

}  // namespace
