// SPDX-License-Identifier: Apache-2.0

#include "tests/support/replaced.h"
#include "tests/tools/orx/tool_fixture.h"

namespace orx_tool {
namespace {

using testing::HasSubstr;

class DataCommandTest : public ToolTest {
 protected:
  DataCommandTest() { in_device_ = false; }
};

const std::string kFolder = "/mnt/vendor/persist/security/";

TEST_F(DataCommandTest, HashPrintsWhatTheSystemsToolsPrint) {
  // A name that has to be escaped, and more than one piece.
  const Words names = {work("empty"), work("a\nb\\c"), work("large")};
  Write(names[0], "");
  Write(names[1], "abc");
  Write(names[2], std::string(3 * 1024 * 1024 + 7, 'x'));
  for (const char* algorithm : {"sha1", "sha256", "sha512"}) {
    EXPECT_EQ(Orx(Words{"hash", algorithm} + names).out,
              Program(Words{algorithm + std::string("sum")} + names).out);
  }
}

TEST_F(DataCommandTest, HashGoesOnAfterAMissingFile) {
  Write("file", "abc");
  const ProgramResult result = Orx("hash sha1 @no @file @nor");
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.out, testing::StartsWith("a9993e364706816aba3e25717850c26c9cd0d89d  "));
  EXPECT_THAT(result.err, testing::AllOf(HasSubstr(work("no") + ": No such file"),
                                         HasSubstr(work("nor") + ": No such file")));
  Expect("hash md5 @file", 2);
}

TEST_F(DataCommandTest, KdfDerivesInBothModes) {
  setenv("ORX", ORX_PROGRAM, 1);
  Shell(R"(sha1() { printf "$1" | openssl dgst -sha1 -binary; }
           printf secret >z; printf info >info
           kdf="$ORX kdf --secret z --info info -n 25 --format raw"
           $kdf >counted; $kdf --mode plain >plain
           cmp counted <(sha1 'secret\0\0\0\1info'; sha1 'secret\0\0\0\2info' | head -c 5)
           cmp plain <(sha1 secretinfo; sha1 secretinfo | head -c 5))");
}

TEST_F(DataCommandTest, KdfNamesWhatIsWrong) {
  ExpectAll({{"kdf --secret-hex 01", 2, "--length"},
             {"kdf --secret-hex 01 -n 0", 2, "--length"},
             {"kdf -n 1", 2, "give the secret"},
             {"kdf --secret-hex 0 -n 1", 2, "--secret-hex is not hexadecimal"},
             {"kdf --secret-hex 01 --info-hex 0 -n 1", 2, "--info-hex is not hexadecimal"},
             {"kdf --secret-hex 01 -n 1 --mode x", 2, "--mode takes"},
             {"kdf --secret-hex 01 -n 1 --format x", 2, "--format takes"},
             {"kdf --secret-hex 01 -n 1 --hash sha256", 1, "[KDF-ALGORITHM]"}});
}

TEST_F(DataCommandTest, RandomGivesAsManyBytesAsAsked) {
  for (const size_t count : {size_t{1}, size_t{49152}, size_t{49153}, size_t{200000}}) {
    const std::string random = "random " + std::to_string(count);
    EXPECT_EQ(Orx(random + " --format raw").out.size(), count);
    EXPECT_EQ(Orx(random).out.size(), 2 * count + 1);
    EXPECT_EQ(Orx(random + " --format base64").out.size(), (count + 2) / 3 * 4 + 1);
  }
  EXPECT_NE(Orx("random 16").out, Orx("random 16").out);
  for (const std::string count : {"0", "-1", "x"}) Expect("random -- " + count, 2);
}

TEST_F(DataCommandTest, StoreKeepsBytesAndGivesThemBackInEveryForm) {
  options_.input = std::string("a\0b", 3);
  EXPECT_EQ(OrxAnswer("store put 7")["result"]["size"].asInt(), 3);
  options_.input.clear();
  EXPECT_EQ(Read(kFolder + "7.bin"), std::string("a\0b", 3));
  EXPECT_EQ(Orx("store size 7").out, "3\n");
  EXPECT_EQ(Orx("store get 7").out, std::string("a\0b", 3));
  EXPECT_EQ(Orx("store get 7 --format hex").out, "610062\n");
  EXPECT_EQ(Orx("store get 7 --format base64").out, "YQBi\n");
  Write(kFolder + "07.bin", "no file of the library's");
  Write(kFolder + "5.bin", "another");
  EXPECT_THAT(Orx("store list").out,
              testing::MatchesRegex(
                  "NUMBER  SIZE  OWNER *MODE\n5       7     .*\n7       3     .* 06[06]0\n"));
  EXPECT_FALSE(Exists(kFolder + "7.unfinished"));
  Write(kFolder + "7.unfinished", "");
  Expect("store get 7", 1, "[STORE-UNFINISHED]");
  EXPECT_EQ(Orx("store rm 7").out, "store 7: removed\n");
  EXPECT_FALSE(Exists(kFolder + "7.bin") || Exists(kFolder + "7.unfinished"));
  for (const char* words : {"store get 7", "store size 7", "store rm 7"}) {
    Expect(words, 1, "[STORE-EMPTY]");
  }
}

TEST_F(DataCommandTest, StoreTakesLargeAndNegativeNumbersAndEmptyContent) {
  Expect("store put -- -3", 0);
  EXPECT_TRUE(Exists(kFolder + "-3.bin"));
  EXPECT_EQ(Orx("store get -- -3").out, "");
  const std::string large(300000, 'x');
  Write("large", large);
  Expect("store put 2147483647 -i @large", 0);
  EXPECT_TRUE(Orx("store get 2147483647").out == large);
  Expect("store get 2147483648", 2);
}

TEST_F(DataCommandTest, StoreLeavesNothingHalfWrittenOnAFullDisk) {
  std::filesystem::create_symlink("/dev/full", kFolder + "7.bin");
  options_.input = "text";
  Expect("store put 7", 1, "failed; the old content is gone too. [STORE-IO]");
  EXPECT_FALSE(std::filesystem::is_symlink(kFolder + "7.bin"));
  // Beyond the limit of a file's size, where a program that does not look ends by a signal.
  const ProgramResult limited = Program(
      {"bash", "-c", "ulimit -f 1; head -c 5000 /dev/zero | \"$0\" store put 7", ORX_PROGRAM});
  EXPECT_EQ(limited.exit_code, 1);
  EXPECT_THAT(limited.err, HasSubstr("failed; nothing was stored. [STORE-IO]"));
  EXPECT_FALSE(Exists(kFolder + "7.bin"));
}

// A lost answer is no success, whatever printed it, and a closed stream is not the next file
// opened.
TEST_F(DataCommandTest, LostStreamsAreToldApart) {
  const std::tuple<const char*, const char*, int, const char*> cases[] = {
      {"explain", ">/dev/full", 1, "No space left on device [OUTPUT-FAILED]"},
      {"explain", ">&-", 1, "[OUTPUT-FAILED]"},
      {"explain --timeout 60", ">/dev/full", 1, "[OUTPUT-FAILED]"},
      {"explain --json", ">/dev/full", 1, "[OUTPUT-FAILED]"},
      {"--help", ">/dev/full", 1, "[OUTPUT-FAILED]\n  try: "},
      {"--version", ">&-", 1, "[OUTPUT-FAILED]"},
      {"random 10", ">/dev/full", 1, "[OUTPUT-FAILED]"},
      {"doctor", ">/dev/full", 4, "[OUTPUT-FAILED]"},
      {"hash sha1", "<&-", 1, "cannot read standard input: Bad file descriptor"},
      {"store put 1 -i /proc/self/mem", "", 1, "Input/output error [INPUT-UNREADABLE]"},
      {"kdf --secret /dev/zero -n 1", "", 1, "[INPUT-TOO-LARGE]"},
      {"store put 1 -i /dev/zero", "", 1, "[INPUT-TOO-LARGE]"}};
  for (const auto& [words, redirection, exit_code, line] : cases) {
    SCOPED_TRACE(words + std::string(" ") + redirection);
    const ProgramResult result =
        Program({"bash", "-c", ORX_PROGRAM + std::string(" ") + words + " " + redirection});
    EXPECT_EQ(result.exit_code, exit_code);
    EXPECT_THAT(result.err, HasSubstr(line));
  }
}

// The folder is this test's own; a script sees it as a user with another umask, without rights over
// others' files, or with little memory or space would.
TEST_F(DataCommandTest, FilesArePrivateAndNothingIsLostByTheWay) {
  const std::string plain_user = geteuid() == 0 ? "setpriv --bounding-set=-all " : "";
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"umask 000; echo x | $ORX store put 1 >$D/answer; stat -c %a $F/1.bin", "660\n", ""},
      {"umask 022; echo x | $ORX store put 2 >$D/answer; stat -c %a $F/2.bin", "600\n", ""},
      {"umask 022; $ORX random 8 -o $D/new; stat -c %a $D/new", "600\n", ""},
      {"echo x >$D/old; chmod 640 $D/old; $ORX random 8 -o $D/old; stat -c %a $D/old", "640\n", ""},
      {"ln -s target $D/link; echo x >$D/target; $ORX random 8 -o $D/link; test -L $D/link;"
       " stat -c %s $D/target; test -c /dev/null",
       "17\n", ""},
      // Beyond what 32 bits of offset reach, where a file without large offsets cannot be opened.
      {"truncate -s 5G $D/large; $ORX store put 7 -i $D/large", "", "[INPUT-TOO-LARGE]"},
      {"echo old >$F/7.bin; $ORX store put 7 -i $D/no; cat $F/7.bin", "old\n", "cannot read"},
      // Through a pipe, which does not tell its size; the first is as long as what is read first.
      {"for n in 65537 200000; do head -c $n /dev/urandom >$D/in; cat $D/in | $ORX store put 8 "
       ">$D/o;"
       " $ORX store get 8 | cmp - $D/in; echo $?; done",
       "0\n0\n", ""},
      {"$ORX store put 9 -i /proc/self/status; $ORX store get 9 | grep -c ^Name", "1\n", ""},
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
       " bwrap --dev-bind / / --tmpfs /proc bash -c '$ORX random 8 -o $D/named;"
       " $ORX random 9999999999 -o $D/ended & until ls $D/.orx.*; do :; done; kill $!; wait $!;"
       " echo $?; ls -A $D | grep -e named -e ended -e ^.orx'",
       "143\nnamed\n", ""},
      {"$ORX random 9999999999 -o $D/killed & until ls -l /proc/$!/fd | grep -q deleted; do :; "
       "done;"
       " kill -9 $!; wait $!; ls -A $D | grep -c -e killed -e '^.orx'",
       "0\n", ""}};
  for (const auto& [script, out, err] : cases) {
    SCOPED_TRACE(script);
    setenv("ORX", ORX_PROGRAM, 1);
    setenv("AS_USER", plain_user.c_str(), 1);
    setenv("F", kFolder.c_str(), 1);
    setenv("D", work("").c_str(), 1);
    // What waits in vain is not to outlive the test.
    const ProgramResult result = Program({"bash", "-c", std::string("ulimit -t 60; ") + script});
    EXPECT_THAT(result.out, testing::EndsWith(out));
    EXPECT_THAT(result.err, HasSubstr(err));
  }
}

TEST_F(DataCommandTest, QuietLeavesOutNotes) {
  const std::string words = "kdf --secret-hex 01 -n 6000 -o /dev/null";
  EXPECT_THAT(Orx(words).err, HasSubstr("note: the counter has 8 bits"));
  EXPECT_EQ(Orx(words + " -q").err, "");
  EXPECT_EQ(Orx("kdf --secret-hex 01 -n 5100 -o /dev/null").err, "");
}

TEST_F(DataCommandTest, JsonIsJsonWhateverTheBytes) {
  const std::string name = work("\xff\"\n");
  Write(name, "abc");
  const Json::Value answer = orx_test::ParseJson(Orx({"hash", "sha1", name, "--json"}).out);
  EXPECT_EQ(answer["result"]["digests"][0]["hex"].asString(),
            "a9993e364706816aba3e25717850c26c9cd0d89d");
}

TEST_F(DataCommandTest, UsageErrorsGetOneLine) {
  const Row rows[] = {{"", 2, "a command is needed"},
                      {"frobnicate", 2, "unknown command 'frobnicate'; see"},
                      {"encypt 50", 2, "did you mean 'encrypt'?"},
                      {"sotre put 1", 2, "did you mean 'store put'?"},
                      {"chekc", 2, "did you mean 'check'?"},
                      {"key improt 50", 2, "did you mean 'key import'?"},
                      {"key", 2, "'key' needs one of its commands"},
                      {"key frobnicate", 2, "'key' needs one of its commands"},
                      {"store size", 2, "it needs NUMBER"},
                      {"store size 1 2", 2, "unexpected argument '2'"},
                      {"random 1 --frobnicate", 2, "unknown or ambiguous option"},
                      {"random 1 -z", 2, "unknown option '-z'"},
                      {"random 1 --output", 2, "'--output' needs a value"},
                      {"random 1 -o", 2, "'-o' needs a value"},
                      {"random 1 --json=3", 2, "'--json' takes no value"},
                      {"random 1x", 2, "the number of bytes"},
                      {{"random", ""}, 2, ""},
                      {"store size 99999999999999999999", 2, "99999999999999999999"},
                      {"store size -- -2147483649", 2, "-2147483649"},
                      {"random 1 --timeout 0", 2, "--timeout takes"},
                      {"random 1 --timeout 1x", 2, "--timeout takes"},
                      {"random 1 --timeout 1e3", 2, "--timeout takes"},
                      {{"hash", "sha1", ""}, 2, "FILE is empty; see"},
                      {{"chain", "show", "x", ""}, 2, "FILE is empty; see"},
                      {{"check", "model", ""}, 2, "NAME is empty; see"},
                      {{"random", "1", "-o", ""}, 2, "'--output' needs a value"},
                      {{"store", "put", "1", "-i", ""}, 2, "'--input' needs a value"}};
  for (const Row& row : rows) {
    const std::string err = Expect(row.words, row.exit_code, row.text).err;
    EXPECT_EQ(err.find('\n'), err.size() - 1) << err;
  }
}

TEST_F(DataCommandTest, EveryLevelHasHelp) {
  const std::string all = Orx("--help").out;
  EXPECT_EQ(Orx("help").out, all);
  // Each line of the command list names a command whose own help begins with its usage.
  std::vector<std::string> commands;
  orx_test::Replaced(all.substr(0, all.find("Options of every")), "\n  ([a-z-]+( [a-z]+)?) ", "",
                     &commands);
  for (const std::string& name : commands) Expect("help " + name, 0, "usage: orx " + name);
  EXPECT_GE(commands.size(), 25u);
  Expect("key --help", 0, "key import");
  Expect("help mode", 0, "mode.\n\nOptions of every");
}

}  // namespace
}  // namespace orx_tool
