// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <openssl/evp.h>

#include <string>
#include <vector>

#include "keymint/ORX_ATTEST_RKP.h"
#include "support/certificate_builder.h"
#include "support/crypto_memory.h"
#include "support/failing_crypto.h"
#include "support/hex.h"
#include "support/log_capture.h"
#include "support/maced_key.h"

namespace android::hardware::keymint::ORX {
namespace {

using orx_test::CoseKey;
using orx_test::EcKey;
using orx_test::FromHex;
using orx_test::MacedKey;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Bytes = std::vector<uint8_t>;

const Bytes kUntouched = {'u'};

constexpr char kEmptyInput[] =
    "Input buffer is empty. Begin and end cannot point to the same location.";
constexpr char kTooDeep[] =
    "Max depth reached.  Cannot parse CBOR structures with more than 1000 levels.";
constexpr char kBadHeader[] = "Unexpected macedPubKey Protected Params value: ";
constexpr char kBadType[] = "Unexpected Public Key type";

std::string Repeat(const std::string& hex, int times) {
  std::string text;
  while (times-- > 0) text += hex;
  return text;
}

// A COSE_Mac0 in hexadecimal: an array of four whose pieces are, in order, the protected header,
// the unprotected header, the payload (a key without coordinates) and the tag.
std::vector<std::string> Pieces() {
  return {"84", "43a10105", "a0", "47a3010203262001", "5820" + Repeat("00", 32)};
}

// The same with one piece replaced; piece 0 is what opens the array.
Bytes Replaced(size_t piece, const std::string& hex) {
  std::vector<std::string> pieces = Pieces();
  pieces[piece] = hex;
  std::string whole;
  for (const std::string& each : pieces) whole += each;
  return FromHex(whole);
}

TEST(CheckMacedPubkeyTest, HandsOutThePayloadOfWhatItAccepts) {
  const struct {
    const char* title;
    size_t piece;
    std::string hex;
    std::string payload = "a3010203262001";
  } kCases[] = {
      {"as it should be", 0, "84"},
      {"tagged as COSE_Mac0", 0, "d184"},
      {"bytes behind the protected header", 1, "44a10105ff"},
      {"a long form in the protected header", 1, "44a1180105"},
      {"an entry behind the curve", 3, "49a40102032620010506", "a40102032620010506"},
      {"an entry before the key type", 3, "49a40209010203262001", "a40209010203262001"},
      {"bytes behind the key", 3, "48a301020326200100", "a301020326200100"},
      {"another tag, and bytes behind it", 4, "5820" + Repeat("ff", 33)},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.title);
    orx_test::LogCapture log;
    Bytes payload = kUntouched;
    EXPECT_TRUE(RKP::check_maced_pubkey({Replaced(test.piece, test.hex)}, &payload));
    EXPECT_EQ(payload, FromHex(test.payload));
    EXPECT_THAT(log.messages(), IsEmpty());
  }
}

TEST(CheckMacedPubkeyTest, NamesTheFirstThingThatIsWrong) {
  const struct {
    const char* title;
    size_t piece;
    std::string hex;
    std::string message;
  } kCases[] = {
      {"nested deeply", 0, Repeat("81", 10000),
       std::string("macedPubKey parse failed: ") + kTooDeep},
      {"a huge count", 0, "9b7fffffffffffffff",
       "macedPubKey parse failed: Not enough entries for array."},
      {"a map", 0, "a2", "Convert macedPubKey to Array failed"},
      {"no entries", 0, "80", "Unexpected macedPubKey Entry Count: 0"},
      {"three entries", 0, "83", "Unexpected macedPubKey Entry Count: 3"},
      {"five entries", 0, "8500", "Unexpected macedPubKey Entry Count: 5"},
      {"a bare map", 1, "a10105", "Extract macedPubKey Protected Params failed"},
      {"no CBOR", 1, "41a1", kBadHeader},
      {"another algorithm", 1, "43a10106", std::string(kBadHeader) + "{\n  1 : 6,\n}"},
      {"one entry more", 1, "45a201050400", std::string(kBadHeader) + "{\n  1 : 5,\n  4 : 0,\n}"},
      {"a tagged map", 1, "44c1a10105", std::string(kBadHeader) + "tag 1 {\n  1 : 5,\n}"},
      {"an array", 2, "80", "Extract macedPubKey Unprotected Params failed"},
      {"an entry", 2, "a10400", "Unexpected macedPubKey Unprotected Params size: 1"},
      {"a bare key", 3, "a3010203262001", "Extract macedPubKey Payload failed"},
      {"nothing", 3, "40", std::string("Public Key parse failed: ") + kEmptyInput},
      {"cut off", 3, "42a101", "Public Key parse failed: Not enough entries for map."},
      {"nested deeply", 3, "592710" + Repeat("81", 10000),
       std::string("Public Key parse failed: ") + kTooDeep},
      {"another order", 3, "47a3032601022001", kBadType},
      {"key operations in between", 3, "4aa4010203260481022001", kBadType},
      {"another key type", 3, "47a3010103262001", kBadType},
      {"another algorithm", 3, "47a3010203272001", kBadType},
      {"another curve", 3, "47a3010203262002", kBadType},
      {"the key one level down", 3, "4881a3010203262001", kBadType},
      {"a map", 4, "a0", "Extract macedPubKey Tag failed"},
      {"31 bytes", 4, "581f" + Repeat("00", 31), "Unexpected macedPubKey Tag size: 31"},
      {"33 bytes", 4, "5821" + Repeat("00", 33), "Unexpected macedPubKey Tag size: 33"},
      {"all three behind the protected header", 0, "8443a10105010203",
       "Extract macedPubKey Unprotected Params failed"},
      {"payload and tag", 0, "8443a10105a041a000", kBadType},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE("piece " + std::to_string(test.piece) + ": " + test.title);
    orx_test::LogCapture log;
    Bytes payload = kUntouched;
    EXPECT_FALSE(RKP::check_maced_pubkey({Replaced(test.piece, test.hex)}, &payload));
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
}

TEST(P256PubKeyTest, NamesTheFirstThingThatIsWrong) {
  const std::string x = "215820" + Repeat("01", 32), y = "225820" + Repeat("01", 32);
  const struct {
    const char* title;
    std::string hex;
    std::string message;
  } kCases[] = {
      {"nothing", "", std::string("coseKeyData parse failed: ") + kEmptyInput},
      {"nested deeply", Repeat("81", 10000), std::string("coseKeyData parse failed: ") + kTooDeep},
      {"an array", "84" + x + y, "Extract X coordinate failed"},
      {"no x", "a1" + y, "Extract X coordinate failed"},
      {"x of another type", "a22101" + y, "Extract X coordinate failed"},
      {"no y", "a1" + x, "Extract Y coordinate failed"},
      {"y of another type", "a2" + x + "22f5", "Extract Y coordinate failed"},
      {"a point beside the curve", "a2" + x + y, "Set EC POINT failed"},
      {"a short x", "a2214101" + y, "Set EC POINT failed"},
      {"a long y", "a2" + x + "225821" + Repeat("01", 33), "Set EC POINT failed"},
      {"empty coordinates", "a221402240", "Set EC POINT failed"},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.title);
    orx_test::LogCapture log;
    RKP::PublicKeyPtr key(EVP_PKEY_new());
    EVP_PKEY* const before = key.get();
    EXPECT_FALSE(RKP::p256_pub_key(FromHex(test.hex), &key));
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
