// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <cppbor.h>
#include <cppbor_parse.h>
#include <gmock/gmock.h>
#include <keymaster/cppcose/cppcose.h>

#include <limits>
#include <string>
#include <vector>

#include "support/hex.h"

namespace {

using orx_test::FromHex;
using testing::HasSubstr;

std::vector<uint8_t> Counting(size_t size) {
  std::vector<uint8_t> bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i);
  return bytes;
}

struct PrintCase {
  const char* encoding;
  const char* text;
  size_t limit = 32;
  std::vector<std::string> hidden = {};
};

TEST(CppborTest, PrettyPrintMatchesThePlatform) {
  const PrintCase kCases[] = {
      {"00", "0"},
      {"17", "23"},
      {"1818", "24"},
      {"1bffffffffffffffff", "18446744073709551615"},
      {"20", "-1"},
      {"3818", "-25"},
      {"3903e7", "-1000"},
      {"3b7fffffffffffffff", "-9223372036854775808"},
      {"40", "{}"},
      {"43010203", "{0x01, 0x02, 0x03}"},
      {"43010203", "<bstr size=3 sha1=7037807198c22a7d2b0807371d763779a84fdfcf>", 2},
      {"43010203", "<bstr size=3 sha1=7037807198c22a7d2b0807371d763779a84fdfcf>", 0},
      {"40", "{}", 0},
      {"60", "''"},
      {"63616263", "'abc'"},
      {"63610062", "'a'"},
      {"622727", "''''"},
      {"f4", "false"},
      {"f5", "true"},
      {"f6", "null"},
      {"c100", "tag 1 0"},
      {"c4c5c663414553", "tag 4 tag 5 tag 6 'AES'"},
      {"81c1f5", "[tag 1 true, ]"},
      {"80", "[]"},
      {"83010203", "[1, 2, 3, ]"},
      {"8120", "[-1, ]"},
      {"820180", "[\n  1,\n  [],\n]"},
      {"8201a0", "[\n  1,\n  {},\n]"},
      {"8201820304", "[\n  1,\n  [3, 4, ],\n]"},
      {"8201c18103", "[\n  1,\n  tag 1 [3, ],\n]"},
      {"8281018182028103", "[\n  [1, ],\n  [\n    [\n      2,\n      [3, ],\n    ],\n  ],\n]"},
      {"a0", "{}"},
      {"a10105", "{\n  1 : 5,\n}"},
      {"a10106", "{\n  1 : 6,\n}"},
      {"a20105044199", "{\n  1 : 5,\n  4 : {0x99},\n}"},
      {"a3010203262001", "{\n  1 : 2,\n  3 : -7,\n  -1 : 1,\n}"},
      {"a3032601022001", "{\n  3 : -7,\n  1 : 2,\n  -1 : 1,\n}"},
      {"a4010203260481022001", "{\n  1 : 2,\n  3 : -7,\n  4 : [2, ],\n  -1 : 1,\n}"},
      {"a501020326200121420a0b22420c0d",
       "{\n  1 : 2,\n  3 : -7,\n  -1 : 1,\n  -2 : {0x0a, 0x0b},\n  -3 : {0x0c, 0x0d},\n}"},
      {"a101820304", "{\n  1 : [3, 4, ],\n}"},
      {"a101820380", "{\n  1 : [\n    3,\n    [],\n  ],\n}"},
      {"a101a102a10304", "{\n  1 : {\n    2 : {\n      3 : 4,\n    },\n  },\n}"},
      {"a10181a10203", "{\n  1 : [\n    {\n      2 : 3,\n    },\n  ],\n}"},
      {"a1a10102f4", "{\n  {\n    1 : 2,\n  } : false,\n}"},
      {"a201a1020304f6", "{\n  1 : {\n    2 : 3,\n  },\n  4 : null,\n}"},
      {"a1f501", "{\n  true : 1,\n}"},
      {"a1416101", "{\n  {0x61} : 1,\n}"},
      {"a2616101616202", "{\n  'a' : <not printed>,\n  'b' : 2,\n}", 32, {"a"}},
      {"a16178a1616101", "{\n  'x' : {\n    'a' : <not printed>,\n  },\n}", 32, {"a"}},
      {"a16178a1616101", "{\n  'x' : <not printed>,\n}", 32, {"x"}},
      {"a10102", "{\n  1 : 2,\n}", 32, {"1"}},
      {"c2a10105", "tag 2 {\n  1 : 5,\n}"},
      {"d183010203", "tag 17 [1, 2, 3, ]"},
      // Accepted although another encoding is the shortest, or bytes follow.
      {"a10105ff", "{\n  1 : 5,\n}"},
      {"a1180105", "{\n  1 : 5,\n}"},
      {"1800", "0"},
      {"190005", "5"},
      {"5800", "{}"},
      {"f814", "false"},
      {"f90015", "true"},
      {"f816", "null"},
      {"62fffe", "'\xff\xfe'"},
      // The platform's count of keys and values wraps here.
      {"bb8000000000000000", "{}"},
  };
  for (const PrintCase& test : kCases) {
    SCOPED_TRACE(test.encoding);
    EXPECT_EQ(cppbor::prettyPrint(FromHex(test.encoding), test.limit, test.hidden), test.text);
  }
  EXPECT_EQ(cppbor::prettyPrint(nullptr), "<NULL>");
}

TEST(CppborTest, PrettyPrintShowsByteStringsUpToTheLimitInFull) {
  const cppbor::Bstr at_limit(Counting(32));
  EXPECT_THAT(cppbor::prettyPrint(&at_limit), testing::EndsWith(", 0x1e, 0x1f}"));
  const cppbor::Bstr longer(Counting(33));
  EXPECT_EQ(cppbor::prettyPrint(&longer),
            "<bstr size=33 sha1=eb90bce364635c4c23b49f493f0043579bc85c17>");
}

struct ErrorCase {
  const char* encoding;
  const char* message;
  size_t position;
};

constexpr char kReserved[] =
    "Reserved additional information value or unsupported indefinite length item.";
constexpr char kUnsupported[] = "Unsupported floating-point or simple value.";

TEST(CppborTest, ParseSaysWhatIsWrongAndWhere) {
  const ErrorCase kCases[] = {
      {"", "Input buffer is empty. Begin and end cannot point to the same location.", 0},
      {"18", "Need 1 byte(s) for length field, have 0.", 0},
      {"19ff", "Need 2 byte(s) for length field, have 1.", 0},
      {"1affffff", "Need 4 byte(s) for length field, have 3.", 0},
      {"1b00000000000000", "Need 8 byte(s) for length field, have 7.", 0},
      {"42ff", "Need 2 byte(s) for byte string, have 1.", 0},
      {"82430102", "Need 3 byte(s) for byte string, have 2.", 1},
      {"5bffffffffffffffff", "Need 18446744073709551615 byte(s) for byte string, have 0.", 0},
      {"61", "Need 1 byte(s) for text string, have 0.", 0},
      {"7bffffffffffffffff61", "Need 18446744073709551615 byte(s) for text string, have 1.", 0},
      {"81", "Not enough entries for array.", 0},
      {"8201", "Not enough entries for array.", 0},
      {"018201", "", 1},
      {"9bffffffffffffffff00", "Not enough entries for array.", 0},
      {"a1", "Not enough entries for map.", 0},
      {"a101", "Not enough entries for map.", 0},
      {"bb7fffffffffffffff0000", "Not enough entries for map.", 0},
      {"81a101", "Not enough entries for map.", 1},
      {"c1", "Not enough entries for semantic.", 0},
      {"1c", kReserved, 0},
      {"5f4101ff", kReserved, 0},
      {"9f01ff", kReserved, 0},
      {"ff", kReserved, 0},
      {"81ff", kReserved, 1},
      {"f7", kUnsupported, 0},
      {"e0", kUnsupported, 0},
      {"f97e00", kUnsupported, 0},
      {"fa47c35000", kUnsupported, 0},
      {"8200f7", kUnsupported, 2},
      {"3b8000000000000000", "NINT values that don't fit in int64_t are not supported.", 0},
      {"f8", "Need 1 byte(s) for length field, have 0.", 0},
  };
  for (const ErrorCase& test : kCases) {
    SCOPED_TRACE(test.encoding);
    const std::vector<uint8_t> encoding = FromHex(test.encoding);
    const auto [item, position, message] = cppbor::parse(encoding);
    EXPECT_EQ(message, test.message);
    EXPECT_EQ(item == nullptr, !message.empty());
    EXPECT_EQ(position, encoding.data() + test.position);
  }
  EXPECT_EQ(std::get<2>(cppbor::parse(static_cast<const cppbor::Bstr*>(nullptr))),
            "Null Bstr pointer");
}

// A COSE_Mac0 with a key, and all other kinds of items behind it in one array.
std::vector<uint8_t> EveryKindOfItem() {
  return cppbor::Array(cppbor::Array(cppbor::Bstr(cppbor::Map(1, 5).encode()), cppbor::Map(),
                                     cppbor::Map(1, 2, 3, -7, -1, 1, -2, Counting(32)).encode(),
                                     Counting(32)),
                       cppbor::SemanticTag(40001, cppbor::Array(true, nullptr, "text")), 1000000,
                       -300)
      .encode();
}

TEST(CppborTest, EveryTruncationOfAValidItemIsRefused) {
  const std::vector<uint8_t> whole = EveryKindOfItem();
  ASSERT_NE(std::get<0>(cppbor::parse(whole)), nullptr);
  for (size_t size = 0; size < whole.size(); ++size) {
    // A copy of its own, so that a read behind its end is seen.
    const std::vector<uint8_t> cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
    const auto [item, position, message] = cppbor::parse(cut);
    EXPECT_EQ(item, nullptr) << size;
    EXPECT_NE(message, "") << size;
    EXPECT_LE(position, cut.data() + cut.size()) << size;
  }
}

TEST(CppborTest, EveryBitFlipEndsInAnItemOrAMessage) {
  std::vector<uint8_t> bytes = EveryKindOfItem();
  for (size_t bit = 0; bit < bytes.size() * 8; ++bit) {
    bytes[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    const auto [item, position, message] = cppbor::parse(bytes);
    EXPECT_EQ(item == nullptr, !message.empty()) << bit;
    if (item != nullptr) {
      // What was read encodes to something that reads as the same.
      const auto again = cppbor::parse(item->encode());
      ASSERT_NE(std::get<0>(again), nullptr) << bit;
      EXPECT_EQ(cppbor::prettyPrint(std::get<0>(again).get()), cppbor::prettyPrint(item.get()));
    }
    bytes[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
  }
}

TEST(CppborTest, NestingEndsAtAThousandLevels) {
  for (const uint8_t opener : {0x81, 0xA1, 0xC1}) {
    std::vector<uint8_t> deep(10000, opener);
    deep.push_back(0x00);
    const auto [item, position, message] = cppbor::parse(deep);
    EXPECT_EQ(item, nullptr);
    EXPECT_EQ(message,
              "Max depth reached.  Cannot parse CBOR structures with more than 1000 levels.");
    EXPECT_EQ(position, deep.data() + 1001);

    // The deepest that is accepted can be printed, compared, copied and released.
    std::vector<uint8_t> allowed(1000, opener);
    allowed.push_back(0x00);
    if (opener == 0xA1) allowed.insert(allowed.end(), 1000, 0x00);
    const auto accepted = cppbor::parse(allowed);
    ASSERT_NE(std::get<0>(accepted), nullptr) << std::get<2>(accepted);
    EXPECT_NE(cppbor::prettyPrint(std::get<0>(accepted).get()), "");
    EXPECT_EQ(*std::get<0>(accepted)->clone(), *std::get<0>(accepted));
  }
}

std::vector<std::string> logged_errors;

TEST(CppborTest, PrettyPrintRefusesWhatItCannotPrintWithOneErrorLine) {
  __android_log_set_logger([](const __android_logger_data* data, const char* message) {
    if (data->priority == ANDROID_LOG_ERROR) logged_errors.push_back(message);
  });
  EXPECT_EQ(cppbor::prettyPrint(FromHex("a1")), "");
  ASSERT_EQ(logged_errors.size(), 1u);
  EXPECT_THAT(logged_errors[0], HasSubstr("Data to pretty print is not valid CBOR: Not enough "
                                          "entries for map."));

  // Every entry of the innermost array is a line behind 1800 blanks.
  std::vector<uint8_t> wide(900, 0x81);
  for (uint8_t byte : FromHex("9a00010000")) wide.push_back(byte);
  wide.insert(wide.end(), 0x10000, 0x80);
  EXPECT_EQ(cppbor::prettyPrint(wide), "");
  ASSERT_EQ(logged_errors.size(), 2u);
  EXPECT_THAT(logged_errors[1], HasSubstr("longer than 16777216 bytes"));
}

TEST(CppborTest, EncodingUsesTheShortestHeader) {
  const struct {
    int64_t value;
    const char* encoding;
  } kCases[] = {
      {0, "00"},
      {23, "17"},
      {24, "1818"},
      {255, "18ff"},
      {256, "190100"},
      {65535, "19ffff"},
      {65536, "1a00010000"},
      {0xFFFFFFFF, "1affffffff"},
      {0x100000000, "1b0000000100000000"},
      {-1, "20"},
      {-24, "37"},
      {-25, "3818"},
      {-70000, "3a0001116f"},
      {std::numeric_limits<int64_t>::min(), "3b7fffffffffffffff"},
  };
  for (const auto& test : kCases) {
    const std::vector<uint8_t> encoding = cppbor::Array(test.value).encode();
    EXPECT_EQ(std::vector<uint8_t>(encoding.begin() + 1, encoding.end()), FromHex(test.encoding))
        << test.value;
  }
  EXPECT_EQ(cppbor::Uint(std::numeric_limits<uint64_t>::max()).encode(),
            FromHex("1bffffffffffffffff"));
  EXPECT_EQ(cppbor::Array("a", std::string("b"), FromHex("01"), false, nullptr,
                          cppbor::SemanticTag(17, cppbor::Map(cppcose::CoseKey::CURVE, "x")))
                .encode(),
            FromHex("86616161624101f4f6d1a1206178"));
}

TEST(CppborTest, MapGetFindsTheFirstEntryOfThatKey) {
  const auto [item, position, message] = cppbor::parse(FromHex("a621012102c10503f5046161050006"));
  ASSERT_NE(item, nullptr) << message;
  const cppbor::Map* map = item->asMap();
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(map->get(cppcose::CoseKey::PUBKEY_X)->asUint()->value(), 1) << "first of duplicates";
  EXPECT_EQ(map->get(5)->asUint()->value(), 3) << "a key's tag does not count";
  EXPECT_EQ(map->get(true)->asUint()->value(), 4) << "a bool is no number";
  EXPECT_EQ(map->get("a")->asUint()->value(), 5);
  EXPECT_EQ(map->get(0)->asUint()->value(), 6);
  EXPECT_FALSE(map->get(1));
}

TEST(CppborTest, CanonicalOrderIsShorterFirstThenBytewise) {
  cppbor::Map map("bb", 0, 300, 0, "a", 0, 24, 0, -1, 0, 10, 0);
  EXPECT_EQ(map.encode(), FromHex("a66262620019012c0061610018180020000a00"));
  EXPECT_FALSE(map.isCanonical());
  EXPECT_EQ(map.canonicalize().encode(), FromHex("a60a00200018180061610019012c0062626200"));
  EXPECT_TRUE(map.isCanonical());
  EXPECT_FALSE(map.add(1, 1).isCanonical());

  cppbor::Map outer(2, cppbor::Map(2, 0, 1, 0), 1, 0);
  EXPECT_EQ(outer.canonicalize(true).encode(), FromHex("a2010002a201000200"));
}

TEST(CppborTest, TaggedItemsBehaveAsTheirContentExceptBoolAndNull) {
  const auto tagged = cppbor::parse(FromHex("c1c2f5"));
  const cppbor::Item& item = *std::get<0>(tagged);
  EXPECT_EQ(item.type(), cppbor::SIMPLE);
  EXPECT_EQ(item.semanticTagCount(), 2u);
  EXPECT_EQ(item.semanticTag(), 2u);
  EXPECT_EQ(item.semanticTag(1), 1u);
  EXPECT_NE(item.asSimple(), nullptr);
  EXPECT_EQ(item.asBool(), nullptr);
  EXPECT_EQ(item.asArray(), nullptr);
  EXPECT_EQ(item, cppbor::Bool(true)) << "tags do not count";
  EXPECT_NE(item, cppbor::Bool(false));

  const auto array = cppbor::parse(FromHex("d18100"));
  ASSERT_NE(std::get<0>(array)->asArray(), nullptr);
  EXPECT_EQ(std::get<0>(array)->asArray()->size(), 1u);
  EXPECT_EQ(std::get<0>(array)->encode(), FromHex("d18100"));
}

}  // namespace
