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

#include <algorithm>
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

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr char kImei[] = "490154203237518";

// What is logged, with # for the socket's descriptor.
const std::string kStart = "Establishing connection...\n";
const std::string kOpen = "socket_fd =  # \nAttempting to connect to socket # \n";
const std::string kWait =
    "waiting for connection. errno = 1 (Operation not permitted)\n"
    "Using timeout of 1000 milliseconds\nWaiting for connect() to finish\n";
const std::string kConnected =
    "Successfully connected!\nProcessing commands...\n"
    "start AT req command: TCATSEND,0,AT+CGSN \n";
const std::string kSent =
    "Successfully sent 18 byte(s) AT CMD to fd # \n"
    "Receive response from server connection #, timeout = 0\n"
    "No response timeout is set, wait util the data is received\n";
const std::string kRead =
    "Attempt to read at response.\nFD_ISSET to read at response.\n"
    "Attepmting to read 3072 bytes from #.\n";
const std::string kAnswered =
    "AT data receive is 490154203237518, data length is 15\n"
    "Total response: 490154203237518\nAT  success!\nDone, status= 0\nClosed socket = # \n";

std::string FailedWith(const std::string& status) {
  return "Error getting AT response for status = " + status + "\nDone, status= " + status +
         "\nClosed socket = # \n";
}

std::string FailedAttempt(const std::string& steps, int number) {
  return steps + "Connect to AT command engine with " + std::to_string(number) + " fails\n";
}

std::string ThirtyFailedAttempts(const std::string& steps) {
  std::string log = kStart;
  for (int n = 1; n <= 30; ++n) log += FailedAttempt(steps, n);
  return log + " -- Unable to establish connection with AT engine after try 30 times\n";
}

// Makes SIGALRM interrupt system calls, every 50 ms from now on.
void StartInterrupting(int /*fd*/) {
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, nullptr);
  const itimerval timer = {{0, 50000}, {0, 50000}};
  setitimer(ITIMER_REAL, &timer, nullptr);
}

void StopInterrupting() {
  const itimerval off = {};
  setitimer(ITIMER_REAL, &off, nullptr);
}

class ModemChannel : public ::testing::Test {
 protected:
  ModemChannel() {
    signal(SIGPIPE, SIG_IGN);
    // The modem's thread is not the one to be interrupted.
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, &signals_);
    // Descriptors from 70 on stand out in the log.
    while (dup(STDERR_FILENO) < 69) {
    }
  }
  ~ModemChannel() override { StopInterrupting(); }

  int Ask(const char* command = "TCATSEND,0,AT+CGSN") {
    pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
    log_.Clear();
    errno = errno_before_;
    return ORX_communicate_with_modem(command, response_.data());
  }

  std::string Log() {
    std::string log;
    for (const std::string& message : log_.messages()) log += message + "\n";
    for (int fd = 70; fd < 80; ++fd) {
      for (size_t at = 0; (at = log.find(" " + std::to_string(fd), at)) != std::string::npos;) {
        log.replace(at, 3, " #");
      }
    }
    return log;
  }

  // Calls `action` with the socket when a message that starts with `step` is logged.
  void At(const std::string& step, std::function<void(int fd)> action) {
    log_.OnMessage([this, step, action](const std::string& message) {
      sscanf(message.c_str(), "socket_fd =  %d", &socket_);
      if (message.rfind(step, 0) == 0) action(socket_);
    });
  }

  sigset_t signals_;
  int errno_before_ = 0;  // what Ask() finds; logging keeps errno as it is
  int socket_ = -1;
  std::vector<char> response_ = std::vector<char>(4096, '\0');
  LogCapture log_;
};

TEST_F(ModemChannel, ANullOrEmptyCommandOpensNothing) {
  for (const char* command : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(Ask(command), -3);
    EXPECT_EQ(Log(), "Error. Requested AT command is null.\n");
  }
}

TEST_F(ModemChannel, ARequestIsCountLengthAndCommandOnAConnectionOfItsOwn) {
  std::string request;
  ScriptedModem modem([&](int client) {
    request = ReadModemRequest(client);
    send(client, kImei, 15, 0);
    EXPECT_EQ(recv(client, &request[0], 1, MSG_PEEK), 0) << "closed, with nothing behind";
  });
  std::fill(response_.begin(), response_.end() - 1, '-');
  ASSERT_EQ(Ask(), 0);
  EXPECT_EQ(request, std::string("\x01\0\0\0\x12\0\0\0TCATSEND,0,AT+CGSN", 26));
  EXPECT_EQ(std::string(response_.data(), 17), std::string(kImei) + "--") << "no terminator";
  EXPECT_THAT(log_.paths(), Each("src/mtk/at_Get_ModemIDs.cpp"));
}

TEST_F(ModemChannel, WithoutADaemonThirtyAttemptsPauseASecondInBetween) {
  EXPECT_EQ(Ask(), -1);
  EXPECT_EQ(Log(), ThirtyFailedAttempts("socket_fd =  -1 \nAttempting to connect to socket -1 \n"
                                        "Failed to disable the blocking mode\n"));
  EXPECT_EQ(Sleeps(), std::vector<unsigned>(29, 1));
}

TEST_F(ModemChannel, ASocketOnDescriptorZeroIsClosedAndCountsAsFailed) {
  ListenAsModem();
  close(STDIN_FILENO);
  EXPECT_EQ(Ask(), -1);
  EXPECT_EQ(Log(), ThirtyFailedAttempts("socket_fd =  0 \n"));
  EXPECT_EQ(dup(STDERR_FILENO), STDIN_FILENO) << "the last one is closed too";
}

TEST_F(ModemChannel, ADescriptorThatNoSetCanHoldIsAFailedWait) {
  ListenAsModem();
  const rlimit limit = {FD_SETSIZE + 16, FD_SETSIZE + 16};
  if (setrlimit(RLIMIT_NOFILE, &limit) != 0) GTEST_SKIP() << "few descriptors allowed here";
  while (dup(STDERR_FILENO) < FD_SETSIZE - 1) {
  }
  errno_before_ = EPERM;
  EXPECT_EQ(Ask(), -1);
  EXPECT_THAT(Log(), HasSubstr("Select failed, select status = -1\n"));
  errno_before_ = 0;
  EXPECT_EQ(Ask(), -1);
  EXPECT_THAT(Log(), HasSubstr("Select failed, select_status = -1\n"));
}

TEST_F(ModemChannel, WhileConnectingTheOnlyFlagIsNonBlockingThenTheOldOnesAreBack) {
  ScriptedModem modem(ScriptedModem::Answers(kImei));
  std::vector<int> flags;
  At("", [&](int fd) {
    const std::string step = log_.messages().back().substr(0, 10);
    if (step == "Attempting") fcntl(fd, F_SETFL, O_APPEND);
    if (step == "waiting fo" || step == "Processing") flags.push_back(fcntl(fd, F_GETFL));
  });
  errno_before_ = EPERM;
  EXPECT_EQ(Ask(), 0);
  EXPECT_THAT(flags, ElementsAre(O_RDWR | O_NONBLOCK, O_RDWR | O_APPEND));
}

// Puts another descriptor in the place of the attempt's socket, once.
std::function<void(int)> Replace(int (*make)()) {
  return [make, done = false](int fd) mutable {
    if (done) return StopInterrupting();
    done = true;
    const int other = make();
    EXPECT_EQ(dup2(other, fd), fd);
    close(other);
  };
}

int FullSocket() {
  int pair[2];  // the other end stays open until the process ends
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  const char block[4096] = {};
  while (send(pair[0], block, sizeof(block), MSG_DONTWAIT) > 0) {
  }
  return pair[0];
}

int InterruptedSocket() {
  StartInterrupting(-1);
  return FullSocket();
}

int RefusedSocket() {
  const sockaddr_in nobody = {AF_INET, htons(1), {htonl(INADDR_LOOPBACK)}, {}};
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

void CloseWithoutAnswer(int client) {
  ReadModemRequest(client);
}

void AnswerAndStay(int client) {
  ScriptedModem::Answers(kImei)(client);
  WaitForHangUp(client);
}

void StaySilent(int client) {
  ReadModemRequest(client);
  WaitForHangUp(client);
}

// Takes the answer away between the wait and the receive, so that the receive has to wait itself.
void TakeAnswer(int fd) {
  char taken[16];
  EXPECT_EQ(recv(fd, taken, sizeof(taken), MSG_DONTWAIT), 15);
}

struct Exchange {
  const char* title;
  int errno_before;
  const char* step;
  std::function<void(int fd)> action;
  ScriptedModem::Script modem;
  int result;
  std::string log;
};

class ModemExchange : public ModemChannel, public ::testing::WithParamInterface<Exchange> {};

TEST_P(ModemExchange, LogsEveryStep) {
  const Exchange& row = GetParam();
  ScriptedModem modem(row.modem);
  At(row.step, row.action);
  errno_before_ = row.errno_before;
  EXPECT_EQ(Ask(), row.result);
  EXPECT_STREQ(response_.data(), row.result == 0 ? kImei : "");
  EXPECT_THAT(Log(), StartsWith(kStart + row.log));
}

const ScriptedModem::Script kAnswers = ScriptedModem::Answers(kImei);
const auto kNothing = [](int) {};

INSTANTIATE_TEST_SUITE_P(
    All, ModemExchange,
    ::testing::Values(
        Exchange{"Success", 0, "Done", kNothing, kAnswers, 0,
                 kOpen + kConnected + kSent + kRead + kAnswered},
        Exchange{"ErrnoOfTheCallers", EPERM, "Done", kNothing, kAnswers, 0,
                 kOpen + kWait + kConnected + kSent + kRead + kAnswered},
        Exchange{"AttemptWithoutFlags", 0, "Attempting", Replace(PathDescriptor), kAnswers, 0,
                 FailedAttempt(kOpen + "Failed to disable the blocking mode\n", 1) + kOpen},
        Exchange{"AttemptNotWritable", EPERM, "Attempting", Replace(FullSocket), kAnswers, 0,
                 FailedAttempt(kOpen + kWait + "Timeout connecting to server\n", 1) + kOpen},
        Exchange{"AttemptInterrupted", EPERM, "Attempting", Replace(InterruptedSocket), kAnswers, 0,
                 FailedAttempt(kOpen + kWait + "Select failed, select status = -1\n", 1) + kOpen},
        Exchange{"AttemptOnNoSocket", EPERM, "Attempting", Replace(PipeEnd), kAnswers, 0,
                 FailedAttempt(kOpen + kWait + "cannot connect to server\n", 1) + kOpen},
        Exchange{"AttemptRefused", EPERM, "Attempting", Replace(RefusedSocket), kAnswers, 0,
                 FailedAttempt(kOpen + kWait + "cannot connect to server, error_value = 111\n", 1) +
                     kOpen},
        Exchange{"SendFails", 0, "start AT req", [](int fd) { shutdown(fd, SHUT_WR); },
                 WaitForHangUp, -1,
                 kOpen + kConnected +
                     "Failed writing -1 bytes to fd #. errno = 32 (Broken pipe)\n"
                     "Sending AT failed, status = -1\nDone, status= -1\nClosed socket = # \n"},
        Exchange{
            "WaitInterrupted", 0, "No response timeout", StartInterrupting, StaySilent, -1,
            kOpen + kConnected + kSent + "Select failed, select_status = -1\n" + FailedWith("-1")},
        Exchange{"ClosedWithoutAnswer", 0, "Done", kNothing, CloseWithoutAnswer, -1,
                 kOpen + kConnected + kSent + kRead +
                     "Read Failed, over number of retries.\nFD_ISSET to read at response, fail\n" +
                     FailedWith("-1")},
        Exchange{"ReceiveInterrupted", 0, "Attepmting",
                 [](int fd) { TakeAnswer(fd), StartInterrupting(fd); }, AnswerAndStay, -2,
                 kOpen + kConnected + kSent + kRead +
                     "fail to receive data from target socket. errno = 4\n"
                     "FD_ISSET to read at response, fail\n" +
                     FailedWith("-2")},
        Exchange{"ReceiveWouldBlock", 0, "Attepmting",
                 [](int fd) { TakeAnswer(fd), fcntl(fd, F_SETFL, O_NONBLOCK); }, AnswerAndStay, -2,
                 kOpen + kConnected + kSent + kRead +
                     "fail to receive data from target socket. errno = 11\n"
                     "FD_ISSET to read at response, fail\n" +
                     FailedWith("-2")}),
    [](const auto& row) { return row.param.title; });

TEST_F(ModemChannel, AShortSendEndsTheExchange) {
  ScriptedModem modem(WaitForHangUp);
  // Longer than the socket's buffer: a socket that does not block takes the first part of it.
  At("start AT req", [](int fd) { fcntl(fd, F_SETFL, O_NONBLOCK); });
  EXPECT_EQ(Ask(std::string(4 << 20, 'A').c_str()), -1);
  int sent = 0;
  for (const std::string& message : log_.messages()) {
    sscanf(message.c_str(), "Failed writing %d bytes to fd", &sent);
  }
  EXPECT_GT(sent, 0);
  EXPECT_THAT(Log(), HasSubstr("\nSending AT failed, status = -1\nDone, status= -1\n"));
}

TEST_F(ModemChannel, ADaemonThatGoesAwayRaisesSigpipeInTheCaller) {
  const auto ask = [this] {
    signal(SIGPIPE, SIG_DFL);
    ScriptedModem modem(WaitForHangUp);
    At("start AT req", [](int fd) { shutdown(fd, SHUT_WR); });
    Ask();
  };
  EXPECT_EXIT(ask(), ::testing::KilledBySignal(SIGPIPE), "");
}

TEST_F(ModemChannel, WithoutAResponseBufferTheCallNeverReturnsOnceAnAnswerHasCome) {
  const auto ask = [this] {
    ScriptedModem modem(kAnswers);
    pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
    const itimerval soon = {{0, 0}, {0, 300000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    ORX_communicate_with_modem("AT", nullptr);
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
  const std::string command(1 << 20, 'A');  // what the log keeps is far below its size
  const auto keeps_copy = [&] {
    const size_t before = HeapInUse();
    Ask(command.c_str());
    return HeapInUse() >= before + command.size();
  };
  for (const ScriptedModem::Script& script :
       {kAnswers, ScriptedModem::Script(CloseWithoutAnswer)}) {
    ScriptedModem modem(script);
    EXPECT_FALSE(keeps_copy());
  }
  unlink("/dev/socket/rild-oem");
  EXPECT_TRUE(keeps_copy());
}

// On a pair of sockets; each datagram of no bytes is one empty receive.
class ReadSocket : public ::testing::Test {
 protected:
  void Open(int type) { ASSERT_EQ(socketpair(AF_UNIX, type, 0, ends_), 0); }
  void SendEmpty(int count) {
    while (count-- > 0) ASSERT_EQ(send(ends_[1], "", 0, 0), 0);
  }
  void Expect(int result, const std::string& message) {
    log_.Clear();
    EXPECT_EQ(ORX_read_socket(ends_[0], 8, buffer_), result);
    EXPECT_EQ(log_.messages().back(), message);
  }

  int ends_[2];
  char buffer_[16] = {};
  LogCapture log_;
};

TEST_F(ReadSocket, GivesUpAtTheTenthEmptyReceive) {
  Open(SOCK_DGRAM);
  SendEmpty(9);
  send(ends_[1], "123456789", 9, 0);
  Expect(0, "AT data receive is 12345678, data length is 8");
  SendEmpty(10);
  send(ends_[1], "left", 4, 0);
  Expect(-1, "Read Failed, over number of retries.");
  EXPECT_EQ(recv(ends_[0], buffer_, 8, MSG_DONTWAIT), 4);
  SendEmpty(9);
  fcntl(ends_[0], F_SETFL, O_NONBLOCK);
  Expect(-2, "fail to receive data from target socket. errno = 11");
}

TEST_F(ReadSocket, AnErrorOtherThanEagainAndEintrIsFollowedByAnotherReceive) {
  Open(SOCK_STREAM);
  send(ends_[0], "unread", 6, 0);
  close(ends_[1]);  // with data unread: the first receive is ECONNRESET, the next ones are empty
  Expect(-1, "Read Failed, over number of retries.");
}

}  // namespace
}  // namespace orx_test
