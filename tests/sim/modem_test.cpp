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

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

namespace orx_sim {
namespace {

using android::base::unique_fd;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char kSocket[] = "/dev/socket/rild-oem";
constexpr char kCgsn[] = "TCATSEND,0,AT+CGSN";
constexpr char kEgmr[] = "TCATSEND,0,AT+EGMR=0,10#+EGMR";
constexpr char kMeid[] = "TCATSEND,0,AT^MEID";

std::string Word(int32_t value) {
  std::string bytes(sizeof(value), '\0');
  memcpy(bytes.data(), &value, sizeof(value));
  return bytes;
}

std::string Request(const std::string& command) {
  return Word(1) + Word(static_cast<int32_t>(command.size())) + command;
}

unique_fd Connect() {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  strcpy(address.sun_path, kSocket);
  unique_fd fd(socket(AF_UNIX, SOCK_STREAM, 0));
  if (connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) return {};
  return fd;
}

std::string ReadToEnd(const unique_fd& fd) {
  std::string all;
  char buffer[4096];
  for (ssize_t count = 0; (count = recv(fd.get(), buffer, sizeof(buffer), 0)) > 0;) {
    all.append(buffer, static_cast<size_t>(count));
  }
  return all;
}

void SendAll(const unique_fd& fd, const std::string& bytes) {
  EXPECT_EQ(send(fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(bytes.size()));
}

std::string Ask(const std::string& command) {
  const unique_fd fd = Connect();
  SendAll(fd, Request(command));
  return ReadToEnd(fd);
}

bool ClosesWithin(const unique_fd& fd, milliseconds limit) {
  pollfd ready = {fd.get(), POLLRDHUP, 0};
  return poll(&ready, 1, static_cast<int>(limit.count())) == 1;
}

class Modem : public ::testing::Test {
 protected:
  ModemSettings Settings(const std::vector<std::string>& faults = {}) {
    ModemSettings settings = {"490154203237518", "490154203237526", "99000012345678", {}};
    settings.late_by = milliseconds{300};
    std::string error;
    for (const std::string& fault : faults) {
      EXPECT_TRUE(SetModemFault(&settings, fault, &error)) << error;
    }
    return settings;
  }

  void Start(const ModemSettings& settings) {
    std::string error;
    ASSERT_TRUE(daemon_.Start(kSocket, settings, &error)) << error;
  }

  // The next complaint, which is there at most two and a half seconds after its cause.
  std::string Complaint() {
    std::unique_lock<std::mutex> lock(mutex_);
    complained_.wait_for(lock, milliseconds{10000}, [this] { return !complaints_.empty(); });
    if (complaints_.empty()) return "no complaint";
    std::string first = complaints_.front();
    complaints_.erase(complaints_.begin());
    return first;
  }

  std::mutex mutex_;
  std::condition_variable complained_;
  std::vector<std::string> complaints_;
  ModemDaemon daemon_{[this](const std::string& reason) {
    const std::lock_guard<std::mutex> lock(mutex_);
    complaints_.push_back(reason);
    complained_.notify_one();
  }};
};

struct Form {
  const char* title;
  std::vector<std::string> faults;
  const char* command;
  const char* answer;
};

class ModemForm : public Modem, public ::testing::WithParamInterface<Form> {};

TEST_P(ModemForm, IsWhatTheFaultsMakeOfIt) {
  Start(Settings(GetParam().faults));
  EXPECT_EQ(Ask(GetParam().command), GetParam().answer);
  EXPECT_EQ(Ask(GetParam().command), GetParam().answer) << "the next client";
}

INSTANTIATE_TEST_SUITE_P(
    All, ModemForm,
    ::testing::Values(
        Form{"Imei", {}, kCgsn, "490154203237518"},
        Form{"SecondImei", {}, kEgmr, "+EGMR: \"490154203237526\""},
        Form{"Meid", {}, kMeid, "99000012345678"},
        Form{"AnotherCommand", {}, "TCATSEND,0,AT+CSQ", "ERROR"},
        Form{"AnotherSlot", {}, "TCATSEND,1,AT+CGSN", "ERROR"},
        Form{"Echo", {"modem:echo"}, kEgmr, "AT+EGMR=0,10\r\n+EGMR: \"490154203237526\""},
        Form{"EchoOfAnyCommand", {"modem:echo"}, "AT", "AT\r\nERROR"},
        Form{"TrailingOk", {"modem:trailing-ok"}, kCgsn, "490154203237518\r\nOK\r\n"},
        Form{"ErrorIsFinal", {"modem:trailing-ok"}, "AT", "ERROR"},
        Form{"QuotedImei", {"modem:quoted"}, kCgsn, "\"490154203237518\""},
        Form{"QuotedMeid", {"modem:quoted"}, kMeid, "\"99000012345678\""},
        Form{"Unquoted", {"modem:unquoted"}, kEgmr, "+EGMR: 490154203237526"},
        Form{"Letters", {"modem:meid-letters"}, kMeid, "A9000012345678"},
        Form{"TooLong", {"modem:too-long"}, kCgsn, "4901542032375180"},
        Form{"TooLongInQuotes", {"modem:too-long"}, kEgmr, "+EGMR: \"4901542032375260\""},
        Form{"Late", {"modem:late"}, kMeid, "99000012345678"},
        Form{"Split", {"modem:split"}, kMeid, "99000012345678"},
        Form{"Close", {"modem:close"}, kCgsn, ""},
        Form{"Together",
             {"modem:echo", "modem:quoted", "modem:trailing-ok", "modem:split"},
             kCgsn,
             "AT+CGSN\r\n\"490154203237518\"\r\nOK\r\n"}),
    [](const auto& row) { return row.param.title; });

TEST_F(Modem, AnIdentifierThatTheDeviceDoesNotHaveIsAnError) {
  Start(ModemSettings());
  for (const char* command : {kCgsn, kEgmr, kMeid}) EXPECT_EQ(Ask(command), "ERROR") << command;
}

TEST_F(Modem, EveryNamedFaultCanBeSetAndNoOther) {
  ModemSettings settings;
  std::string error;
  for (const std::string& name : ModemFaultNames()) {
    EXPECT_TRUE(SetModemFault(&settings, name, &error)) << name;
  }
  EXPECT_EQ(settings.faults.size(), 10u) << "each name is a fault of its own";
  settings.faults.clear();
  EXPECT_FALSE(SetModemFault(&settings, "late", &error));
  EXPECT_TRUE(settings.faults.empty());
  EXPECT_THAT(error, HasSubstr("'late'; there are modem:late modem:silent"));
}

TEST_F(Modem, ALateAnswerTakesItsTime) {
  Start(Settings({"modem:late"}));
  const steady_clock::time_point start = steady_clock::now();
  EXPECT_EQ(Ask(kCgsn), "490154203237518");
  EXPECT_GE(steady_clock::now() - start, milliseconds{300});
}

TEST_F(Modem, ASplitAnswerComesInTwoReceives) {
  Start(Settings({"modem:split"}));
  const unique_fd fd = Connect();
  SendAll(fd, Request(kCgsn));
  char buffer[64];
  EXPECT_EQ(recv(fd.get(), buffer, sizeof(buffer), 0), 7);
  EXPECT_EQ(recv(fd.get(), buffer, sizeof(buffer), 0), 8);
}

TEST_F(Modem, ASilentDaemonServesTheNextClientOnceOneHasGone) {
  Start(Settings({"modem:silent"}));
  unique_fd first = Connect();
  SendAll(first, Request(kCgsn));
  EXPECT_FALSE(ClosesWithin(first, milliseconds{200}));
  first.reset();
  const unique_fd second = Connect();
  SendAll(second, Word(2));
  EXPECT_THAT(Complaint(), HasSubstr("count word")) << "the second one is read";
}

TEST_F(Modem, StoppingEndsEveryWaitAndRemovesTheSocket) {
  for (const char* fault : {"modem:silent", "modem:late"}) {
    Start(Settings({fault}));
    const unique_fd fd = Connect();
    SendAll(fd, Request(kCgsn));
    EXPECT_FALSE(ClosesWithin(fd, milliseconds{100}));
    daemon_.Stop();
    EXPECT_TRUE(ClosesWithin(fd, milliseconds{0}));
    EXPECT_EQ(ReadToEnd(fd), "");
    EXPECT_EQ(access(kSocket, F_OK), -1);
    daemon_.Stop();  // a second time does nothing
  }
}

struct Malformed {
  const char* title;
  std::string bytes;
  const char* reason;
};

class ModemRefusal : public Modem, public ::testing::WithParamInterface<Malformed> {};

TEST_P(ModemRefusal, ClosesWithoutAnAnswerAndSaysWhy) {
  Start(Settings());
  const unique_fd fd = Connect();
  SendAll(fd, GetParam().bytes);
  shutdown(fd.get(), SHUT_WR);
  EXPECT_EQ(ReadToEnd(fd), "");
  EXPECT_EQ(Complaint(), std::string("refused a request: ") + GetParam().reason);
  EXPECT_EQ(Ask(kCgsn), "490154203237518") << "the next client";
}

INSTANTIATE_TEST_SUITE_P(
    All, ModemRefusal,
    ::testing::Values(
        Malformed{"CountZero", Word(0) + Word(2) + "AT", "the count word is 0, not 1"},
        Malformed{"CountTwo", Word(2), "the count word is 2, not 1"},
        Malformed{"LengthZero", Word(1) + Word(0), "the length word is 0, not 1 to 1024"},
        Malformed{"LengthNegative", Word(1) + Word(-1), "the length word is -1, not 1 to 1024"},
        Malformed{"LengthTooLong", Word(1) + Word(1025), "the length word is 1025, not 1 to 1024"},
        Malformed{"WrongByteOrder", std::string("\0\0\0\1", 4) + "\0\0\0\2",
                  "the count word is 16777216, not 1"},
        Malformed{"Terminated", Word(1) + Word(3) + std::string("AT\0", 3),
                  "the command has bytes that are not printable ASCII"},
        Malformed{"LineEnd", Word(1) + Word(3) + "AT\r",
                  "the command has bytes that are not printable ASCII"},
        Malformed{"More", Word(1) + Word(2) + "AT+", "bytes follow the command"},
        Malformed{"HalfACount", std::string("\1\0", 2), "ends after 2 bytes"},
        Malformed{"HalfALength", Word(1) + "\1", "ends after 5 bytes"},
        Malformed{"HalfACommand", Word(1) + Word(18) + "TCATSEND", "ends after 16 bytes"}),
    [](const auto& row) { return row.param.title; });

TEST_F(Modem, ARequestIsReadHoweverItComesApart) {
  Start(Settings());
  const unique_fd fd = Connect();
  for (char byte : Request(kCgsn)) SendAll(fd, std::string(1, byte));
  EXPECT_EQ(ReadToEnd(fd), "490154203237518");
  const std::string longest(1024, 'A');
  EXPECT_EQ(Ask(longest), "ERROR");
}

TEST_F(Modem, AClientThatStallsIsRefusedAndTheNextOneServed) {
  Start(Settings());
  const unique_fd stalled = Connect();
  SendAll(stalled, Word(1));
  EXPECT_EQ(Ask(kCgsn), "490154203237518");
  EXPECT_EQ(Complaint(), "refused a request: incomplete after 4 bytes");
}

TEST_F(Modem, TheSocketIsPrivate) {
  Start(Settings());
  struct stat status = {};
  ASSERT_EQ(stat(kSocket, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(Modem, StartingRefusesWhatItCannotListenAt) {
  std::string error;
  EXPECT_FALSE(daemon_.Start("/dev/socket/none/rild-oem", Settings(), &error));
  EXPECT_THAT(error, HasSubstr("/dev/socket/none/rild-oem: No such file or directory"));
  EXPECT_FALSE(daemon_.Start(std::string(108, 's'), Settings(), &error));
  EXPECT_THAT(error, HasSubstr("1 to 107 bytes"));

  std::ofstream("/dev/socket/file") << "kept";
  EXPECT_FALSE(daemon_.Start("/dev/socket/file", Settings(), &error));
  EXPECT_EQ(error, "there is a file that is no socket at /dev/socket/file");
  EXPECT_EQ(access("/dev/socket/file", F_OK), 0);

  Start(Settings());
  EXPECT_FALSE(daemon_.Start("/dev/socket/other", Settings(), &error));
  EXPECT_EQ(error, "the modem daemon runs already");
  ModemDaemon other;
  EXPECT_FALSE(other.Start(kSocket, Settings(), &error));
  EXPECT_EQ(error, "another daemon listens at /dev/socket/rild-oem");
  EXPECT_EQ(Ask(kCgsn), "490154203237518") << "and is not disturbed";
}

TEST_F(Modem, TheSocketOfADaemonThatDiedIsReplaced) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  strcpy(address.sun_path, kSocket);
  unique_fd dead(socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(bind(dead.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  dead.reset();
  Start(Settings());
  EXPECT_EQ(Ask(kCgsn), "490154203237518");
}

}  // namespace
}  // namespace orx_sim
