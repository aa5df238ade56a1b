// SPDX-License-Identifier: Apache-2.0
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include "tests/tools/orx/tool_fixture.h"

namespace orx_tool {
namespace {

using testing::HasSubstr;

constexpr const char kKeyHex[] = "000102030405060708090a0b0c0d0e0f";

class KeyCommandTest : public ToolTest {
 protected:
  // The key is made on first use.
  EVP_PKEY* key() {
    if (key_ != nullptr) return key_.get();
    bssl::UniquePtr<BIGNUM> e(BN_new());
    bssl::UniquePtr<RSA> rsa(RSA_new());
    BN_set_word(e.get(), RSA_F4);
    RSA_generate_key_ex(rsa.get(), 2048, e.get(), nullptr);
    key_.reset(EVP_PKEY_new());
    EVP_PKEY_set1_RSA(key_.get(), rsa.get());
    return key_.get();
  }

  const RSA* rsa() { return EVP_PKEY_get0_RSA(key()); }

  static std::string Contents(BIO* bio) {
    const uint8_t* bytes = nullptr;
    size_t size = 0;
    BIO_mem_contents(bio, &bytes, &size);
    return std::string(reinterpret_cast<const char*>(bytes), size);
  }

  // WriteWith lets a writer of the crypto library fill a file.
  template <typename Writer>
  void WriteWith(const std::string& path, Writer writer) {
    bssl::UniquePtr<BIO> bio(BIO_new(BIO_s_mem()));
    ASSERT_EQ(writer(bio.get()), 1);
    Write(path, Contents(bio.get()));
  }

  void WritePkcs8Pem(const std::string& path) {
    WriteWith(path, [&](BIO* bio) {
      return PEM_write_bio_PKCS8PrivateKey(bio, key(), nullptr, nullptr, 0, nullptr, nullptr);
    });
  }

  std::string ComponentsText() {
    const std::pair<const char*, const BIGNUM*> components[] = {
        {"n", RSA_get0_n(rsa())},     {"e", RSA_get0_e(rsa())},      {"d", RSA_get0_d(rsa())},
        {"p", RSA_get0_p(rsa())},     {"q", RSA_get0_q(rsa())},      {"dp", RSA_get0_dmp1(rsa())},
        {"dq", RSA_get0_dmq1(rsa())}, {"qinv", RSA_get0_iqmp(rsa())}};
    std::string text = "# an RSA key\n\n";
    for (const auto& [name, number] : components) {
      const bssl::UniquePtr<char> hex(BN_bn2hex(number));
      text += std::string(name) + " = " + hex.get() + "\n";
    }
    return text;
  }

  bool Verifies(const std::string& data, const std::string& signature) {
    bssl::ScopedEVP_MD_CTX context;
    EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key());
    return EVP_DigestVerify(context.get(), reinterpret_cast<const uint8_t*>(signature.data()),
                            signature.size(), reinterpret_cast<const uint8_t*>(data.data()),
                            data.size()) == 1;
  }

  void ExpectSigns(const char* id) {
    options_.input = "data";
    const ProgramResult result = Orx({"sign", id});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_TRUE(Verifies("data", result.out));
    options_.input.clear();
  }

  bssl::UniquePtr<EVP_PKEY> key_;
};

TEST_F(KeyCommandTest, TakesRsaKeysInEveryForm) {
  WritePkcs8Pem(work("pkcs8.pem"));
  WriteWith(work("pkcs8.der"), [&](BIO* bio) {
    return i2d_PKCS8PrivateKey_bio(bio, key(), nullptr, nullptr, 0, nullptr, nullptr);
  });
  WriteWith(work("pkcs1.pem"), [&](BIO* bio) {
    return PEM_write_bio_RSAPrivateKey(bio, const_cast<RSA*>(rsa()), nullptr, nullptr, 0, nullptr,
                                       nullptr);
  });
  WriteWith(work("pkcs1.der"),
            [&](BIO* bio) { return i2d_RSAPrivateKey_bio(bio, const_cast<RSA*>(rsa())); });
  for (const char* name : {"pkcs8.pem", "pkcs8.der", "pkcs1.pem", "pkcs1.der"}) {
    SCOPED_TRACE(name);
    const ProgramResult result = Orx({"key", "import", "51", "--force", "--pkcs8", work(name)});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("RSA-2048"));
    ExpectSigns("51");
  }
  Write(work("components"), ComponentsText());
  EXPECT_EQ(Orx({"key", "import", "52", "--rsa-components", work("components")}).exit_code, 0);
  ExpectSigns("52");
}

TEST_F(KeyCommandTest, DecryptsWhatThePublicKeyEncrypted) {
  WritePkcs8Pem(work("key.pem"));
  ASSERT_EQ(Orx({"key", "import", "51", "--pkcs8", work("key.pem")}).exit_code, 0);
  std::string cipher(256, 0);
  ASSERT_EQ(RSA_public_encrypt(4, reinterpret_cast<const uint8_t*>("data"),
                               reinterpret_cast<uint8_t*>(cipher.data()), const_cast<RSA*>(rsa()),
                               RSA_PKCS1_PADDING),
            256);
  Write(work("cipher"), cipher);
  EXPECT_EQ(Orx({"rsa-decrypt", "51", "-i", work("cipher")}).out, "data");
  EXPECT_EQ(Orx({"rsa-decrypt", "51", "-i", work("cipher"), "--format", "hex"}).out, "64617461\n");
}

struct CauseCase {
  std::vector<std::string> words;
  size_t bytes;  // of the input
  const char* fault;
  const char* code;
};

TEST_F(KeyCommandTest, RefusalsNameTheirOwnCause) {
  WritePkcs8Pem(work("key.pem"));
  ASSERT_EQ(Orx({"key", "import", "51", "--pkcs8", work("key.pem")}).exit_code, 0);
  Write(work("empty"), "");
  const ProgramResult sealed =
      orx_test::RunProgram({"openssl", "pkeyutl", "-encrypt", "-inkey", work("key.pem"), "-in",
                            work("empty"), "-out", work("sealed")});
  ASSERT_EQ(sealed.exit_code, 0) << sealed.err;
  const std::string in = work("in");
  const CauseCase cases[] = {
      {{"rsa-decrypt", "51", "-i", in}, 256, "", "[RSA-DATA]"},
      {{"rsa-decrypt", "51", "-i", work("sealed")}, 0, "", "[RSA-EMPTY-MESSAGE]"},
      {{"rsa-decrypt", "51", "-i", in}, 0, "", "the input is empty [INPUT-EMPTY]"},
      {{"sign", "51", "-i", in}, 4, "begin:-62@1", "[RSA-UPGRADE]"},
      {{"sign", "51", "-i", in}, 1024001, "", "[INPUT-TOO-LARGE]"}};
  for (const CauseCase& c : cases) {
    SCOPED_TRACE(c.code);
    Write(in, std::string(c.bytes, '\1'));
    faults_.clear();
    if (*c.fault != 0) faults_ = {c.fault};
    const ProgramResult result = Orx(c.words);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr(c.code));
    EXPECT_THAT(result.err, HasSubstr("  try: "));
    EXPECT_THAT(result.err, testing::Not(HasSubstr("try: Import")));
  }
  faults_.clear();
  Write(in, std::string(1024000, 'x'));
  EXPECT_EQ(Orx({"sign", "51", "-i", in, "-o", work("signature")}).exit_code, 0);
}

TEST_F(KeyCommandTest, ADamagedSlotHasOneNameAndCanBeCleared) {
  const std::string blob = "/mnt/vendor/persist/security/zol_key_user0";
  const auto damage = [&](const std::string& how) {
    ASSERT_EQ(Orx({"key", "import", "50", "--force", "--random"}).exit_code, 0);
    Simulator({"run", "-q", "--device", work("device"), "--", "bash", "-c", how + blob});
  };
  damage(": >");
  options_.input = "data";
  for (const std::vector<std::string>& words : {std::vector<std::string>{"encrypt", "50"},
                                                {"sign", "50"},
                                                {"key", "delete", "50"},
                                                {"key", "delete", "--rsa", "50"}}) {
    const ProgramResult result = Orx(words);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("[KEY-FILE-EMPTY]")) << words[0];
  }
  EXPECT_THAT(Orx({"key", "list"}).out, HasSubstr("empty file, no key [KEY-FILE-EMPTY]"));
  EXPECT_THAT(Orx({"doctor", "--timeout", "60"}).out, HasSubstr("KEY-FILE-EMPTY: Import"));

  for (const char* how : {": >", "echo x >>"}) {
    damage(how);
    const Json::Value answer = OrxJson("answer", {"key", "delete", "50", "--file"});
    EXPECT_FALSE(answer["deleted"].asBool());
    EXPECT_TRUE(answer["file_removed"].asBool());
    EXPECT_FALSE(OrxJson("answer", {"key", "list"})["slots"][2]["used"].asBool());
  }
  // Without an answer of KeyMint nothing says that the key is none.
  damage("echo x >>");
  faults_ = {"service:default:absent"};
  EXPECT_EQ(Orx({"key", "delete", "50", "--file"}).exit_code, 4);
  faults_.clear();
  EXPECT_TRUE(OrxJson("answer", {"key", "list"})["slots"][2]["used"].asBool());
}

TEST_F(KeyCommandTest, AnUpgradedKeySignsAndItsFileIsRewritten) {
  WritePkcs8Pem(work("key.pem"));
  ASSERT_EQ(Orx({"key", "import", "51", "--pkcs8", work("key.pem")}).exit_code, 0);
  SetDevice("os-patch-level=209912");
  EXPECT_EQ(OrxJson("doctor", {"doctor", "--timeout", "60"})["healthy"].asBool(), false);
  ExpectSigns("51");
  EXPECT_EQ(OrxJson("doctor", {"doctor", "--timeout", "60"})["healthy"].asBool(), true);
}

TEST_F(KeyCommandTest, VerifySaysThatItRejectsByDesign) {
  WritePkcs8Pem(work("key.pem"));
  ASSERT_EQ(Orx({"key", "import", "51", "--pkcs8", work("key.pem")}).exit_code, 0);
  Write(work("data"), "data");
  ASSERT_EQ(Orx({"sign", "51", "-i", work("data"), "-o", work("signature")}).exit_code, 0);
  const ProgramResult result =
      Orx({"verify", "51", "-i", work("data"), "--signature", work("signature")});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, HasSubstr("[RSA-VERIFY-REJECTS]"));
  EXPECT_THAT(result.err, HasSubstr("openssl dgst -sha256 -verify"));
}

struct BadKeyCase {
  const char* title;
  std::vector<std::string> source;
  std::string content;
  int exit_code;
  const char* line;
};

TEST_F(KeyCommandTest, BadKeysGetOneClearLineAndLeaveTheSlotEmpty) {
  const std::string file = work("key");
  const std::string all = ComponentsText();
  const BadKeyCase cases[] = {
      {"no source", {}, "", 2, "give one of --aes"},
      {"two sources", {"--aes", file, "--hex", kKeyHex}, "", 2, "give one of --aes"},
      {"missing file", {"--aes", work("no")}, "", 1, "No such file"},
      {"a folder", {"--aes", work("")}, "", 1, "Is a directory"},
      {"15 bytes", {"--aes", file}, std::string(15, 'k'), 1, "the key has 15 bytes"},
      {"17 bytes", {"--aes", file}, std::string(17, 'k'), 1, "the key has 17 bytes"},
      {"odd hex", {"--hex", "00112"}, "", 2, "not hexadecimal"},
      {"short hex", {"--hex", "0011"}, "", 1, "the key has 2 bytes"},
      {"no key at all", {"--pkcs8", file}, "text", 1, "holds no private key"},
      {"component not hex", {"--rsa-components", file}, "n = 12\ne = xyz\n", 1, "line 2"},
      {"component twice", {"--rsa-components", file}, "n = 12\nn = 12\n", 1, "a second 'n'"},
      {"unknown component", {"--rsa-components", file}, "x = 12\n", 1, "'x' is none of"},
      {"component missing", {"--rsa-components", file}, "n = 12\n", 1, "'e' is missing"},
      {"line cut off", {"--rsa-components", file}, all.substr(0, 20) + "\nn\n", 1, "line 4"}};
  for (const BadKeyCase& c : cases) {
    SCOPED_TRACE(c.title);
    Write(file, c.content);
    std::vector<std::string> words = {"key", "import", "50"};
    words.insert(words.end(), c.source.begin(), c.source.end());
    const ProgramResult result = Orx(words);
    EXPECT_EQ(result.exit_code, c.exit_code);
    EXPECT_THAT(result.err, HasSubstr(c.line));
    // The line, and what to try; a usage error names the help in its line.
    const int lines = c.exit_code == 2 ? 1 : 2;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), lines) << result.err;
  }
  const Json::Value list = OrxJson("answer", {"key", "list"});
  for (const Json::Value& slot : list["slots"]) EXPECT_FALSE(slot["used"].asBool());
}

TEST_F(KeyCommandTest, TellsEncryptedAndForeignKeysFromBrokenOnes) {
  char password[] = "pass";
  WriteWith(work("encrypted.pem"), [&](BIO* bio) {
    return PEM_write_bio_PKCS8PrivateKey(bio, key(), EVP_aes_128_cbc(), password, 4, nullptr,
                                         nullptr);
  });
  EXPECT_THAT(Orx({"key", "import", "50", "--pkcs8", work("encrypted.pem")}).err,
              HasSubstr("is encrypted"));
  bssl::UniquePtr<EC_KEY> ec(EC_KEY_new_by_curve_name(NID_X9_62_prime256v1));
  EC_KEY_generate_key(ec.get());
  WriteWith(work("ec.pem"), [&](BIO* bio) {
    return PEM_write_bio_ECPrivateKey(bio, ec.get(), nullptr, nullptr, 0, nullptr, nullptr);
  });
  EXPECT_THAT(Orx({"key", "import", "50", "--pkcs8", work("ec.pem")}).err,
              HasSubstr("but not of RSA"));
}

TEST_F(KeyCommandTest, InconsistentComponentsAreRefusedByName) {
  std::string text = ComponentsText();
  text.replace(text.find("\nd = ") + 5, 4, "0000");
  Write(work("components"), text);
  const ProgramResult result = Orx({"key", "import", "50", "--rsa-components", work("components")});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, HasSubstr("library: "));
}

TEST_F(KeyCommandTest, ShowTellsWhatKeyMintKnowsOfAKey) {
  ASSERT_EQ(Orx({"key", "import", "17", "--random"}).exit_code, 0);
  const Json::Value shown = OrxJson("answer", {"key", "show", "17"});
  EXPECT_EQ(shown["algorithm"].asString(), "AES");
  EXPECT_EQ(shown["key_size"].asInt(), 128);
  EXPECT_GT(shown["os_patch_level"].asInt(), 202000);
  EXPECT_THAT(Orx({"key", "show", "17"}).out, HasSubstr("  key_size: 128\n"));
  EXPECT_THAT(Orx({"key", "show", "50"}).err, HasSubstr("[KEY-SLOT-EMPTY]"));
  Orx({"key", "delete", "17"});
  EXPECT_THAT(Orx({"key", "show", "17"}).err, HasSubstr("[KM-BLOB-REFUSED]"));
  faults_ = {"service:default:absent"};
  EXPECT_EQ(Orx({"key", "show", "17"}).exit_code, 4);
}

TEST_F(KeyCommandTest, ListAndDeleteShowWhatStays) {
  ASSERT_EQ(Orx({"key", "import", "17", "--hex", kKeyHex}).exit_code, 0);
  EXPECT_THAT(Orx({"key", "list"}).out,
              testing::ContainsRegex("17  zol_key_cek +[0-9]+ .* file\n"));
  EXPECT_THAT(Orx({"key", "delete", "17"}).out, HasSubstr("its file stays"));
  EXPECT_TRUE(OrxJson("answer", {"key", "list"})["slots"][0]["used"].asBool());
  // Deleted in KeyMint: what is left is of no use.
  const ProgramResult encrypted = Orx({"encrypt", "17", "-i", "/dev/null"});
  EXPECT_THAT(encrypted.err, HasSubstr("[KM-BLOB-REFUSED]"));

  const ProgramResult used = Orx({"key", "import", "17", "--hex", kKeyHex});
  EXPECT_EQ(used.exit_code, 1);
  EXPECT_THAT(used.err, HasSubstr("[KEY-SLOT-USED]"));
  ASSERT_EQ(Orx({"key", "import", "17", "--hex", kKeyHex, "--force"}).exit_code, 0);
  EXPECT_EQ(Orx({"key", "delete", "17", "--file"}).exit_code, 0);
  EXPECT_FALSE(OrxJson("answer", {"key", "list"})["slots"][0]["used"].asBool());
  const ProgramResult again = Orx({"key", "delete", "17"});
  EXPECT_EQ(again.exit_code, 1);
  EXPECT_THAT(again.err, HasSubstr("[KEY-SLOT-EMPTY]"));
}

TEST_F(KeyCommandTest, AnIdWithoutASlotIsRefused) {
  for (const char* id : {"0", "99", "x", "50x", ""}) {
    const ProgramResult result = Orx({"key", "import", id, "--hex", kKeyHex});
    EXPECT_EQ(result.exit_code, 2) << id;
    EXPECT_THAT(result.err, HasSubstr("[KEY-ID-UNKNOWN]"));
  }
}

TEST_F(KeyCommandTest, AMissingServiceIsAnEnvironmentFailure) {
  faults_ = {"service:default:absent"};
  const ProgramResult result = Orx({"key", "import", "50", "--hex", kKeyHex});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_THAT(result.err, HasSubstr("[KM-SERVICE-MISSING]"));
  EXPECT_THAT(result.err, HasSubstr("library: Could not obtain the keymint service\n  try: "));
}

// Without a simulated device the program sees this test's own, empty folder.
TEST_F(KeyCommandTest, AMissingFolderIsAnEnvironmentFailure) {
  std::filesystem::remove("/mnt/vendor/persist/security");
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"key", "list"}, {"encrypt", "50"}, {"store", "get", "3"}}) {
    std::vector<std::string> argv = {ORX_PROGRAM};
    argv.insert(argv.end(), words.begin(), words.end());
    const ProgramResult result = orx_test::RunProgram(argv);
    EXPECT_EQ(result.exit_code, 4) << words[0];
    EXPECT_THAT(result.err, HasSubstr("[PERSIST-MISSING]"));
    EXPECT_THAT(result.err, HasSubstr("no Android device. Run the command inside a simulated one: "
                                      "orx-sim run -- orx " +
                                      words[0]));
  }
}

}  // namespace
}  // namespace orx_tool
