// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/supervisor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include "tools/orx/cli/signals.h"

namespace orx_tool {
namespace {

using End = ChildResult::End;

constexpr double kForEver = 60;

int Say(int fd, const std::string& text) {
  return write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1;
}

ChildWatch Within(double seconds) {
  ChildWatch watch;
  watch.seconds = seconds;
  watch.grace_seconds = 0.02;
  return watch;
}

TEST(RunInChildTest, TellsHowTheChildEndedAndKeepsItsAnswer) {
  StartSignals();
  const auto block = [] {
    for (;;) pause();
    return 0;
  };
  const std::tuple<const char*, std::function<int(int fd)>, double, End, int> cases[] = {
      {"exit, without a limit", [](int) { return 7; }, 0, End::kExited, 7},
      {"crash", [](int) { return raise(SIGUSR1); }, kForEver, End::kCrashed, SIGUSR1},
      {"blocks and heeds no SIGTERM",
       [&](int) {
         signal(SIGTERM, SIG_IGN);
         return block();
       },
       0.02, End::kTimedOut, 0},
      {"this process is interrupted",
       [&](int) {
         kill(getppid(), SIGHUP);
         return block();
       },
       kForEver, End::kInterrupted, SIGHUP},
      {"the terminal interrupts both",
       [&](int) {
         kill(getppid(), SIGINT);
         kill(getpid(), SIGINT);
         return block();
       },
       kForEver, End::kInterrupted, SIGINT}};
  for (const auto& [title, work, seconds, end, status] : cases) {
    SCOPED_TRACE(title);
    const auto& then = work;
    const ChildResult result =
        RunInChild([&](int fd) { return Say(fd, "ok") + then(fd); }, Within(seconds));
    EXPECT_EQ(result.end, end);
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.payload, "ok");
  }
}

TEST(RunInChildTest, AsksTheChildToEndBeforeItKillsIt) {
  int told[2];
  ASSERT_EQ(pipe(told), 0);
  ChildWatch watch = Within(0.02);
  watch.grace_seconds = kForEver;
  alarm(10);  // ends this test where the child was killed after that time only
  RunInChild(
      [&](int) {
        sigset_t term;
        sigemptyset(&term);
        sigaddset(&term, SIGTERM);
        sigprocmask(SIG_BLOCK, &term, nullptr);
        int got = 0;
        return sigwait(&term, &got) + Say(told[1], "told");
      },
      watch);
  alarm(0);
  close(told[1]);
  char text[4];
  EXPECT_EQ(read(told[0], text, sizeof text), 4);
  close(told[0]);
}

TEST(RunInChildTest, HandsOnWholeLinesAndPulsesMeanwhile) {
  std::vector<std::string> seen;
  ChildWatch watch = Within(kForEver);
  watch.on_line = [&](const std::string& line) { seen.push_back(line); };
  watch.pulse_seconds = 0.01;
  bool pulsed = false;
  watch.on_pulse = [&](double) { pulsed = true; };
  RunInChild(
      [](int fd) {
        Say(fd, "one\ntw");
        usleep(30000);
        return Say(fd, "o\nrest");
      },
      watch);
  EXPECT_THAT(seen, testing::ElementsAre("one", "two"));
  EXPECT_TRUE(pulsed);
}

TEST(SignalsTest, AHoldNotesTheSignalAndAnIgnoredOneStaysIgnored) {
  signal(SIGHUP, SIG_IGN);
  StartSignals();
  const SignalHold hold;
  raise(SIGHUP);
  EXPECT_EQ(hold.Noted(), 0);
  {
    const SignalHold inner;
    raise(SIGTERM);
  }
  EXPECT_EQ(hold.Noted(), SIGTERM);
}

}  // namespace
}  // namespace orx_tool
