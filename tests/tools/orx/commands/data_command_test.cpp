// SPDX-License-Identifier: Apache-2.0
#include <openssl/sha.h>

#include "tests/tools/orx/tool_fixture.h"

namespace orx_tool {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class DataCommandTest : public ToolTest {
 protected:
  // Direct runs the program without a device, on this test's own empty folder.
  ProgramResult Direct(const std::vector<std::string>& words) {
    std::vector<std::string> argv = {ORX_PROGRAM};
    argv.insert(argv.end(), words.begin(), words.end());
    return orx_test::RunProgram(argv, options_);
  }
};

constexpr const char kFolder[] = "/mnt/vendor/persist/security/";

TEST_F(DataCommandTest, HashPrintsWhatTheSystemsToolsPrint) {
  // A name that has to be escaped, and more than one piece.
  const std::vector<std::string> names = {work("empty"), work("a\nb\\c"), work("large")};
  Write(names[0], "");
  Write(names[1], "abc");
  Write(names[2], std::string(3 * 1024 * 1024 + 7, 'x'));
  for (const char* algorithm : {"sha1", "sha256", "sha512"}) {
    std::vector<std::string> ours = {"hash", algorithm};
    std::vector<std::string> theirs = {std::string(algorithm) + "sum"};
    for (auto* words : {&ours, &theirs}) words->insert(words->end(), names.begin(), names.end());
    EXPECT_EQ(Direct(ours).out, orx_test::RunProgram(theirs).out);
  }
}

TEST_F(DataCommandTest, HashGoesOnAfterAMissingFile) {
  Write(work("file"), "abc");
  const ProgramResult result = Direct({"hash", "sha1", work("no"), work("file"), work("nor")});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.out, StartsWith("a9993e364706816aba3e25717850c26c9cd0d89d  "));
  EXPECT_THAT(result.err, HasSubstr(work("no")));
  EXPECT_THAT(result.err, HasSubstr(work("nor")));
  EXPECT_EQ(Direct({"hash", "md5", work("file")}).exit_code, 2);
}

std::string Sha1(const std::string& text) {
  std::string digest(SHA_DIGEST_LENGTH, 0);
  SHA1(reinterpret_cast<const uint8_t*>(text.data()), text.size(),
       reinterpret_cast<uint8_t*>(digest.data()));
  return digest;
}

TEST_F(DataCommandTest, KdfDerivesInBothModes) {
  using std::string_literals::operator""s;
  Write(work("z"), "secret");
  Write(work("info"), "info");
  const std::string counted = Sha1("secret\0\0\0\1info"s) + Sha1("secret\0\0\0\2info"s);
  const std::string plain = Sha1("secretinfo") + Sha1("secretinfo");
  std::vector<std::string> words = {"kdf", "--secret", work("z"),  "--info", work("info"),
                                    "-n",  "25",       "--format", "raw"};
  EXPECT_EQ(Direct(words).out, counted.substr(0, 25));
  words.insert(words.end(), {"--mode", "plain"});
  EXPECT_EQ(Direct(words).out, plain.substr(0, 25));
}

struct KdfError {
  std::vector<std::string> words;
  int exit_code;
  const char* code;
};

TEST_F(DataCommandTest, KdfNamesWhatIsWrong) {
  const KdfError cases[] = {
      {{"kdf", "--secret-hex", "01"}, 2, "--length"},
      {{"kdf", "--secret-hex", "01", "-n", "0"}, 2, "--length"},
      {{"kdf", "-n", "1"}, 2, "give the secret"},
      {{"kdf", "--secret-hex", "0", "-n", "1"}, 2, "--secret-hex is not hexadecimal"},
      {{"kdf", "--secret-hex", "01", "-n", "1", "--mode", "x"}, 2, "--mode takes"},
      {{"kdf", "--secret-hex", "01", "-n", "1", "--format", "x"}, 2, "--format takes"},
      {{"kdf", "--secret-hex", "01", "-n", "1", "--hash", "sha256"}, 1, "[KDF-ALGORITHM]"}};
  for (const KdfError& c : cases) {
    const ProgramResult result = Direct(c.words);
    EXPECT_EQ(result.exit_code, c.exit_code) << c.code;
    EXPECT_THAT(result.err, HasSubstr(c.code));
    EXPECT_EQ(result.out, "");
  }
}

TEST_F(DataCommandTest, RandomGivesAsManyBytesAsAsked) {
  for (const size_t count : {size_t{1}, size_t{49152}, size_t{49153}, size_t{200000}}) {
    const std::string number = std::to_string(count);
    EXPECT_EQ(Direct({"random", number, "--format", "raw"}).out.size(), count);
    EXPECT_EQ(Direct({"random", number}).out.size(), 2 * count + 1);
    EXPECT_EQ(Direct({"random", number, "--format", "base64"}).out.size(), (count + 2) / 3 * 4 + 1);
  }
  EXPECT_NE(Direct({"random", "16"}).out, Direct({"random", "16"}).out);
  for (const char* count : {"0", "-1", "x"})
    EXPECT_EQ(Direct({"random", "--", count}).exit_code, 2);
}

TEST_F(DataCommandTest, StoreKeepsBytesAndGivesThemBackInEveryForm) {
  options_.input = std::string("a\0b", 3);
  ASSERT_EQ(Direct({"store", "put", "7"}).exit_code, 0);
  options_.input.clear();
  EXPECT_EQ(Read(std::string(kFolder) + "7.bin"), std::string("a\0b", 3));
  EXPECT_EQ(Direct({"store", "size", "7"}).out, "3\n");
  EXPECT_EQ(Direct({"store", "get", "7"}).out, std::string("a\0b", 3));
  EXPECT_EQ(Direct({"store", "get", "7", "--format", "hex"}).out, "610062\n");
  EXPECT_EQ(Direct({"store", "get", "7", "--format", "base64"}).out, "YQBi\n");
  Write(std::string(kFolder) + "07.bin", "no file of the library's");
  EXPECT_THAT(Direct({"store", "list"}).out,
              testing::MatchesRegex("NUMBER  SIZE  OWNER *MODE\n7       3     .* 06[06]0\n"));
  EXPECT_EQ(Direct({"store", "rm", "7"}).out, "store 7: removed\n");
  EXPECT_FALSE(Exists(std::string(kFolder) + "7.bin"));
  for (const char* command : {"get", "size", "rm"}) {
    const ProgramResult result = Direct({"store", command, "7"});
    EXPECT_EQ(result.exit_code, 1) << command;
    EXPECT_THAT(result.err, HasSubstr("[STORE-EMPTY]"));
  }
}

TEST_F(DataCommandTest, StoreTakesLargeAndNegativeNumbersAndEmptyContent) {
  ASSERT_EQ(Direct({"store", "put", "--", "-3"}).exit_code, 0);
  EXPECT_TRUE(Exists(std::string(kFolder) + "-3.bin"));
  EXPECT_EQ(Direct({"store", "get", "--", "-3"}).out, "");
  const std::string large(300000, 'x');
  Write(work("large"), large);
  ASSERT_EQ(Direct({"store", "put", "2147483647", "-i", work("large")}).exit_code, 0);
  EXPECT_TRUE(Direct({"store", "get", "2147483647"}).out == large);
  EXPECT_EQ(Direct({"store", "get", "2147483648"}).exit_code, 2);
}

TEST_F(DataCommandTest, StoreKeepsTheOldContentWhenTheInputCannotBeRead) {
  Write(std::string(kFolder) + "7.bin", "old");
  EXPECT_EQ(Direct({"store", "put", "7", "-i", work("no")}).exit_code, 1);
  EXPECT_EQ(Read(std::string(kFolder) + "7.bin"), "old");
}

TEST_F(DataCommandTest, StoreLeavesNothingHalfWrittenOnAFullDisk) {
  std::filesystem::create_symlink("/dev/full", std::string(kFolder) + "7.bin");
  options_.input = "text";
  const ProgramResult result = Direct({"store", "put", "7"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, HasSubstr("failed; the old content is gone too [STORE-IO]"));
  EXPECT_FALSE(std::filesystem::is_symlink(std::string(kFolder) + "7.bin"));
  // Beyond the limit of a file's size, where a program that does not look ends by a signal.
  const ProgramResult limited = orx_test::RunProgram(
      {"bash", "-c", "ulimit -f 1; head -c 5000 /dev/zero | \"$0\" store put 7", ORX_PROGRAM});
  EXPECT_EQ(limited.exit_code, 1);
  EXPECT_THAT(limited.err, HasSubstr("failed; nothing was stored [STORE-IO]"));
  EXPECT_FALSE(Exists(std::string(kFolder) + "7.bin"));
}

struct StreamCase {
  const char* words;
  const char* redirection;
  int exit_code;
  const char* line;
};

// A lost answer is no success, whatever printed it, and a closed stream is not the next file
// opened.
TEST_F(DataCommandTest, LostStreamsAreToldApart) {
  const StreamCase cases[] = {
      {"explain", ">/dev/full", 1, "No space left on device [OUTPUT-FAILED]"},
      {"explain", ">&-", 1, "[OUTPUT-FAILED]"},
      {"explain --timeout 60", ">/dev/full", 1, "[OUTPUT-FAILED]"},
      {"explain --json", ">/dev/full", 1, "[OUTPUT-FAILED]"},
      {"--help", ">/dev/full", 1, "[OUTPUT-FAILED]\n  try: "},
      {"--version", ">&-", 1, "[OUTPUT-FAILED]"},
      {"random 10", ">/dev/full", 1, "[OUTPUT-FAILED]"},
      {"doctor", ">/dev/full", 4, "[OUTPUT-FAILED]"},
      {"hash sha1", "<&-", 1, "cannot read standard input: Bad file descriptor"},
      {"kdf --secret /dev/zero -n 1", "", 1, "[INPUT-TOO-LARGE]"},
      {"store put 1 -i /dev/zero", "", 1, "[INPUT-TOO-LARGE]"}};
  for (const StreamCase& c : cases) {
    SCOPED_TRACE(c.words + std::string(" ") + c.redirection);
    const std::string orx = ORX_PROGRAM;
    const ProgramResult result =
        orx_test::RunProgram({"bash", "-c", orx + " " + c.words + " " + c.redirection});
    EXPECT_EQ(result.exit_code, c.exit_code);
    EXPECT_THAT(result.err, HasSubstr(c.line));
  }
}

struct ShellCase {
  const char* script;  // $ORX is the program
  const char* out;
  const char* err;
};

// The folder is this test's own; a script sees it as a user with another umask, without rights over
// others' files, or with little memory or space would.
TEST_F(DataCommandTest, FilesArePrivateAndNothingIsLostByTheWay) {
  const std::string folder = kFolder;
  const std::string plain_user = geteuid() == 0 ? "setpriv --bounding-set=-all " : "";
  const ShellCase cases[] = {
      {"umask 000; echo x | $ORX store put 1 >$D/answer; stat -c %a $F/1.bin", "660\n", ""},
      {"umask 022; echo x | $ORX store put 2 >$D/answer; stat -c %a $F/2.bin", "600\n", ""},
      {"umask 022; $ORX random 8 -o $D/new; stat -c %a $D/new", "600\n", ""},
      {"echo x >$D/old; chmod 640 $D/old; $ORX random 8 -o $D/old; stat -c %a $D/old", "640\n", ""},
      {"umask 002; $ORX --help >$D/help; stat -c %a $D/help", "664\n", ""},
      {"chmod 555 $F; echo x | $AS_USER $ORX store put 3; chmod 755 $F", "", "[PERSIST-DENIED]"},
      {"n=$(printf %0255d 1); $ORX random 8 -o $D/$n; $ORX random 8 -o $D/$n; ls $D | wc -L",
       "255\n", ""},
      {"ulimit -v 70000; $ORX --version || exec echo 1;"  // with a sanitizer nothing runs
       " $ORX kdf --secret-hex 01 -n 16000000 2>&1 | grep -c NO-MEMORY",
       "1\n", ""},
      {"bwrap --dev-bind / / --size 16384 --tmpfs $F bash -c 'echo old | $ORX -q store put 4;"
       " head -c 60000 /dev/zero | $ORX store put 4; $ORX store get 4'",
       "old\n", "has room for"},
      {"export LD_LIBRARY_PATH=${ORX%/bin/orx}/lib;"  // the run path is found through /proc
       " bwrap --dev-bind / / --tmpfs /proc $ORX random 8 -o $D/named; ls -A $D | grep named",
       "named\n", ""},
      {"$ORX random 9999999999 -o $D/killed & until ls -l /proc/$!/fd | grep -q deleted; do :; "
       "done;"
       " kill -9 $!; wait $!; ls -A $D | grep -c -e killed -e '^.orx'",
       "0\n", ""}};
  for (const ShellCase& c : cases) {
    SCOPED_TRACE(c.script);
    setenv("ORX", ORX_PROGRAM, 1);
    setenv("AS_USER", plain_user.c_str(), 1);
    setenv("F", folder.c_str(), 1);
    setenv("D", work("").c_str(), 1);
    const ProgramResult result = orx_test::RunProgram({"bash", "-c", c.script});
    EXPECT_THAT(result.out, testing::EndsWith(c.out));
    EXPECT_THAT(result.err, *c.err == 0 ? HasSubstr("") : HasSubstr(c.err));
  }
}

TEST_F(DataCommandTest, QuietLeavesOutNotes) {
  const std::vector<std::string> words = {"kdf",  "--secret-hex", "01",       "-n",
                                          "6000", "-o",           "/dev/null"};
  EXPECT_THAT(Direct(words).err, HasSubstr("note: the counter has 8 bits"));
  std::vector<std::string> quiet = words;
  quiet.push_back("-q");
  EXPECT_EQ(Direct(quiet).err, "");
}

TEST_F(DataCommandTest, JsonIsJsonWhateverTheBytes) {
  const std::string name = work("\xff\"\n");
  Write(name, "abc");
  const Json::Value answer = orx_test::ParseJson(Direct({"hash", "sha1", name, "--json"}).out);
  EXPECT_EQ(answer["result"]["digests"][0]["hex"].asString(),
            "a9993e364706816aba3e25717850c26c9cd0d89d");
}

struct UsageCase {
  std::vector<std::string> words;
  const char* line;
};

TEST_F(DataCommandTest, UsageErrorsGetOneLine) {
  const UsageCase cases[] = {{{}, "a command is needed"},
                             {{"frobnicate"}, "unknown command 'frobnicate'; see"},
                             {{"encypt", "50"}, "did you mean 'encrypt'?"},
                             {{"sotre", "put", "1"}, "did you mean 'store put'?"},
                             {{"chekc"}, "did you mean 'check'?"},
                             {{"key", "improt", "50"}, "did you mean 'key import'?"},
                             {{"key"}, "'key' needs one of its commands"},
                             {{"key", "frobnicate"}, "'key' needs one of its commands"},
                             {{"store", "size"}, "it needs NUMBER"},
                             {{"store", "size", "1", "2"}, "unexpected argument '2'"},
                             {{"random", "1", "--frobnicate"}, "unknown or ambiguous option"},
                             {{"random", "1", "--timeout", "0"}, "--timeout takes"},
                             {{"random", "1", "--timeout", "1x"}, "--timeout takes"},
                             {{"random", "1", "-o", ""}, "'--output' needs a value"},
                             {{"store", "put", "1", "-i", ""}, "'--input' needs a value"}};
  for (const UsageCase& c : cases) {
    const ProgramResult result = Direct(c.words);
    EXPECT_EQ(result.exit_code, 2) << c.line;
    EXPECT_THAT(result.err, HasSubstr(c.line));
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(result.out, "");
  }
}

TEST_F(DataCommandTest, EveryLevelHasHelp) {
  const std::string all = Direct({"--help"}).out;
  EXPECT_EQ(Direct({"help"}).out, all);
  size_t commands = 0;
  // Each line of the command list names a command whose own help begins with its usage.
  for (size_t at = all.find("\n  "); at != std::string::npos && at < all.find("Options of every");
       at = all.find("\n  ", at + 1)) {
    const size_t end = all.find_first_of("\n", at + 1);
    const std::string line = all.substr(at + 3, end - at - 3);
    const std::string name = line.substr(0, line.find("  "));
    std::vector<std::string> words = {"help"};
    const bool two_words = islower(static_cast<unsigned char>(name[name.find(' ') + 1])) != 0;
    words.push_back(name.substr(0, name.find(' ')));
    if (name.find(' ') != std::string::npos && two_words) {
      words.push_back(name.substr(words[1].size() + 1,
                                  name.find(' ', words[1].size() + 1) - words[1].size() - 1));
    }
    const ProgramResult help = Direct(words);
    EXPECT_EQ(help.exit_code, 0) << line;
    EXPECT_THAT(help.out, StartsWith("usage: orx " + words[1])) << line;
    ++commands;
  }
  EXPECT_GE(commands, 25u);
  EXPECT_THAT(Direct({"key", "--help"}).out, HasSubstr("key import"));
}

}  // namespace
}  // namespace orx_tool
