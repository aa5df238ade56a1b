// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/files.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tools/orx/cli/signals.h"

namespace orx_tool {
namespace {

// The library's folder is empty and private to each case.
TEST(FileOutputTest, IsRemovedWhenTheProcessIsInterrupted) {
  const pid_t child = fork();
  if (child == 0) {
    StartSignals();
    std::optional<Problem> problem;
    FileOutput file("/mnt/vendor/persist/security/out", Privacy::kPublic, &problem);
    raise(SIGINT);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 130);
  EXPECT_TRUE(std::filesystem::is_empty("/mnt/vendor/persist/security"));
}

TEST(InputTest, ReadWholeStopsAtItsLimit) {
  const std::string path = "/mnt/vendor/persist/security/in";
  std::ofstream file(path);
  std::optional<Problem> problem;
  EXPECT_TRUE(ReadWhole(path, 0, &problem));
  // Beyond what 32 bits of offset reach, where a file without large offsets cannot be opened.
  std::filesystem::resize_file(path, uintmax_t{5} << 30);
  EXPECT_FALSE(ReadWhole(path, 16, &problem));
  EXPECT_EQ(problem->code, "INPUT-TOO-LARGE");
  problem.reset();
  EXPECT_EQ(Input(path, &problem).size(), uint64_t{5} << 30);
}

TEST(InputTest, ReadWholeTakesInputsThatDoNotTellTheirSize) {
  std::optional<Problem> problem;
  // The first is as long as what is read first.
  for (const size_t size : {size_t{65537}, size_t{200000}}) {
    const std::string text(size, 'x');
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t writer = fork();
    if (writer == 0) {
      _exit(write(ends[1], text.data(), size) == static_cast<ssize_t>(size) ? 0 : 1);
    }
    close(ends[1]);
    dup2(ends[0], STDIN_FILENO);
    close(ends[0]);
    const auto whole = ReadWhole("-", size, &problem);
    ASSERT_TRUE(whole) << size;
    EXPECT_TRUE(std::equal(text.begin(), text.end(), whole->data()) && whole->size() == size);
    waitpid(writer, nullptr, 0);
  }
  // Sized 0 and not empty.
  EXPECT_GT(ReadWhole("/proc/self/status", 100000, &problem)->size(), 0u);
}

}  // namespace
}  // namespace orx_tool
