// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "tests/tools/orx/tool_fixture.h"

namespace orx_tool {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kKey = "000102030405060708090a0b0c0d0e0f";
constexpr size_t kPiece = size_t{128} * 1024;

class CipherCommandTest : public ToolTest {
 protected:
  void SetUp() override { Expect("key import 50 --hex " + kKey, 0); }

  static std::string Pattern(size_t size) {
    std::string text(size, 0);
    for (size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 31 + i / 251);
    return text;
  }

  std::string Encrypted(const std::string& text) {
    Write("text", text);
    Expect("encrypt 50 -i @text -o @cipher", 0);
    return Read("cipher");
  }
};

TEST_F(CipherCommandTest, EncryptsAsPlainCbcAndDecryptsInANewProcess) {
  for (const size_t size : {size_t{0}, size_t{1}, size_t{15}, size_t{16}, size_t{17}, kPiece - 1,
                            kPiece, kPiece + 1, 3 * kPiece + 5}) {
    SCOPED_TRACE(size);
    const std::string text = Pattern(size);
    const std::string cipher = Encrypted(text);
    EXPECT_EQ(cipher.size(), 32 + size / 16 * 16);
    Expect("decrypt 50 -i @cipher -o @back", 0);
    EXPECT_TRUE(Read("back") == text);
    // The IV, then AES-128-CBC with PKCS#7 padding, by another program.
    Shell("tail -c +17 cipher | openssl enc -d -aes-128-cbc -K " + kKey +
          " -iv $(head -c 16 cipher | od -An -v -tx1 | tr -d ' ') | cmp - text");
  }
}

TEST_F(CipherCommandTest, UsesANewIvEachTime) {
  EXPECT_NE(Encrypted("text").substr(0, 16), Encrypted("text").substr(0, 16));
}

TEST_F(CipherCommandTest, RunsThroughStandardStreams) {
  options_.input = Pattern(100000);
  const ProgramResult encrypted = Orx("encrypt 50");
  ASSERT_EQ(encrypted.exit_code, 0) << encrypted.err;
  options_.input = encrypted.out;
  EXPECT_TRUE(Orx("decrypt 50").out == Pattern(100000));
}

TEST_F(CipherCommandTest, WithoutPaddingTakesWholeBlocksOnly) {
  const char encrypt[] = "encrypt 50 --no-padding -i @text -o @cipher";
  Write("text", std::string(32, 'x'));
  Expect(encrypt, 0);
  EXPECT_EQ(Read("cipher").size(), 48u);
  EXPECT_EQ(Orx("decrypt 50 --no-padding -i @cipher").out, std::string(32, 'x'));

  Write("short", std::string(15, 'x'));  // of an IV
  Expect("decrypt 50 --no-padding -i @short", 1);

  Write("text", std::string(33, 'x'));
  std::filesystem::remove(work("cipher"));
  Expect(encrypt, 1, "INPUT-NOT-ALIGNED");
  EXPECT_FALSE(Exists("cipher"));
}

TEST_F(CipherCommandTest, DecryptedFilesArePrivate) {
  umask(022);
  Encrypted("text");
  Expect("decrypt 50 -i @cipher -o @back", 0);
  for (const auto& [name, mode] : {std::pair("cipher", 0644u), std::pair("back", 0600u)}) {
    struct stat status = {};
    ASSERT_EQ(stat(work(name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, mode) << name;
  }
}

TEST_F(CipherCommandTest, DamagedCiphertextGetsOneLineAndLeavesNoOutput) {
  const std::string cipher = Encrypted(Pattern(100));  // 12 bytes of padding
  ASSERT_EQ(cipher.size(), 128u);
  const std::tuple<const char*, size_t, size_t, uint8_t, const char*> cases[] = {
      {"empty", 0, 0, 0, "CIPHERTEXT-LENGTH"},
      {"part of the IV", 15, 0, 0, "CIPHERTEXT-LENGTH"},
      {"the IV alone", 16, 0, 0, "CIPHERTEXT-LENGTH"},
      {"cut within a block", 60, 0, 0, "CIPHERTEXT-LENGTH"},
      {"a byte too many", 129, 0, 0, "CIPHERTEXT-LENGTH"},
      {"cut at a block", 64, 0, 0, "PADDING-WRONG"},
      {"padding of 140", 128, 111, 0x80, "PADDING-WRONG"},
      {"padding of 0", 128, 111, 12, "PADDING-WRONG"},
      {"padding of 17", 128, 111, 12 ^ 17, "PADDING-WRONG"},
      {"first byte of the padding", 128, 100, 1, "PADDING-WRONG"}};
  for (const auto& [title, size, place, mask, code] : cases) {
    SCOPED_TRACE(title);
    std::string bad = cipher;
    bad[place] = static_cast<char>(bad[place] ^ mask);
    bad.resize(size);
    Write("bad", bad);
    const ProgramResult result = Orx("decrypt 50 -q -i @bad -o @back");
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr(code));
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_FALSE(Exists("back"));
  }
}

TEST_F(CipherCommandTest, AFailureInALaterPieceLeavesTheOldOutput) {
  Write("text", Pattern(2 * kPiece));
  Write("cipher", "old");
  faults_ = {"begin:-62@2"};
  const ProgramResult result = Orx("encrypt 50 -i @text -o @cipher");
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, AllOf(HasSubstr("[KM-KEY-OUTDATED]"), HasSubstr("KEY_REQUIRES_UPGRADE"),
                                HasSubstr("library: SYM: AES begin (encrypt) failed, code:-62"),
                                HasSubstr("try: ")));
  EXPECT_EQ(Read("cipher"), "old");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(work("")), {}), 3);
}

// Buffers that went back to the system with each call cost 700 faults a MB.
TEST_F(CipherCommandTest, MemoryIsFaultedInOnce) {
  if (dlsym(RTLD_DEFAULT, "__asan_init") != nullptr) GTEST_SKIP() << "another allocator";
  starts_anew_ = true;
  const auto faults = [&](size_t size) {
    rusage before = {};
    rusage after = {};
    getrusage(RUSAGE_CHILDREN, &before);
    Encrypted(std::string(size, 'x'));
    getrusage(RUSAGE_CHILDREN, &after);
    return after.ru_minflt - before.ru_minflt;
  };
  const long small = faults(500000);
  EXPECT_LT(faults(2000000) - small, 300);
}

TEST_F(CipherCommandTest, NothingGoesOutBeforeTheKeyWorks) {
  options_.input = "text";
  faults_ = {"begin:-33@1"};
  Expect("encrypt 50", 1);
}

TEST_F(CipherCommandTest, AnOutputThatCannotBeWrittenIsTold) {
  Expect("encrypt 50 -o @no/folder", 1, "No such file");
  options_.input = "text";
  Expect("encrypt 50 -o /dev/full", 1, "No space left");
}

TEST_F(CipherCommandTest, ShowsABarOnATerminalOnly) {
  Write("text", Pattern(2 * kPiece));
  const std::string words = "encrypt 50 -i @text -o @out";
  EXPECT_THAT(Orx(words).err, IsEmpty());
  options_.terminal = true;
  EXPECT_THAT(Orx(words).err, HasSubstr("] 0.3 MB of 0.3 MB"));
  EXPECT_THAT(Orx("decrypt 50 -i @out -o @plain").err, HasSubstr("] 0.3 MB of 0.3 MB"));
  EXPECT_THAT(Orx(words + " -q").err, IsEmpty());
  setenv("TERM", "dumb", 1);
  EXPECT_THAT(Orx(words).err, IsEmpty());
}

TEST_F(CipherCommandTest, AnswersInJson) {
  Write("text", "text");
  const Json::Value answer = OrxJson("answer", "encrypt 50 -i @text -o @cipher");
  EXPECT_EQ(answer["bytes_in"].asInt(), 4);
  EXPECT_EQ(answer["bytes_out"].asInt(), 32);
  const Json::Value failure = OrxAnswer("encrypt 51 -i @text -o x");
  EXPECT_EQ(failure["error"]["code"].asString(), "KEY-SLOT-EMPTY");
  EXPECT_EQ(OrxAnswer("encrypt 50")["error"]["code"].asString(), "USAGE");
}

}  // namespace
}  // namespace orx_tool
