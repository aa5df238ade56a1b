// SPDX-License-Identifier: Apache-2.0
// ORX_communicate_with_modem() and ORX_read_socket() on real sockets. The log lines mark the steps,
// so a test acts between two of them through the log.
#include <android-base/strings.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <orx/device.h>
#include <signal.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/support/interposed/counted_sleep.h"
#include "tests/support/interposed/interposed.h"
#include "tests/support/log_capture.h"
#include "tests/support/replaced.h"
#include "tests/support/scripted_modem.h"

namespace {

bool limited_read = false;

}  // namespace

// To see how long is waited for an answer.
ORX_INTERPOSED(select, (limited_read |= b != 0 && e != 0, real(a, b, c, d, e, f)))

namespace orx_test {
namespace {

using ::testing::HasSubstr;

constexpr char kCommand[] = "TCATSEND,0,AT+CGSN";
constexpr char kImei[] = "490154203237518";

class ModemChannel : public ::testing::Test {
 protected:
  ModemChannel() {
    // Descriptors from 70 on stand out in the log.
    while (dup(STDERR_FILENO) < 69) {
    }
  }

  int Ask(const std::string& command = kCommand, int errno_before = 0) {
    log_.Clear();
    errno = errno_before;  // logging keeps it as it is
    return ORX_communicate_with_modem(command.c_str(), response_);
  }

  // What was logged, with # for the socket's descriptor.
  std::string Log() {
    const std::string log = android::base::Join(log_.messages(), '\n') + "\n";
    return orx_test::Replaced(log, " [7-9][0-9]", " #");
  }

  // Calls `action` with the socket when a message that starts with `step` is logged.
  void At(const std::string& step, std::function<void(int fd)> action) {
    log_.OnMessage([step, action, socket = -1](const std::string& message) mutable {
      sscanf(message.c_str(), "socket_fd =  %d", &socket);
      if (message.rfind(step, 0) == 0) action(socket);
    });
  }

  char response_[4096] = {};
  LogCapture log_;
};

TEST_F(ModemChannel, AnExchangeLogsEveryStep) {
  ScriptedModem modem(ScriptedModem::Answers(kImei));
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(Log(),
            "Establishing connection...\nsocket_fd =  # \nAttempting to connect to socket # \n"
            "Successfully connected!\nProcessing commands...\n"
            "start AT req command: TCATSEND,0,AT+CGSN \n"
            "Successfully sent 18 byte(s) AT CMD to fd # \n"
            "Receive response from server connection #, timeout = 0\n"
            "No response timeout is set, wait util the data is received\n"
            "Attempt to read at response.\nFD_ISSET to read at response.\n"
            "Attepmting to read 3072 bytes from #.\n"
            "AT data receive is 490154203237518, data length is 15\n"
            "Total response: 490154203237518\nAT  success!\nDone, status= 0\n"
            "Closed socket = # \n");
  EXPECT_FALSE(limited_read);
}

TEST_F(ModemChannel, AModemThatHangsUpEndsTheCallWithASignal) {
  static int signals = 0;
  signal(SIGPIPE, [](int) { ++signals; });
  ScriptedModem modem([](int client) { ReadModemRequest(client); });
  At("start AT", [](int fd) { shutdown(fd, SHUT_WR); });
  EXPECT_EQ(Ask(), -1);
  EXPECT_EQ(signals, 1);
}

TEST_F(ModemChannel, ANullOrEmptyCommandOpensNothing) {
  EXPECT_EQ(ORX_communicate_with_modem(nullptr, response_), -3);
  EXPECT_EQ(ORX_communicate_with_modem("", response_), -3);
  EXPECT_EQ(Log(), "Error. Requested AT command is null.\nError. Requested AT command is null.\n");
}

TEST_F(ModemChannel, ARequestIsCountLengthAndCommandOnAConnectionOfItsOwn) {
  std::string request;
  ScriptedModem modem([&](int client) {
    request = ReadModemRequest(client);
    send(client, kImei, 15, 0);
    EXPECT_EQ(recv(client, &request[0], 1, MSG_PEEK), 0) << "closed, with nothing behind";
  });
  response_[15] = '-';
  ASSERT_EQ(Ask(), 0);
  EXPECT_EQ(request, std::string("\x01\0\0\0\x12\0\0\0TCATSEND,0,AT+CGSN", 26));
  EXPECT_EQ(response_, std::string(kImei) + "-") << "no terminator";
}

TEST_F(ModemChannel, WithoutADaemonThirtyAttemptsPauseASecondAndKeepTheCopyOfTheCommand) {
  const std::string command(1 << 20, 'A');
  [[maybe_unused]] const size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
  EXPECT_EQ(Ask(command), -1);
#ifndef ORX_ADDRESS_SANITIZER  // its heap is not counted here
  EXPECT_GE(mallinfo2().uordblks + mallinfo2().hblkhd, before + command.size());
#endif
  std::string log = "Establishing connection...\n";
  for (int attempt = 1; attempt <= 30; ++attempt) {
    log += "socket_fd =  -1 \nAttempting to connect to socket -1 \n";
    log += "Failed to disable the blocking mode\n";
    log += "Connect to AT command engine with " + std::to_string(attempt) + " fails\n";
  }
  EXPECT_EQ(Log(), log + " -- Unable to establish connection with AT engine after try 30 times\n");
  EXPECT_EQ(Sleeps(), std::vector<unsigned>(29, 1));
}

TEST_F(ModemChannel, ASocketOnDescriptorZeroIsClosedAndCountsAsFailed) {
  ListenAsModem();
  close(STDIN_FILENO);
  EXPECT_EQ(Ask(), -1);
  EXPECT_THAT(Log(), HasSubstr("socket_fd =  0 \nConnect to AT command engine with 1 fails\n"));
  EXPECT_EQ(dup(STDERR_FILENO), STDIN_FILENO) << "the last one is closed too";
}

TEST_F(ModemChannel, WhileTheDaemonsQueueIsFullConnectingWaits) {
  const auto ask = [this] {
    listen(ListenAsModem(), 0);
    const sockaddr_un address = {AF_UNIX, "/dev/socket/rild-oem"};
    int connected = 0;
    while (connected == 0) {
      const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0);
      connected = connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    }
    At("socket_fd", [](int) { _exit(0); });  // what is logged next, once connecting has ended
    alarm(1);
    char response[16] = {};
    ORX_communicate_with_modem(kCommand, response);
  };
  EXPECT_EXIT(ask(), ::testing::KilledBySignal(SIGALRM), "");
}

TEST_F(ModemChannel, ADescriptorThatNoSetHoldsFailsTheWaits) {
  const rlimit limit = {FD_SETSIZE + 30, FD_SETSIZE + 30};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  const int listener = ListenAsModem();
  while (dup(STDERR_FILENO) < FD_SETSIZE - 2) {
  }
  // A thread that accepts would hold a descriptor from when it begins to wait.
  At("Successfully sent", [listener](int) {
    const int client = accept(listener, nullptr, nullptr);
    ReadModemRequest(client);
    send(client, kImei, strlen(kImei), 0);
    close(client);
  });
  // The last descriptor of a set, for the socket.
  EXPECT_EQ(Ask(), 0);
  ASSERT_EQ(dup(STDERR_FILENO), FD_SETSIZE - 1);
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
  EXPECT_EQ(Ask(kCommand, EPERM), 0);
  EXPECT_THAT(flags, testing::ElementsAre(O_RDWR | O_NONBLOCK, O_RDWR | O_APPEND));
  EXPECT_THAT(Log(), HasSubstr("waiting for connection. errno = 1 (Operation not permitted)\n"
                               "Using timeout of 1000 milliseconds\n"
                               "Waiting for connect() to finish\nSuccessfully connected!\n"));
}

TEST_F(ModemChannel, WithoutAResponseBufferTheCallNeverReturnsOnceAnAnswerHasCome) {
  const auto ask = [] {
    ScriptedModem modem(ScriptedModem::Answers(kImei));
    const itimerval busy_for = {{}, {0, 100000}};
    setitimer(ITIMER_PROF, &busy_for, nullptr);
    ORX_communicate_with_modem(kCommand, nullptr);
  };
  EXPECT_EXIT(ask(), ::testing::KilledBySignal(SIGPROF), "");
}

// Each packet of no bytes is one empty receive.
TEST(ReadSocket, GivesUpAtTheTenthEmptyReceiveAndAtEagain) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends), 0);
  const auto expect = [&](int empty_receives, int result, const std::string& message) {
    while (empty_receives-- > 0) ASSERT_EQ(send(ends[1], "", 0, 0), 0);
    if (result == 0) send(ends[1], "123456789", 9, 0);
    const LogCapture log;
    char buffer[16] = {};
    EXPECT_EQ(ORX_read_socket(ends[0], 8, buffer), result);
    EXPECT_EQ(log.messages().back(), message);
  };
  expect(9, 0, "AT data receive is 12345678, data length is 8");
  expect(10, -1, "Read Failed, over number of retries.");
  // No room is as an empty receive, and a negative length no limit.
  for (const auto& [length, result] : {std::pair(0, -1), std::pair(-1, 0)}) {
    ASSERT_EQ(send(ends[1], "123456789", 9, 0), 9);
    for (int i = 0; i < 9; ++i) ASSERT_EQ(send(ends[1], "", 0, 0), 0);
    // Not on the stack, behind which there may not be as much room as no limit takes.
    static char buffer[16];
    memset(buffer, 0, sizeof(buffer));
    EXPECT_EQ(ORX_read_socket(ends[0], length, buffer), result);
    EXPECT_STREQ(buffer, length == 0 ? "" : "123456789");
    while (recv(ends[0], buffer, sizeof(buffer), 0) >= 0) {
    }
  }
  expect(9, -2, "fail to receive data from target socket. errno = 11");
  // With data unread: the first receive is ECONNRESET and does not count, the next ones are empty.
  send(ends[0], "unread", 6, 0);
  close(ends[1]);
  expect(0, -1, "Read Failed, over number of retries.");
}

}  // namespace
}  // namespace orx_test
