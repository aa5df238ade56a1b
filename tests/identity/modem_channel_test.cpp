// SPDX-License-Identifier: Apache-2.0
// ORX_communicate_with_modem() and ORX_read_socket() on real sockets. The log lines mark the steps,
// so a test acts between two of them through the log.
#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <orx/device.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "support/counted_sleep.h"
#include "support/log_capture.h"
#include "support/scripted_modem.h"

#ifdef __SANITIZE_ADDRESS__
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace orx_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::Not;
using Lines = std::vector<std::string>;

constexpr char kCommand[] = "TCATSEND,0,AT+CGSN";
constexpr char kImei[] = "490154203237518";

// The descriptor that the next socket gets.
int NextDescriptor() {
  const int fd = dup(STDERR_FILENO);
  close(fd);
  return fd;
}

Lines operator+(Lines first, const Lines& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// One attempt, from its start to where errno decides.
Lines OpenedLines(const std::string& fd) {
  return {"socket_fd =  " + fd + " ", "Attempting to connect to socket " + fd + " "};
}

Lines WaitLines(const std::string& error) {
  return {"waiting for connection. errno = " + error, "Using timeout of 1000 milliseconds",
          "Waiting for connect() to finish"};
}

Lines FailedAttempt(const Lines& steps, int number) {
  return steps + Lines{"Connect to AT command engine with " + std::to_string(number) + " fails"};
}

Lines SendingLines() {
  return {"Successfully connected!", "Processing commands...",
          std::string("start AT req command: ") + kCommand + " "};
}

Lines WaitForAnswerLines(const std::string& fd) {
  return {"Successfully sent 18 byte(s) AT CMD to fd " + fd + " ",
          "Receive response from server connection " + fd + ", timeout = 0",
          "No response timeout is set, wait util the data is received"};
}

Lines ReadLines(const std::string& fd) {
  return {"Attempt to read at response.", "FD_ISSET to read at response.",
          "Attepmting to read 3072 bytes from " + fd + "."};
}

Lines FailedReadLines(const std::string& status) {
  return {"FD_ISSET to read at response, fail", "Error getting AT response for status = " + status};
}

Lines EndLines(const std::string& fd, const std::string& status) {
  return {"Done, status= " + status, "Closed socket = " + fd + " "};
}

void Ignore(int /*signal*/) {}

// Makes SIGALRM interrupt system calls, every 50 ms from now on.
void StartInterrupting() {
  struct sigaction action = {};
  action.sa_handler = Ignore;
  sigaction(SIGALRM, &action, nullptr);
  const itimerval timer = {{0, 50000}, {0, 50000}};
  setitimer(ITIMER_REAL, &timer, nullptr);
}

void StopInterrupting() {
  const itimerval timer = {};
  setitimer(ITIMER_REAL, &timer, nullptr);
}

class ModemChannel : public ::testing::Test {
 protected:
  ModemChannel() {
    // The modem's thread is not the one to be interrupted.
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, &signals_);
    At("", [](int) {});
  }
  ~ModemChannel() override { StopInterrupting(); }

  int Ask() { return Ask(kCommand); }
  int Ask(const char* command) {
    pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
    fds_.clear();
    log_.Clear();
    errno = errno_before_;
    return ORX_communicate_with_modem(command, response_.data());
  }

  // Calls `action` with the current socket each time a message that starts with `step` is logged.
  void At(const std::string& step, std::function<void(int fd)> action) {
    log_.OnMessage([this, step, action](const std::string& message) {
      if (message.rfind("socket_fd", 0) == 0) {
        fds_.push_back(message.substr(13, message.size() - 14));
      } else if (message.rfind(step, 0) == 0 && !fds_.empty()) {
        action(std::stoi(fds_.back()));
      }
    });
  }

  Lines ConnectedLines() {
    return Lines{"Establishing connection..."} + OpenedLines(fds_.back()) + SendingLines();
  }

  sigset_t signals_;
  int errno_before_ = 0;  // what Ask() finds; logging keeps errno as it is
  Lines fds_;             // the sockets of the last Ask(), in their order
  std::vector<char> response_ = std::vector<char>(4096, '\0');
  LogCapture log_;
};

TEST_F(ModemChannel, ANullOrEmptyCommandOpensNothing) {
  for (const char* command : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(Ask(command), -3);
    EXPECT_THAT(log_.messages(), ElementsAre("Error. Requested AT command is null."));
  }
}

TEST_F(ModemChannel, AnExchangeSendsCountLengthAndCommandAndLogsEveryStep) {
  std::string request;
  ScriptedModem modem([&](int client) {
    request = ReadModemRequest(client);
    send(client, kImei, 15, 0);
    char more;
    EXPECT_EQ(recv(client, &more, 1, 0), 0) << "one request, then the connection is closed";
  });
  ASSERT_EQ(Ask(), 0);
  EXPECT_STREQ(response_.data(), kImei);
  EXPECT_THAT(
      log_.messages(),
      ElementsAreArray(ConnectedLines() + WaitForAnswerLines(fds_.back()) + ReadLines(fds_.back()) +
                       Lines{"AT data receive is 490154203237518, data length is 15",
                             "Total response: 490154203237518", "AT  success!"} +
                       EndLines(fds_.back(), "0")));
  EXPECT_THAT(log_.paths(), ::testing::Each("src/mtk/at_Get_ModemIDs.cpp"));
  EXPECT_EQ(request, std::string("\x01\0\0\0\x12\0\0\0", 8) + kCommand);
}

TEST_F(ModemChannel, AnErrnoFromBeforeOnlyCostsTheWaitForTheSocket) {
  ScriptedModem modem(ScriptedModem::Answers(kImei));
  errno_before_ = EPERM;
  ASSERT_EQ(Ask(), 0);
  EXPECT_THAT(log_.messages(),
              ElementsAreArray(Lines{"Establishing connection..."} + OpenedLines(fds_.back()) +
                               WaitLines("1 (Operation not permitted)") + SendingLines() +
                               WaitForAnswerLines(fds_.back()) + ReadLines(fds_.back()) +
                               Lines{"AT data receive is 490154203237518, data length is 15",
                                     "Total response: 490154203237518", "AT  success!"} +
                               EndLines(fds_.back(), "0")));
}

TEST_F(ModemChannel, WithoutADaemonThirtyAttemptsPauseASecondInBetween) {
  EXPECT_EQ(Ask(), -1);
  Lines expected = {"Establishing connection..."};
  for (int n = 1; n <= 30; ++n) {
    expected = expected +
               FailedAttempt(OpenedLines("-1") + Lines{"Failed to disable the blocking mode"}, n);
  }
  expected.push_back(" -- Unable to establish connection with AT engine after try 30 times");
  EXPECT_THAT(log_.messages(), ElementsAreArray(expected));
  EXPECT_EQ(Sleeps(), std::vector<unsigned>(29, 1));
}

TEST_F(ModemChannel, ASocketOnDescriptorZeroIsClosedAndCountsAsFailed) {
  const int listener = ListenAsModem();
  close(STDIN_FILENO);
  EXPECT_EQ(Ask(), -1);
  close(listener);
  EXPECT_EQ(NextDescriptor(), STDIN_FILENO) << "the last one is closed too";
  EXPECT_EQ(Sleeps().size(), 29u);
  Lines expected = {"Establishing connection..."};
  for (int n = 1; n <= 30; ++n) expected = expected + FailedAttempt({"socket_fd =  0 "}, n);
  expected.push_back(" -- Unable to establish connection with AT engine after try 30 times");
  EXPECT_THAT(log_.messages(), ElementsAreArray(expected));
}

// What stands in for the socket of an attempt that fails.
int FullSocket() {
  int pair[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  char block[4096] = {};
  while (send(pair[0], block, sizeof(block), MSG_DONTWAIT) > 0) {
  }
  return pair[0];  // the other end stays open until the process ends
}

int InterruptedFullSocket() {
  StartInterrupting();
  return FullSocket();
}

int RefusedSocket() {
  sockaddr_in nobody = {};
  nobody.sin_family = AF_INET;
  nobody.sin_port = htons(1);
  nobody.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
  EXPECT_EQ(connect(fd, reinterpret_cast<const sockaddr*>(&nobody), sizeof(nobody)), -1);
  return fd;
}

int PipeEnd() {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  return ends[1];
}

int PathDescriptor() {
  return open("/", O_PATH);
}

struct FailingAttempt {
  const char* title;
  int (*descriptor)();
  Lines lines;
};

class ModemChannelAttempt : public ModemChannel,
                            public ::testing::WithParamInterface<FailingAttempt> {};

TEST_P(ModemChannelAttempt, FailsAndTheNextOneConnects) {
  ScriptedModem modem(ScriptedModem::Answers(kImei));
  bool replaced = false;
  At("Attempting", [&](int fd) {
    if (replaced) return;
    replaced = true;
    const int other = GetParam().descriptor();
    EXPECT_EQ(dup2(other, fd), fd);
    close(other);
  });
  errno_before_ = EPERM;
  EXPECT_EQ(Ask(), 0);
  EXPECT_STREQ(response_.data(), kImei);
  EXPECT_EQ(Sleeps(), std::vector<unsigned>(1, 1));
  const Lines expected = Lines{"Establishing connection..."} +
                         FailedAttempt(OpenedLines(fds_[0]) + GetParam().lines, 1) +
                         OpenedLines(fds_[1]);
  Lines logged = log_.messages();
  logged.resize(expected.size());
  EXPECT_EQ(logged, expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, ModemChannelAttempt,
    ::testing::Values(
        FailingAttempt{"FlagsCannotBeSet", PathDescriptor, {"Failed to disable the blocking mode"}},
        FailingAttempt{
            "NotWritableInASecond", FullSocket,
            WaitLines("1 (Operation not permitted)") + Lines{"Timeout connecting to server"}},
        FailingAttempt{
            "WaitInterrupted", InterruptedFullSocket,
            WaitLines("1 (Operation not permitted)") + Lines{"Select failed, select status = -1"}},
        FailingAttempt{
            "NoSocket", PipeEnd,
            WaitLines("1 (Operation not permitted)") + Lines{"cannot connect to server"}},
        FailingAttempt{"Refused", RefusedSocket,
                       WaitLines("1 (Operation not permitted)") +
                           Lines{"cannot connect to server, error_value = 111"}}),
    [](const auto& row) { return row.param.title; });

TEST_F(ModemChannel, ADescriptorThatNoSetCanHoldIsAFailedWait) {
  ListenAsModem();
  const rlimit limit = {FD_SETSIZE + 16, FD_SETSIZE + 16};
  if (setrlimit(RLIMIT_NOFILE, &limit) != 0) GTEST_SKIP() << "few descriptors allowed here";
  while (NextDescriptor() < FD_SETSIZE) ASSERT_GE(dup(STDERR_FILENO), 0);
  errno_before_ = EPERM;
  EXPECT_EQ(Ask(), -1);
  EXPECT_THAT(log_.messages(), Contains("Select failed, select status = -1").Times(30));

  errno_before_ = 0;
  EXPECT_EQ(Ask(), -1);
  EXPECT_THAT(log_.messages(), Contains("Select failed, select_status = -1"));
}

TEST_F(ModemChannel, WhileConnectingTheOnlyFlagIsNonBlockingThenTheOldOnesAreBack) {
  ScriptedModem modem(ScriptedModem::Answers(kImei));
  std::vector<int> flags;
  At("", [&](int fd) {
    const std::string message = log_.messages().back();
    if (message.rfind("Attempting", 0) == 0) fcntl(fd, F_SETFL, O_APPEND);
    if (message.rfind("waiting", 0) == 0 || message.rfind("Processing", 0) == 0) {
      flags.push_back(fcntl(fd, F_GETFL));
    }
  });
  errno_before_ = EPERM;
  EXPECT_EQ(Ask(), 0);
  EXPECT_THAT(flags, ElementsAre(O_RDWR | O_NONBLOCK, O_RDWR | O_APPEND));
}

TEST_F(ModemChannel, ASendThatFailsOrIsShortEndsTheExchange) {
  ScriptedModem modem([](int client) { WaitForHangUp(client); });
  signal(SIGPIPE, SIG_IGN);
  At("start AT req", [](int fd) { shutdown(fd, SHUT_WR); });
  EXPECT_EQ(Ask(), -1);
  EXPECT_THAT(log_.messages(),
              ElementsAreArray(ConnectedLines() +
                               Lines{"Failed writing -1 bytes to fd " + fds_.back() +
                                         ". errno = 32 (Broken pipe)",
                                     "Sending AT failed, status = -1"} +
                               EndLines(fds_.back(), "-1")));

  // Longer than the socket's buffer: a socket that does not block takes the first part of it.
  At("start AT req", [](int fd) { fcntl(fd, F_SETFL, O_NONBLOCK); });
  EXPECT_EQ(Ask(std::string(4 << 20, 'A').c_str()), -1);
  const Lines messages = log_.messages();
  int taken = -1;
  for (const std::string& message : messages) {
    sscanf(message.c_str(), "Failed writing %d bytes", &taken);
  }
  EXPECT_GT(taken, 0);
  EXPECT_LT(taken, 4 << 20);
  EXPECT_THAT(messages, Contains("Sending AT failed, status = -1"));
}

TEST_F(ModemChannel, ADaemonThatGoesAwayRaisesSigpipeInTheCaller) {
  EXPECT_EXIT(
      {
        ScriptedModem modem([](int client) { WaitForHangUp(client); });
        At("start AT req", [](int fd) { shutdown(fd, SHUT_WR); });
        Ask();
      },
      ::testing::KilledBySignal(SIGPIPE), "");
}

TEST_F(ModemChannel, AClosedConnectionIsTenEmptyReceives) {
  ScriptedModem modem([](int client) { ReadModemRequest(client); });
  response_.assign(response_.size(), 'x');
  EXPECT_EQ(Ask(), -1);
  EXPECT_THAT(
      log_.messages(),
      ElementsAreArray(ConnectedLines() + WaitForAnswerLines(fds_.back()) + ReadLines(fds_.back()) +
                       Lines{"Read Failed, over number of retries."} + FailedReadLines("-1") +
                       EndLines(fds_.back(), "-1")));
  EXPECT_EQ(response_, std::vector<char>(response_.size(), 'x'));
}

TEST_F(ModemChannel, ASignalDuringTheWaitEndsItWithoutRetry) {
  ScriptedModem modem([](int client) {
    ReadModemRequest(client);
    WaitForHangUp(client);
  });
  At("No response timeout", [](int) { StartInterrupting(); });
  EXPECT_EQ(Ask(), -1);
  EXPECT_THAT(log_.messages(), ElementsAreArray(ConnectedLines() + WaitForAnswerLines(fds_.back()) +
                                                Lines{"Select failed, select_status = -1",
                                                      "Error getting AT response for status = -1"} +
                                                EndLines(fds_.back(), "-1")));
}

struct FatalReceive {
  const char* title;
  void (*prepare)(int fd);
  const char* error;
};

class ModemChannelReceive : public ModemChannel,
                            public ::testing::WithParamInterface<FatalReceive> {};

// The data is taken away between the wait and the receive, so that the receive has to wait itself.
TEST_P(ModemChannelReceive, EndsTheExchange) {
  ScriptedModem modem([](int client) {
    ReadModemRequest(client);
    send(client, kImei, 15, 0);
    WaitForHangUp(client);
  });
  At("Attepmting", [](int fd) {
    char taken[16];
    EXPECT_EQ(recv(fd, taken, sizeof(taken), MSG_DONTWAIT), 15);
    GetParam().prepare(fd);
  });
  EXPECT_EQ(Ask(), -2);
  EXPECT_THAT(
      log_.messages(),
      ElementsAreArray(ConnectedLines() + WaitForAnswerLines(fds_.back()) + ReadLines(fds_.back()) +
                       Lines{std::string("fail to receive data from target socket. errno = ") +
                             GetParam().error} +
                       FailedReadLines("-2") + EndLines(fds_.back(), "-2")));
}

INSTANTIATE_TEST_SUITE_P(
    All, ModemChannelReceive,
    ::testing::Values(FatalReceive{"Eintr", [](int) { StartInterrupting(); }, "4"},
                      FatalReceive{"Eagain", [](int fd) { fcntl(fd, F_SETFL, O_NONBLOCK); }, "11"}),
    [](const auto& row) { return row.param.title; });

TEST_F(ModemChannel, AnAnswerIsOneReceiveWithoutTerminator) {
  ScriptedModem modem([](int client) {
    ReadModemRequest(client);
    send(client, "49015420", 8, 0);
    WaitForHangUp(client);  // the rest would come after the client has gone
  });
  response_.assign(response_.size(), '-');
  response_.back() = '\0';
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(std::string(response_.data(), 10), "49015420--");
}

TEST_F(ModemChannel, AnAnswerIsCutAt3072Bytes) {
  ScriptedModem modem(ScriptedModem::Answers(std::string(3500, '7')));
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(std::string(response_.data()), std::string(3072, '7'));
}

TEST_F(ModemChannel, WithoutAResponseBufferOnlyAFailureEndsTheCall) {
  {
    ScriptedModem modem([](int client) { ReadModemRequest(client); });
    pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
    EXPECT_EQ(ORX_communicate_with_modem(kCommand, nullptr), -1);
  }
  const auto ask = [] {
    ScriptedModem modem(ScriptedModem::Answers(kImei));
    const itimerval soon = {{0, 0}, {0, 300000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    ORX_communicate_with_modem(kCommand, nullptr);
  };
  EXPECT_EXIT(ask(), ::testing::KilledBySignal(SIGALRM), "");
}

size_t HeapInUse() {
#ifdef __SANITIZE_ADDRESS__
  return __sanitizer_get_current_allocated_bytes();
#else
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
#endif
}

TEST_F(ModemChannel, TheCopyOfTheCommandIsOnlyKeptWhenNoConnectionWasMade) {
  constexpr size_t kLength = 1 << 20;
  const std::string command(kLength, 'A');
  // What the log keeps is far below the copy's size.
  const auto growth = [&](int expected) {
    const size_t before = HeapInUse();
    EXPECT_EQ(Ask(command.c_str()), expected);
    return static_cast<ptrdiff_t>(HeapInUse() - before);
  };
  {
    ScriptedModem modem(ScriptedModem::Answers(kImei));
    EXPECT_LT(growth(0), static_cast<ptrdiff_t>(kLength / 2));
  }
  {
    ScriptedModem modem([](int client) { ReadModemRequest(client); });
    EXPECT_LT(growth(-1), static_cast<ptrdiff_t>(kLength / 2));
  }
  unlink("/dev/socket/rild-oem");
  EXPECT_GE(growth(-1), static_cast<ptrdiff_t>(kLength));
}

// ORX_read_socket() on a pair of sockets; each datagram of no bytes is one empty receive.
class ReadSocket : public ::testing::Test {
 protected:
  void Open(int type) { ASSERT_EQ(socketpair(AF_UNIX, type, 0, ends_), 0); }
  void SendEmpty(int count) {
    while (count-- > 0) ASSERT_EQ(send(ends_[1], "", 0, 0), 0);
  }
  int Read() { return ORX_read_socket(ends_[0], 8, buffer_); }
  Lines Logged(const std::string& last) {
    return {"Attepmting to read 8 bytes from " + std::to_string(ends_[0]) + ".", last};
  }

  int ends_[2];
  char buffer_[16] = {};
  LogCapture log_;
};

TEST_F(ReadSocket, GivesUpAtTheTenthEmptyReceive) {
  Open(SOCK_DGRAM);
  SendEmpty(9);
  send(ends_[1], "123456789", 9, 0);
  EXPECT_EQ(Read(), 0);
  EXPECT_STREQ(buffer_, "12345678");
  EXPECT_THAT(log_.messages(),
              ElementsAreArray(Logged("AT data receive is 12345678, data length is 8")));

  log_.Clear();
  SendEmpty(10);
  send(ends_[1], "left", 4, 0);
  EXPECT_EQ(Read(), -1);
  EXPECT_THAT(log_.messages(), ElementsAreArray(Logged("Read Failed, over number of retries.")));
  EXPECT_EQ(recv(ends_[0], buffer_, 8, MSG_DONTWAIT), 4);
}

TEST_F(ReadSocket, EagainAfterEmptyReceivesIsFatal) {
  Open(SOCK_DGRAM);
  SendEmpty(9);
  fcntl(ends_[0], F_SETFL, O_NONBLOCK);
  EXPECT_EQ(Read(), -2);
  EXPECT_THAT(log_.messages(),
              ElementsAreArray(Logged("fail to receive data from target socket. errno = 11")));
}

TEST_F(ReadSocket, AnotherErrorIsFollowedByAnotherReceive) {
  Open(SOCK_STREAM);
  send(ends_[0], "unread", 6, 0);
  close(
      ends_[1]);  // with data unread: the first receive fails with ECONNRESET, the others are empty
  EXPECT_EQ(Read(), -1);
  EXPECT_THAT(log_.messages(), ElementsAreArray(Logged("Read Failed, over number of retries.")));
}

}  // namespace
}  // namespace orx_test
