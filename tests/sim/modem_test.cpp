// SPDX-License-Identifier: Apache-2.0
#include "sim/modem.h"

#include <android-base/unique_fd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <fstream>
#include <future>
#include <string>
#include <vector>

namespace orx_sim {
namespace {

using android::base::unique_fd;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::HasSubstr;

constexpr sockaddr_un kAddress = {AF_UNIX, "/dev/socket/rild-oem"};
constexpr char kCgsn[] = "TCATSEND,0,AT+CGSN";
constexpr char kEgmr[] = "TCATSEND,0,AT+EGMR=0,10#+EGMR";
constexpr char kMeid[] = "TCATSEND,0,AT^MEID";
constexpr char kImei[] = "490154203237518";

std::string Word(int32_t value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof(value));
}

std::string Request(const std::string& command) {
  return Word(1) + Word(static_cast<int32_t>(command.size())) + command;
}

ModemSettings Settings(const std::vector<std::string>& faults = {}) {
  ModemSettings settings = {kImei, "490154203237526", "99000012345678", {}};
  settings.late_by = milliseconds{300};
  std::string error;
  for (const std::string& fault : faults) EXPECT_TRUE(SetModemFault(&settings, fault, &error));
  return settings;
}

class Modem : public ::testing::Test {
 protected:
  void Start(const ModemSettings& settings) {
    std::string error;
    ASSERT_TRUE(daemon_.Start(kAddress.sun_path, settings, &error)) << error;
  }

  static unique_fd Send(const std::string& bytes) {
    unique_fd fd(socket(AF_UNIX, SOCK_STREAM, 0));
    EXPECT_EQ(connect(fd.get(), reinterpret_cast<const sockaddr*>(&kAddress), sizeof(kAddress)), 0);
    EXPECT_EQ(send(fd.get(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    return fd;
  }

  static std::string Receive(const unique_fd& fd) {
    char buffer[4096];
    return std::string(buffer, std::max<ssize_t>(recv(fd.get(), buffer, sizeof(buffer), 0), 0));
  }

  static std::string Ask(const std::string& command) { return Receive(Send(Request(command))); }

  static bool ClosesWithin(const unique_fd& fd, milliseconds limit) {
    pollfd ready = {fd.get(), POLLRDHUP, 0};
    return poll(&ready, 1, static_cast<int>(limit.count())) == 1;
  }

  std::promise<std::string> complaint_;  // of the first complaint, and there is only one
  ModemDaemon daemon_{[this](const std::string& reason) { complaint_.set_value(reason); }};
};

TEST_F(Modem, AnAnswerIsWhatTheFaultsMakeOfIt) {
  const struct {
    std::vector<std::string> faults;
    const char* command;
    const char* answer;
  } rows[] = {
      {{}, kCgsn, "490154203237518"},
      {{}, kEgmr, "+EGMR: \"490154203237526\""},
      {{}, "TCATSEND,1,AT+CGSN", "ERROR"},
      {{"modem:echo"}, kEgmr, "AT+EGMR=0,10\r\n+EGMR: \"490154203237526\""},
      {{"modem:echo"}, "AT", "AT\r\nERROR"},
      {{"modem:trailing-ok"}, kCgsn, "490154203237518\r\nOK\r\n"},
      {{"modem:trailing-ok"}, "AT", "ERROR"},
      {{"modem:quoted"}, kMeid, "\"99000012345678\""},
      {{"modem:unquoted"}, kEgmr, "+EGMR: 490154203237526"},
      {{"modem:meid-letters"}, kMeid, "A9000012345678"},
      {{"modem:too-long", "modem:quoted"}, kCgsn, "\"4901542032375180\""},
      {{"modem:too-long"}, kEgmr, "+EGMR: \"4901542032375260\""},
  };
  for (const auto& row : rows)
    EXPECT_EQ(ModemAnswer(Settings(row.faults), row.command), row.answer);
  for (const char* command : {kCgsn, kEgmr, kMeid}) EXPECT_EQ(ModemAnswer({}, command), "ERROR");
}

TEST_F(Modem, EveryNameIsAFaultOfItsOwnAndNoOtherIsTaken) {
  ModemSettings settings = Settings(ModemFaultNames());
  EXPECT_EQ(settings.faults.size(), 10u);
  std::string error;
  EXPECT_FALSE(SetModemFault(&settings, "late", &error));
  EXPECT_THAT(error, HasSubstr("'late'; there are modem:late modem:silent"));
}

TEST_F(Modem, ARequestIsTakenWholeOrRefusedWithTheReason) {
  const std::string longest(1024, 'A');
  const struct {
    std::string bytes;
    ssize_t length;
    std::string reason;
  } rows[] = {
      {Request(longest), 1032, ""},
      {Request("AT") + "more", 10, ""},
      {Request(longest + "A"), -1, "the length word is 1025, not 1 to 1024"},
      {Request(""), -1, "the length word is 0, not 1 to 1024"},
      {Word(1) + Word(-1), -1, "the length word is -1, not 1 to 1024"},
      {Word(2), -1, "the count word is 2, not 1"},
      {std::string("\0\0\0\1", 4), -1, "the count word is 16777216, not 1"},
      {Request("AT\r"), -1, "the command has bytes that are not printable ASCII"},
  };
  for (const auto& row : rows) {
    std::string command, error;
    EXPECT_EQ(ParseModemRequest(row.bytes, &command, &error), row.length);
    EXPECT_EQ(error, row.reason);
    EXPECT_EQ(command, row.length < 0 ? "" : row.bytes.substr(8, row.length - 8));
  }
  const std::string whole = Request(kCgsn);
  for (size_t size = 0; size < whole.size(); ++size) {
    std::string command, error;
    EXPECT_EQ(ParseModemRequest(whole.substr(0, size), &command, &error), 0) << size;
  }
}

class ModemRefusal : public Modem,
                     public ::testing::WithParamInterface<std::pair<std::string, const char*>> {};

TEST_P(ModemRefusal, ClosesWithoutAnAnswerAndServesTheNextClient) {
  Start(Settings());
  const unique_fd fd = Send(GetParam().first);
  EXPECT_EQ(Ask(kCgsn), kImei);
  EXPECT_EQ(Receive(fd), "");
  EXPECT_EQ(complaint_.get_future().get(), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(
    All, ModemRefusal,
    ::testing::Values(std::pair(Word(7), "refused a request: the count word is 7, not 1"),
                      std::pair(Request("AT") + "+", "refused a request: bytes follow the command"),
                      std::pair(Word(1), "refused a request: incomplete after 4 bytes")));

TEST_F(Modem, FaultsOfTimingActOnTheConnection) {
  Start(Settings({"modem:split", "modem:late"}));
  const steady_clock::time_point start = steady_clock::now();
  const unique_fd fd = Send(Request(kCgsn));
  EXPECT_EQ(Receive(fd), "4901542");
  EXPECT_GE(steady_clock::now() - start, milliseconds{300});
  EXPECT_EQ(Receive(fd), "03237518");
  daemon_.Stop();
  Start(Settings({"modem:close"}));
  EXPECT_EQ(Ask(kCgsn), "");
}

TEST_F(Modem, ASilentDaemonKeepsAClientUntilItGoesOrTheDaemonStops) {
  Start(Settings({"modem:silent"}));
  unique_fd first = Send(Request(kCgsn));
  EXPECT_FALSE(ClosesWithin(first, milliseconds{200}));
  const unique_fd second = Send(Word(2));
  first.reset();
  EXPECT_TRUE(ClosesWithin(second, milliseconds{5000})) << "it is read, and refused";
  const unique_fd third = Send(Request(kCgsn));
  EXPECT_FALSE(ClosesWithin(third, milliseconds{100}));
  daemon_.Stop();
  EXPECT_TRUE(ClosesWithin(third, milliseconds{0}));
  EXPECT_EQ(access(kAddress.sun_path, F_OK), -1);
}

TEST_F(Modem, StartingRefusesWhatItCannotListenAt) {
  std::ofstream("/dev/socket/file") << "kept";
  Start(Settings());
  ModemDaemon other;
  const std::string overlong(108, 's');
  for (const auto& [path, reason] : std::vector<std::pair<std::string, const char*>>{
           {"/dev/socket/none/modem", "/dev/socket/none/modem: No such file or directory"},
           {overlong, "1 to 107 bytes"},
           {"/dev/socket/file", "there is a file that is no socket at /dev/socket/file"},
           {kAddress.sun_path, "another daemon listens at /dev/socket/rild-oem"}}) {
    std::string error;
    EXPECT_FALSE(other.Start(path, Settings(), &error));
    EXPECT_THAT(error, HasSubstr(reason));
  }
  EXPECT_EQ(access("/dev/socket/file", F_OK), 0);
  EXPECT_EQ(Ask(kCgsn), kImei) << "the one that listens is not disturbed";
}

TEST_F(Modem, TheSocketOfADaemonThatDiedIsReplacedByAPrivateOne) {
  const unique_fd dead(socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(bind(dead.get(), reinterpret_cast<const sockaddr*>(&kAddress), sizeof(kAddress)), 0);
  Start(Settings());
  EXPECT_EQ(Ask(kCgsn), kImei);
  struct stat status = {};
  ASSERT_EQ(stat(kAddress.sun_path, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

}  // namespace
}  // namespace orx_sim
