// SPDX-License-Identifier: Apache-2.0
#include <cppbor.h>
#include <cppbor_parse.h>
#include <gmock/gmock.h>
#include <openssl/evp.h>

#include <memory>
#include <string>
#include <vector>

#include "keymint/ORX_ATTEST_RKP.h"
#include "support/certificate_builder.h"
#include "support/crypto_memory.h"
#include "support/failing_crypto.h"
#include "support/log_capture.h"
#include "support/maced_key.h"

namespace android::hardware::keymint::ORX {
namespace {

using cppbor::Array;
using cppbor::Map;
using cppbor::SemanticTag;
using orx_test::CoseKey;
using orx_test::EcKey;
using orx_test::MacedKey;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Bytes = std::vector<uint8_t>;

const Bytes kUntouched = {'u'};
const Bytes kTag(32, 0xAA);
const Bytes kNestedDeeply(10000, 0x81);
constexpr char kTooDeep[] =
    "Max depth reached.  Cannot parse CBOR structures with more than 1000 levels.";

Bytes Protected() {
  return Map(1, 5).encode();
}

// An encoded COSE_Key with these labels and values in turn.
template <typename... Params>
Bytes KeyWith(Params&&... params) {
  return Map(std::forward<Params>(params)...).encode();
}

Bytes Join(Bytes first, const Bytes& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

struct Case {
  const char* title;
  Bytes input;
  std::string message;
};

TEST(CheckMacedPubkeyTest, HandsOutThePayloadOfWhatItAccepts) {
  const Bytes key = CoseKey(EcKey(0));
  const struct {
    const char* title;
    Bytes maced_key;
    Bytes payload;
  } kCases[] = {
      {"as the component makes it", MacedKey(key), key},
      {"tagged as COSE_Mac0", SemanticTag(17, Array(Protected(), Map(), key, kTag)).encode(), key},
      {"bytes behind it", Join(MacedKey(key), {0xff}), key},
      {"bytes behind the protected header",
       Array(Join(Protected(), {0xff}), Map(), key, kTag).encode(), key},
      {"a long form in the protected header",
       Array(Bytes{0xa1, 0x18, 0x01, 0x05}, Map(), key, kTag).encode(), key},
      {"a tag of zeros", Array(Protected(), Map(), key, Bytes(32)).encode(), key},
      {"an entry behind the curve", MacedKey(KeyWith(1, 2, 3, -7, -1, 1, 5, 6)),
       KeyWith(1, 2, 3, -7, -1, 1, 5, 6)},
      {"an entry before the key type", MacedKey(KeyWith(2, 9, 1, 2, 3, -7, -1, 1)),
       KeyWith(2, 9, 1, 2, 3, -7, -1, 1)},
      {"bytes behind the key", MacedKey(Join(key, {0x00})), Join(key, {0x00})},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.title);
    orx_test::LogCapture log;
    Bytes payload = kUntouched;
    EXPECT_TRUE(RKP::check_maced_pubkey({test.maced_key}, &payload));
    EXPECT_EQ(payload, test.payload);
    EXPECT_THAT(log.messages(), IsEmpty());
  }
}

TEST(CheckMacedPubkeyTest, NamesTheFirstThingThatIsWrong) {
  const Bytes key = CoseKey(EcKey(0));
  const Case kCases[] = {
      {"nothing",
       {},
       "macedPubKey parse failed: Input buffer is empty. Begin and end cannot point to the same "
       "location."},
      {"nested deeply", kNestedDeeply, std::string("macedPubKey parse failed: ") + kTooDeep},
      {"a huge count",
       {0x9b, 0x7f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff},
       "macedPubKey parse failed: Not enough entries for array."},
      {"a map", Map(0, Protected(), 1, Map()).encode(), "Convert macedPubKey to Array failed"},
      {"no entries", Array().encode(), "Unexpected macedPubKey Entry Count: 0"},
      {"three entries", Array(Protected(), Map(), key).encode(),
       "Unexpected macedPubKey Entry Count: 3"},
      {"five entries", Array(Protected(), Map(), key, kTag, kTag).encode(),
       "Unexpected macedPubKey Entry Count: 5"},
      {"a protected header outside a byte string", Array(Map(1, 5), Map(), key, kTag).encode(),
       "Extract macedPubKey Protected Params failed"},
      {"a protected header that does not parse", Array(Bytes{0xa1}, Map(), key, kTag).encode(),
       "Unexpected macedPubKey Protected Params value: "},
      {"another algorithm", Array(Map(1, 6).encode(), Map(), key, kTag).encode(),
       "Unexpected macedPubKey Protected Params value: {\n  1 : 6,\n}"},
      {"one protected entry more", Array(Map(1, 5, 4, kTag).encode(), Map(), key, kTag).encode(),
       "Unexpected macedPubKey Protected Params value: {\n  1 : 5,\n  4 : "
       "{0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, "
       "0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa, "
       "0xaa, 0xaa, 0xaa, 0xaa},\n}"},
      {"a tagged protected header",
       Array(SemanticTag(1, Map(1, 5)).encode(), Map(), key, kTag).encode(),
       "Unexpected macedPubKey Protected Params value: tag 1 {\n  1 : 5,\n}"},
      {"an unprotected header that is no map", Array(Protected(), Array(), key, kTag).encode(),
       "Extract macedPubKey Unprotected Params failed"},
      {"an unprotected entry", Array(Protected(), Map(4, "id"), key, kTag).encode(),
       "Unexpected macedPubKey Unprotected Params size: 1"},
      {"no payload", Array(Protected(), Map(), nullptr, kTag).encode(),
       "Extract macedPubKey Payload failed"},
      {"an empty payload", MacedKey({}),
       "Public Key parse failed: Input buffer is empty. Begin and end cannot point to the same "
       "location."},
      {"a payload that is cut off", MacedKey({0xa1, 0x01}),
       "Public Key parse failed: Not enough entries for map."},
      {"a payload nested deeply", MacedKey(kNestedDeeply),
       std::string("Public Key parse failed: ") + kTooDeep},
      {"another order", MacedKey(KeyWith(3, -7, 1, 2, -1, 1)), "Unexpected Public Key type"},
      {"a key id in between", MacedKey(KeyWith(1, 2, 2, 9, 3, -7, -1, 1)),
       "Unexpected Public Key type"},
      {"key operations in between", MacedKey(KeyWith(1, 2, 3, -7, 4, Array(2, 1), -1, 1)),
       "Unexpected Public Key type"},
      {"another key type", MacedKey(KeyWith(1, 1, 3, -7, -1, 1)), "Unexpected Public Key type"},
      {"another signature algorithm", MacedKey(KeyWith(1, 2, 3, -35, -1, 1)),
       "Unexpected Public Key type"},
      {"another curve", MacedKey(KeyWith(1, 2, 3, -7, -1, 2)), "Unexpected Public Key type"},
      {"the key one level down", MacedKey(Array(Map(1, 2, 3, -7, -1, 1), Map()).encode()),
       "Unexpected Public Key type"},
      {"no tag", Array(Protected(), Map(), key, Map()).encode(), "Extract macedPubKey Tag failed"},
      {"a tag of 31 bytes", Array(Protected(), Map(), key, Bytes(31)).encode(),
       "Unexpected macedPubKey Tag size: 31"},
      {"a tag of 33 bytes", Array(Protected(), Map(), key, Bytes(33)).encode(),
       "Unexpected macedPubKey Tag size: 33"},
      {"everything but the protected header", Array(Protected(), 0, 0, 0).encode(),
       "Extract macedPubKey Unprotected Params failed"},
      {"payload and tag", Array(Protected(), Map(), KeyWith(1, 2), 0).encode(),
       "Unexpected Public Key type"},
  };
  for (const Case& test : kCases) {
    SCOPED_TRACE(test.title);
    orx_test::LogCapture log;
    Bytes payload = kUntouched;
    EXPECT_FALSE(RKP::check_maced_pubkey({test.input}, &payload));
    EXPECT_THAT(log.messages(), ElementsAre(test.message));
    EXPECT_THAT(log.paths(), Each("src/keymint/ORX_ATTEST_RKP.cpp"));
    EXPECT_EQ(payload, kUntouched);
  }
}

TEST(CheckMacedPubkeyTest, LooksAtTheOutputLast) {
  orx_test::LogCapture log;
  EXPECT_FALSE(RKP::check_maced_pubkey({MacedKey(CoseKey(EcKey(0)))}, nullptr));
  EXPECT_FALSE(RKP::check_maced_pubkey({{0xa0}}, nullptr));
  EXPECT_THAT(log.messages(),
              ElementsAre("payload_value is nullptr", "Convert macedPubKey to Array failed"));
}

TEST(CheckMacedPubkeyTest, EveryBitFlipAndTruncationEndsInOneLineOrAPayload) {
  const auto check = [](const Bytes& input) {
    orx_test::LogCapture log;
    Bytes payload = kUntouched;
    const bool accepted = RKP::check_maced_pubkey({input}, &payload);
    EXPECT_THAT(log.messages(), SizeIs(accepted ? 0 : 1));
    EXPECT_EQ(payload == kUntouched, !accepted);
    return accepted;
  };
  Bytes input = MacedKey(CoseKey(EcKey(0)));
  for (size_t bit = 0; bit < input.size() * 8; ++bit) {
    input[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    check(input);
    input[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
  }
  while (!input.empty()) {
    input.pop_back();
    input.shrink_to_fit();
    EXPECT_FALSE(check(input)) << input.size() << " bytes";
  }
}

TEST(P256PubKeyTest, MakesTheKeyAndReplacesTheOneBefore) {
  RKP::PublicKeyPtr key;
  for (const int number : {0, 1}) {
    ASSERT_TRUE(RKP::p256_pub_key(CoseKey(EcKey(number)), &key));
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(EVP_PKEY_cmp(key.get(), EcKey(number)), 1);
  }
  // The first of two entries counts, and any map will do.
  const std::unique_ptr<cppbor::Item> fields = std::get<0>(cppbor::parse(CoseKey(EcKey(2))));
  const Bytes x = fields->asMap()->get(-2)->asBstr()->value();
  const Bytes y = fields->asMap()->get(-3)->asBstr()->value();
  EXPECT_TRUE(RKP::p256_pub_key(Map(-3, y, -2, x, -2, kTag).encode(), &key));
  EXPECT_EQ(EVP_PKEY_cmp(key.get(), EcKey(2)), 1);
}

TEST(P256PubKeyTest, NamesTheFirstThingThatIsWrong) {
  const Bytes coordinate(32, 0x01);
  const Case kCases[] = {
      {"nothing",
       {},
       "coseKeyData parse failed: Input buffer is empty. Begin and end cannot point to the same "
       "location."},
      {"nested deeply", kNestedDeeply, std::string("coseKeyData parse failed: ") + kTooDeep},
      {"no map", Array(coordinate, coordinate).encode(), "Extract X coordinate failed"},
      {"no x", KeyWith(-3, coordinate), "Extract X coordinate failed"},
      {"x of another type", KeyWith(-2, 1, -3, coordinate), "Extract X coordinate failed"},
      {"no y", KeyWith(-2, coordinate), "Extract Y coordinate failed"},
      {"y of another type", KeyWith(-2, coordinate, -3, true), "Extract Y coordinate failed"},
      {"a point beside the curve", KeyWith(-2, coordinate, -3, coordinate), "Set EC POINT failed"},
      {"a short x", KeyWith(-2, Bytes(31, 1), -3, coordinate), "Set EC POINT failed"},
      {"a long y", KeyWith(-2, coordinate, -3, Bytes(33, 1)), "Set EC POINT failed"},
      {"empty coordinates", KeyWith(-2, Bytes(), -3, Bytes()), "Set EC POINT failed"},
  };
  for (const Case& test : kCases) {
    SCOPED_TRACE(test.title);
    orx_test::LogCapture log;
    RKP::PublicKeyPtr key(EVP_PKEY_new());
    EVP_PKEY* const before = key.get();
    EXPECT_FALSE(RKP::p256_pub_key(test.input, &key));
    EXPECT_THAT(log.messages(), ElementsAre(test.message));
    EXPECT_EQ(key.get(), before);
  }
}

TEST(P256PubKeyTest, EachFailingCryptoCallHasItsLine) {
  const Bytes cose_key = CoseKey(EcKey(0));
  const struct {
    const char* function;
    const char* message;
  } kCases[] = {
      {"EC_KEY_new", "Init EC KEY failed"},
      {"EC_GROUP_new_by_curve_name", "Init EC GROUP failed"},
      {"EC_KEY_set_group", "Set KEY GROUP failed"},
      {"EC_POINT_new", "Init EC POINT failed"},
      {"EC_KEY_set_public_key", "Set EC KEY failed"},
      {"EVP_PKEY_new", "Init EVP PKEY failed"},
  };
  for (const auto& test : kCases) {
    const orx_test::FailingCrypto failing(test.function);
    orx_test::LogCapture log;
    RKP::PublicKeyPtr key;
    EXPECT_FALSE(RKP::p256_pub_key(cose_key, &key));
    EXPECT_THAT(log.messages(), ElementsAre(test.message));
    EXPECT_EQ(key, nullptr);
  }
  // Whether the key could be handed over is not asked; it must not leak all the same.
  const orx_test::FailingCrypto failing("EVP_PKEY_assign_EC_KEY");
  RKP::PublicKeyPtr key;
  EXPECT_TRUE(RKP::p256_pub_key(cose_key, &key));
  EXPECT_NE(key, nullptr);
}

TEST(P256PubKeyTest, MemoryThatRunsOutIsNeverLost) {
  const Bytes cose_key = CoseKey(EcKey(0));
  RKP::PublicKeyPtr key;
  ASSERT_TRUE(RKP::p256_pub_key(cose_key, &key));
  orx_test::CryptoMemory memory;
  bool failed = true;
  for (size_t allocation = 0; failed; ++allocation) {
    memory.FailAt(allocation);
    RKP::PublicKeyPtr other;
    const bool made = RKP::p256_pub_key(cose_key, &other);
    failed = memory.failed();
    EXPECT_EQ(other != nullptr, made);
    EXPECT_EQ(made, !failed) << allocation;
    other.reset();
    EXPECT_EQ(memory.live(), 0) << allocation;
  }
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
