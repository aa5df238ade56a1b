// SPDX-License-Identifier: Apache-2.0
#include <tuple>

#include "tests/tools/orx/tool_fixture.h"

namespace orx_tool {
namespace {

using testing::HasSubstr;

const std::string kHex = " --hex 000102030405060708090a0b0c0d0e0f";

class KeyCommandTest : public ToolTest {
 protected:
  // The RSA key of the case, in every form.
  void MakeRsaKey() {
    Shell(R"(cp $RSA_KEY key.pem
             openssl pkcs8 -topk8 -nocrypt -in key.pem -outform DER -out key.der
             openssl rsa -traditional -in key.pem -out pkcs1.pem
             openssl rsa -traditional -in key.pem -outform DER -out pkcs1.der
             echo '# an RSA key' >components
             i=0 names=(version n e d p q dp dq qinv)
             openssl asn1parse -inform DER -in pkcs1.der | sed -n 's/.*INTEGER *://p' |
               while read -r hex; do echo "${names[i++]} = $hex"; done |
               grep -v version >>components)");
  }

  void ImportRsaKey() {
    EXPECT_EQ(Expect({"key", "import", "51", "--pkcs8", kRsaKey}, 0, "RSA-2048").err, "");
  }

  void ExpectSigns(const std::string& id) {
    Write("data", "data");
    Expect("sign " + id + " -i @data -o @signature", 0);
    Shell("openssl dgst -sha256 -prverify $RSA_KEY -signature signature data");
  }

  bool SlotIsUsed(int slot) {
    return OrxJson("answer", "key list")["slots"][slot]["used"].asBool();
  }
};

TEST_F(KeyCommandTest, TakesRsaKeysInEveryForm) {
  MakeRsaKey();
  for (const std::string name : {"key.pem", "key.der", "pkcs1.pem", "pkcs1.der"}) {
    Expect("key import 51 --force --pkcs8 @" + name, 0, "RSA-2048");
    ExpectSigns("51");
  }
  Expect("key import 52 --rsa-components @components", 0);
  ExpectSigns("52");
}

TEST_F(KeyCommandTest, DecryptsWhatThePublicKeyEncrypted) {
  ImportRsaKey();
  Shell("printf data | openssl pkeyutl -encrypt -inkey $RSA_KEY -out cipher");
  EXPECT_EQ(Orx("rsa-decrypt 51 -i @cipher").out, "data");
  EXPECT_EQ(Orx("rsa-decrypt 51 -i @cipher --format hex").out, "64617461\n");
}

TEST_F(KeyCommandTest, RefusalsNameTheirOwnCause) {
  ImportRsaKey();
  Shell("openssl pkeyutl -encrypt -inkey $RSA_KEY -in /dev/null -out sealed");
  const std::tuple<const char*, size_t, const char*, const char*> cases[] = {
      {"rsa-decrypt 51 -i @in", 256, "", "[RSA-DATA]"},
      {"rsa-decrypt 51 -i @sealed", 0, "", "[RSA-EMPTY-MESSAGE]"},
      {"rsa-decrypt 51 -i @in", 0, "", "the input is empty [INPUT-EMPTY]"},
      {"sign 51 -i @in", 4, "begin:-62@1", "[RSA-UPGRADE]"},
      {"sign 51 -i @in", 1024001, "", "[INPUT-TOO-LARGE]"}};
  for (const auto& [words, bytes, fault, code] : cases) {
    SCOPED_TRACE(code);
    Write("in", std::string(bytes, '\1'));
    faults_ = Words(fault);
    EXPECT_THAT(Expect(words, 1, code).err,
                testing::AllOf(HasSubstr("  try: "), testing::Not(HasSubstr("try: Import"))));
  }
  Write("in", std::string(1024000, 'x'));
  Expect("sign 51 -i @in -o @signature", 0);
}

// A block of RFC 8017, 7.2.1, with `end` at its end.
std::string Block(char leading, char type, size_t padding, const std::string& end) {
  return std::string({leading, type}) + std::string(padding, 'p') + end;
}

TEST_F(KeyCommandTest, ABadCiphertextIsNoBadKey) {
  ImportRsaKey();
  const std::string data("\0data", 5);
  const std::tuple<const char*, std::string, const char*, int> rows[] = {
      {"good", Block(0, 2, 249, data), "cat raw", 0},
      {"block type 0", Block(0, 0, 249, data), "cat raw", 1},
      {"block type 1", Block(0, 1, 249, data), "cat raw", 1},
      {"leading byte", Block(1, 2, 249, data), "cat raw", 1},
      {"7 bytes of padding", Block(0, 2, 7, '\0' + std::string(246, 'd')), "cat raw", 1},
      {"no zero", Block(0, 2, 254, ""), "cat raw", 1},
      {"zeros", std::string(256, '\0'), "cat raw", 1},
      {"cut", Block(0, 2, 249, data), "tail -c +2 raw", 1},
      {"too long", Block(0, 2, 249, data), "cat raw raw", 1},
      {"beyond the modulus", Block(0, 2, 249, data), "tr '\\0-\\376' '\\377' <raw", 1}};
  for (const auto& [title, block, sealed, exit_code] : rows) {
    SCOPED_TRACE(title);
    Write("block", block);
    Shell(
        "openssl pkeyutl -encrypt -pkeyopt rsa_padding_mode:none -inkey $RSA_KEY -in block "
        "-out raw; " +
        std::string(sealed) + " >sealed");
    Expect("rsa-decrypt 51 -i @sealed", exit_code, exit_code == 0 ? "data" : "[RSA-DATA]");
  }
}

TEST_F(KeyCommandTest, ADamagedSlotHasOneNameAndCanBeCleared) {
  const auto damage = [&](const std::string& how) {
    Expect("key import 50 --force --random", 0);
    Inside({"bash", "-c", how + "/mnt/vendor/persist/security/zol_key_user0"});
  };
  damage(": >");
  options_.input = "data";
  for (const char* words : {"encrypt 50", "sign 50", "key delete 50", "key delete --rsa 50"}) {
    Expect(words, 1, "[KEY-FILE-EMPTY]");
  }
  Expect("key list", 0, "empty file, no key [KEY-FILE-EMPTY]");
  EXPECT_THAT(Orx("doctor --timeout 60").out, HasSubstr("KEY-FILE-EMPTY: Import"));

  for (const char* how : {": >", "echo x >>"}) {
    damage(how);
    const Json::Value answer = OrxJson("answer", "key delete 50 --file");
    EXPECT_FALSE(answer["deleted"].asBool());
    EXPECT_TRUE(answer["file_removed"].asBool());
    EXPECT_FALSE(SlotIsUsed(2));
  }
  damage("echo x >>");
  EXPECT_THAT(Expect("key delete 50 --file", 0).err, HasSubstr("note: KeyMint has no key for"));
  // Without an answer of KeyMint nothing says that the key is none.
  damage("echo x >>");
  faults_ = {"service:default:absent"};
  Expect("key delete 50 --file", 4);
  faults_.clear();
  EXPECT_TRUE(SlotIsUsed(2));
}

TEST_F(KeyCommandTest, AnUpgradedKeySignsAndItsFileIsRewritten) {
  ImportRsaKey();
  SetDevice("os-patch-level=209912");
  EXPECT_FALSE(OrxJson("doctor", "doctor --timeout 60")["healthy"].asBool());
  ExpectSigns("51");
  EXPECT_TRUE(OrxJson("doctor", "doctor --timeout 60")["healthy"].asBool());
}

TEST_F(KeyCommandTest, VerifySaysThatItRejectsByDesign) {
  ImportRsaKey();
  ExpectSigns("51");
  const std::string verify = "verify 51 -i @data --signature @signature";
  Expect(verify, 1, "[RSA-VERIFY-REJECTS]");
  Expect(verify, 1, "openssl dgst -sha256 -verify");
  Expect("verify 51 -i @data --signature @no", 1, "[INPUT-UNREADABLE]");
}

TEST_F(KeyCommandTest, BadKeysGetOneClearLineAndLeaveTheSlotEmpty) {
  const std::tuple<const char*, std::string, int, const char*> cases[] = {
      {"", "", 2, "give one of --aes"},
      {"--aes @key --hex 00", "", 2, "give one of --aes"},
      {"--aes @no", "", 1, "No such file"},
      {"--aes @", "", 1, "Is a directory"},
      {"--rsa-components @", "", 1, "Is a directory"},
      {"--aes @key", std::string(15, 'k'), 1, "the key has 15 bytes"},
      {"--aes @key", std::string(17, 'k'), 1, "the key has 17 bytes"},
      {"--hex 00112", "", 2, "not hexadecimal"},
      {"--hex 0011", "", 1, "the key has 2 bytes"},
      {"--pkcs8 @key", "text", 1, "holds no private key"},
      {"--rsa-components @key", "n = 12\ne = xyz\n", 1, "line 2"},
      {"--rsa-components @key", "n = 12\nn = 12\n", 1, "a second 'n'"},
      {"--rsa-components @key", "x = 12\n", 1, "'x' is none of"},
      {"--rsa-components @key", "n = 12\n", 1, "'e' is missing"},
      {"--rsa-components @key", "# an RSA key\n\nn = 12\nn\n", 1, "line 4"}};
  for (const auto& [source, content, exit_code, line] : cases) {
    SCOPED_TRACE(std::string(source) + ": " + line);
    Write("key", content);
    const std::string err = Expect(std::string("key import 50 ") + source, exit_code, line).err;
    // The line, and what to try; a usage error names the help in its line.
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), exit_code == 2 ? 1 : 2) << err;
  }
  const Json::Value list = OrxJson("answer", "key list");
  for (const Json::Value& slot : list["slots"]) EXPECT_FALSE(slot["used"].asBool());
}

TEST_F(KeyCommandTest, TellsEncryptedForeignAndInconsistentKeysFromBrokenOnes) {
  MakeRsaKey();
  Shell(R"(openssl pkcs8 -topk8 -in key.pem -passout pass:pass -out encrypted.pem
           openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out ec.pem
           sed -i 's/^d = ..../d = 0000/' components)");
  ExpectAll({{"key import 50 --pkcs8 @encrypted.pem", 1, "is encrypted"},
             {"key import 50 --pkcs8 @ec.pem", 1, "but not of RSA"},
             {"key import 50 --rsa-components @components", 1, "library: "}});
}

TEST_F(KeyCommandTest, ShowTellsWhatKeyMintKnowsOfAKey) {
  Expect("key import 17 --random", 0);
  const Json::Value shown = OrxJson("answer", "key show 17");
  EXPECT_EQ(shown["algorithm"].asString(), "AES");
  EXPECT_EQ(shown["key_size"].asInt(), 128);
  EXPECT_GT(shown["os_patch_level"].asInt(), 202000);
  ExpectAll({{"key show 17", 0, "  key_size: 128\n"},
             {"key show 50", 1, "[KEY-SLOT-EMPTY]"},
             {"key delete 17", 0},
             {"key show 17", 1, "[KM-BLOB-REFUSED]"}});
  faults_ = {"service:default:absent"};
  Expect("key show 17", 4);
  Expect("key import 50" + kHex, 4,
         "[KM-SERVICE-MISSING]\n  library: Could not obtain the keymint service\n  try: ");
}

TEST_F(KeyCommandTest, ListAndDeleteShowWhatStays) {
  Expect("key import 17" + kHex, 0);
  EXPECT_THAT(Orx("key list").out, testing::ContainsRegex("17  zol_key_cek +[0-9]+ .* file\n"));
  Expect("key delete 17", 0, "its file stays");
  EXPECT_TRUE(SlotIsUsed(0));
  // Deleted in KeyMint: what is left is of no use.
  ExpectAll({{"encrypt 17 -i /dev/null", 1, "[KM-BLOB-REFUSED]"},
             {"key import 17" + kHex, 1, "[KEY-SLOT-USED]"},
             {"key import 17 --force" + kHex, 0},
             {"key delete 17 --file", 0}});
  EXPECT_FALSE(SlotIsUsed(0));
  Expect("key delete 17", 1, "[KEY-SLOT-EMPTY]");
}

TEST_F(KeyCommandTest, AnIdWithoutASlotIsRefused) {
  for (const char* id : {"0", "99", "x", "50x"}) {
    Expect(Words{"key", "import", id} + kHex, 2, "[KEY-ID-UNKNOWN]");
  }
}

TEST_F(KeyCommandTest, OutsideADeviceFolderAndModemAreEnvironmentFailures) {
  in_device_ = false;
  std::filesystem::remove("/mnt/vendor/persist/security");
  for (const Words words : {"key list", "encrypt 50", "store get 3"}) {
    Expect(words, 4, "[PERSIST-MISSING]");
    Expect(words, 4,
           "no Android device. Run the command inside a simulated one: "
           "orx-sim run -- orx " +
               words[0]);
  }
  // Nor is there a modem to wait for.
  for (const char* words : {"imei --timeout 1", "modem AT --timeout 1"}) {
    Expect(words, 4, "socket /dev/socket/rild-oem. [MODEM-UNREACHABLE]");
  }
}

}  // namespace
}  // namespace orx_tool
