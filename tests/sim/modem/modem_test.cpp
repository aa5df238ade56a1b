// SPDX-License-Identifier: Apache-2.0
#include "sim/modem/modem.h"

#include <android-base/unique_fd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace orx_sim {
namespace {

using android::base::unique_fd;
using std::chrono::milliseconds;

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

ModemFaults Faults(const std::vector<std::string>& names) {
  ModemFaults faults;
  std::string error;
  for (const std::string& name : names) EXPECT_TRUE(ParseModemFault(name, &faults, &error));
  return faults;
}

ModemSettings Settings(const std::vector<std::string>& faults = {}) {
  ModemSettings settings = {kImei, "490154203237526", "99000012345678", {}};
  settings.faults = [faults] { return Faults(faults); };
  settings.request_limit = milliseconds{100};
  settings.segment_pause = milliseconds{20};
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

  std::string complaint_;  // the last one
  ModemDaemon daemon_{[this](const std::string& reason) { complaint_ = reason; }};
};

TEST_F(Modem, AnAnswerIsWhatTheFaultsMakeOfIt) {
  const std::tuple<std::vector<std::string>, const char*, const char*> rows[] = {
      {{}, "TCATSEND,1,AT+CGSN", "ERROR"},
      {{"echo"}, kEgmr, "AT+EGMR=0,10\r\n+EGMR: \"490154203237526\""},
      {{"trailing-ok"}, kCgsn, "490154203237518\r\nOK\r\n"},
      {{"trailing-ok"}, "AT", "ERROR"},
      {{"echo"}, "AT", "AT\r\nERROR"},
      {{"quoted"}, kMeid, "\"99000012345678\""},
      {{"unquoted"}, kEgmr, "+EGMR: 490154203237526"},
      {{"too-long", "quoted"}, kCgsn, "\"4901542032375180\""},
  };
  for (const auto& [faults, command, answer] : rows) {
    EXPECT_EQ(ModemAnswer(Settings(), Faults(faults), command), answer);
  }
  for (const char* command : {kCgsn, kEgmr, kMeid})
    EXPECT_EQ(ModemAnswer({}, {}, command), "ERROR");
}

TEST_F(Modem, ARequestIsTakenWholeOrRefusedWithTheReason) {
  Start(Settings());
  const std::string longest(1024, 'A');
  const std::pair<std::string, const char*> rows[] = {
      {Request(longest + "A"), "the length word is 1025, not 1 to 1024"},
      {Request(""), "the length word is 0, not 1 to 1024"},
      {Word(1) + Word(-1), "the length word is -1, not 1 to 1024"},
      {std::string("\0\0\0\1", 4) + Word(1) + "A", "the count word is 16777216, not 1"},
      {Request("AT\r"), "the command has bytes that are not printable ASCII"},
      {Request("AT") + "+", "bytes follow the command"},
      {Request("AT").substr(0, 9), "incomplete after 9 bytes"},
  };
  for (const auto& [bytes, reason] : rows) {
    const unique_fd fd = Send(bytes);
    EXPECT_EQ(Ask(longest), "ERROR") << "the next client is served";
    EXPECT_EQ(Receive(fd), "");
    EXPECT_EQ(complaint_, std::string("refused a request: ") + reason);
  }
}

// Else the client would meet a broken connection instead of its end.
TEST_F(Modem, ARefusedRequestIsReadAsFarAsItAnnouncesItself) {
  Start(Settings());
  const unique_fd fd = Send(Word(1) + Word(3000) + std::string(2999, '\r'));
  pollfd closed = {fd.get(), POLLIN, 0};
  EXPECT_EQ(poll(&closed, 1, 20), 0) << "a byte is to come";
  EXPECT_EQ(send(fd.get(), "A", 1, MSG_NOSIGNAL), 1);
  char byte;
  EXPECT_EQ(recv(fd.get(), &byte, 1, 0), 0) << strerror(errno);
}

TEST_F(Modem, FaultsOfTimingActOnTheConnection) {
  Start(Settings({"split", "delay=0.25"}));
  const auto start = std::chrono::steady_clock::now();
  const unique_fd fd = Send(Request(kCgsn));
  EXPECT_EQ(Receive(fd), "4901542");
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds{250});
  EXPECT_EQ(Receive(fd), "03237518");
}

TEST_F(Modem, ASilentDaemonKeepsAClientUntilItGoesOrTheDaemonStops) {
  Start(Settings({"silent"}));
  const unique_fd fd = Send(Request(kCgsn));
  pollfd closed = {fd.get(), POLLRDHUP, 0};
  EXPECT_EQ(poll(&closed, 1, 100), 0);
  daemon_.Stop();
  EXPECT_EQ(Receive(fd), "");
  Start(Settings({"silent"}));
  Send(Request(kCgsn)).reset();
  EXPECT_EQ(Receive(Send(Word(2))), "") << "the next one is read, and refused";
}

TEST_F(Modem, StartingReplacesADeadSocketByAPrivateOneAndNothingElse) {
  const unique_fd dead(socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(bind(dead.get(), reinterpret_cast<const sockaddr*>(&kAddress), sizeof(kAddress)), 0);
  Start(Settings());
  EXPECT_EQ(std::filesystem::status(kAddress.sun_path).permissions(), std::filesystem::perms(0600));

  std::ofstream("/dev/socket/file") << "kept";
  for (const auto& [path, reason] : std::map<std::string, std::string>{
           {"/dev/socket/" + std::string(108, 's'), "is not a name for a socket"},
           {"/dev/gone/socket", "cannot look at /dev/gone/: No such file or directory"},
           {"/dev/socket/file", "a file that is not a socket is at /dev/socket/file"},
           {kAddress.sun_path, "another daemon listens on /dev/socket/rild-oem"}}) {
    std::string error;
    EXPECT_FALSE(ModemDaemon().Start(path, Settings(), &error));
    EXPECT_THAT(error, ::testing::HasSubstr(reason));
  }
  EXPECT_EQ(access("/dev/socket/file", F_OK), 0);
  EXPECT_EQ(Ask(kCgsn), kImei) << "the one that listens is not disturbed";
}

}  // namespace
}  // namespace orx_sim
