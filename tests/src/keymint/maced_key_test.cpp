// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <openssl/evp.h>

#include <string>
#include <vector>

#include "src/keymint/ORX_ATTEST_RKP.h"
#include "tests/support/certificate_builder.h"
#include "tests/support/hex.h"
#include "tests/support/log_capture.h"
#include "tests/support/maced_key.h"

namespace android::hardware::keymint::ORX {
namespace {

using orx_test::EcKey;
using orx_test::FromHex;
using ::testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

const Bytes kUntouched = {'u'};
const std::string kEmptyInput =
    "Input buffer is empty. Begin and end cannot point to the same location.";
const std::string kTooDeep =
    "Max depth reached.  Cannot parse CBOR structures with more than 1000 levels.";
const std::string kBadHeader = "Unexpected macedPubKey Protected Params value: ";
const std::string kBadType = "Unexpected Public Key type";

std::string Repeat(const std::string& hex, int times) {
  std::string text;
  while (times-- > 0) text += hex;
  return text;
}

// A COSE_Mac0 with one piece replaced: the array's header, protected header, unprotected header,
// payload (a key without coordinates), tag.
Bytes Mac0(size_t piece, const std::string& hex) {
  std::string pieces[] = {"84", "43a10105", "a0", "47a3010203262001", "5820" + Repeat("00", 32)};
  pieces[piece] = hex;
  return FromHex(pieces[0] + pieces[1] + pieces[2] + pieces[3] + pieces[4]);
}

struct Case {
  size_t piece;
  std::string hex;
  std::string message;  // none where it is accepted
};

TEST(CheckMacedPubkeyTest, NamesTheFirstThingThatIsWrong) {
  const Case kCases[] = {
      {0, "84", ""},
      {0, "d184", ""},  // tagged as COSE_Mac0
      {0, Repeat("81", 10000), "macedPubKey parse failed: " + kTooDeep},
      {0, "9b7fffffffffffffff", "macedPubKey parse failed: Not enough entries for array."},
      {0, "a2", "Convert macedPubKey to Array failed"},
      {0, "83", "Unexpected macedPubKey Entry Count: 3"},
      {0, "8500", "Unexpected macedPubKey Entry Count: 5"},
      {1, "44a10105ff", ""},  // bytes behind the map
      {1, "44a1180105", ""},  // a long form
      {1, "a10105", "Extract macedPubKey Protected Params failed"},
      {1, "41a1", kBadHeader},
      {1, "43a10106", kBadHeader + "{\n  1 : 6,\n}"},
      {1, "45a201050400", kBadHeader + "{\n  1 : 5,\n  4 : 0,\n}"},
      {1, "44c1a10105", kBadHeader + "tag 1 {\n  1 : 5,\n}"},
      {2, "80", "Extract macedPubKey Unprotected Params failed"},
      {2, "a10400", "Unexpected macedPubKey Unprotected Params size: 1"},
      {3, "49a40102032620010506", ""},  // an entry behind the curve
      {3, "48a301020326200100", ""},    // bytes behind the key
      {3, "a3010203262001", "Extract macedPubKey Payload failed"},
      {3, "40", "Public Key parse failed: " + kEmptyInput},
      {3, "42a101", "Public Key parse failed: Not enough entries for map."},
      {3, "47a3032601022001", kBadType},        // order 3, 1, -1
      {3, "4aa4010203260481022001", kBadType},  // key operations in between
      {3, "47a3010203272001", kBadType},        // another algorithm
      {3, "4881a3010203262001", kBadType},      // one level down
      {4, "5820" + Repeat("ff", 33), ""},       // bytes behind it all
      {4, "a0", "Extract macedPubKey Tag failed"},
      {4, "581f" + Repeat("00", 31), "Unexpected macedPubKey Tag size: 31"},
      {4, "5821" + Repeat("00", 33), "Unexpected macedPubKey Tag size: 33"},
      {0, "8443a10105010203", "Extract macedPubKey Unprotected Params failed"},  // nor the rest
      {0, "8443a10105a041a000", kBadType},                                       // nor the tag
  };
  for (const Case& test : kCases) {
    SCOPED_TRACE(test.hex.substr(0, 40));
    orx_test::LogCapture log;
    Bytes payload = kUntouched;
    const bool accepted = RKP::check_maced_pubkey({Mac0(test.piece, test.hex)}, &payload);
    EXPECT_EQ(accepted, test.message.empty());
    if (!accepted) {
      EXPECT_THAT(log.messages(), ElementsAre(test.message));
      EXPECT_EQ(payload, kUntouched);
    } else {
      EXPECT_EQ(payload, FromHex(test.piece == 3 ? test.hex.substr(2) : "a3010203262001"));
    }
  }
}

TEST(CheckMacedPubkeyTest, LooksAtTheOutputLast) {
  orx_test::LogCapture log;
  EXPECT_FALSE(RKP::check_maced_pubkey({Mac0(0, "84")}, nullptr));
  EXPECT_FALSE(RKP::check_maced_pubkey({Mac0(4, "a0")}, nullptr));
  EXPECT_THAT(log.messages(),
              ElementsAre("payload_value is nullptr", "Extract macedPubKey Tag failed"));
}

TEST(P256PubKeyTest, MakesTheKeyOrNamesTheFirstThingThatIsWrong) {
  RKP::PublicKeyPtr key;
  for (const int number : {0, 1}) {
    ASSERT_TRUE(RKP::p256_pub_key(orx_test::CoseKey(EcKey(number)), &key));
    EXPECT_EQ(EVP_PKEY_cmp(key.get(), EcKey(number)), 1);
  }
  const std::string x = "215820" + Repeat("01", 32), y = "225820" + Repeat("01", 32);
  const Case kCases[] = {
      {0, "", "coseKeyData parse failed: " + kEmptyInput},
      {0, "84" + x + y, "Extract X coordinate failed"},
      {0, "a1" + y, "Extract X coordinate failed"},
      {0, "a22101" + y, "Extract X coordinate failed"},
      {0, "a1" + x, "Extract Y coordinate failed"},
      {0, "a2" + x + "22f5", "Extract Y coordinate failed"},
      {0, "a2" + x + y, "Set EC POINT failed"},  // beside the curve
      {0, "a2" + x + "225821" + Repeat("01", 33), "Set EC POINT failed"},
      {0, "a221402240", "Set EC POINT failed"},
  };
  for (const Case& test : kCases) {
    SCOPED_TRACE(test.hex);
    orx_test::LogCapture log;
    EVP_PKEY* const before = key.get();
    EXPECT_FALSE(RKP::p256_pub_key(FromHex(test.hex), &key));
    EXPECT_THAT(log.messages(), ElementsAre(test.message));
    EXPECT_EQ(key.get(), before);
  }
}

}  // namespace
}  // namespace android::hardware::keymint::ORX
