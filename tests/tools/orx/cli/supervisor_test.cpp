// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/supervisor.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

namespace orx_tool {
namespace {

using End = ChildResult::End;

int Say(int fd, const char* text) {
  return write(fd, text, 2) == 2 ? 0 : 1;
}

TEST(RunInChildTest, HandsOnTheExitCodeAndTheAnswer) {
  const ChildResult result = RunInChild([](int fd) { return Say(fd, "ok") + 7; }, 30);
  EXPECT_EQ(result.end, End::kExited);
  EXPECT_EQ(result.status, 7);
  EXPECT_EQ(result.payload, "ok");
}

TEST(RunInChildTest, TellsACrashFromAnExit) {
  const ChildResult result = RunInChild(
      [](int fd) {
        signal(SIGUSR1, SIG_DFL);
        Say(fd, "ok");
        return raise(SIGUSR1);
      },
      30);
  EXPECT_EQ(result.end, End::kCrashed);
  EXPECT_EQ(result.status, SIGUSR1);
  EXPECT_EQ(result.payload, "ok");
}

TEST(RunInChildTest, EndsAChildThatBlocksForEverAndKeepsItsAnswer) {
  const ChildResult result = RunInChild(
      [](int fd) {
        signal(SIGTERM, SIG_IGN);
        Say(fd, "ok");
        for (;;) pause();
        return 0;
      },
      0.2);
  EXPECT_EQ(result.end, End::kTimedOut);
  EXPECT_EQ(result.payload, "ok");
}

TEST(RunInChildTest, EndsTheChildWhenItIsInterruptedItself) {
  const ChildResult result = RunInChild(
      [](int) {
        kill(getppid(), SIGINT);
        for (;;) pause();
        return 0;
      },
      30);
  EXPECT_EQ(result.end, End::kInterrupted);
  EXPECT_EQ(result.status, SIGINT);
}

}  // namespace
}  // namespace orx_tool
