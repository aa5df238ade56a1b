// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tools/orx/cli/signals.h"

namespace orx_tool {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class FileOutputTest : public testing::Test {
 protected:
  // The library's folder is empty and private to each case.
  const std::filesystem::path folder_ = "/mnt/vendor/persist/security";
  const std::string path_ = folder_ / "out";

  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
      names.push_back(entry.path().filename());
    }
    return names;
  }
  static std::string Content(const std::string& path) {
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
  static mode_t Mode(const std::string& path) {
    struct stat status = {};
    stat(path.c_str(), &status);
    return status.st_mode & 07777;
  }
};

TEST_F(FileOutputTest, AppearsWholeAndPrivateAfterCommit) {
  umask(022);
  std::optional<Problem> problem;
  for (const auto& [privacy, mode] :
       {std::pair{Privacy::kSecret, 0600u}, std::pair{Privacy::kPublic, 0644u}}) {
    FileOutput file(path_, privacy, &problem);
    ASSERT_TRUE(file.Write("text", 4, &problem));
    EXPECT_NE(Content(path_), "text");
    ASSERT_TRUE(file.Commit(&problem));
    EXPECT_EQ(Content(path_), "text");
    EXPECT_EQ(Mode(path_), mode);
    std::filesystem::remove(path_);
  }
}

TEST_F(FileOutputTest, LeavesTheOldFileWithoutCommit) {
  std::ofstream(path_) << "old";
  {
    std::optional<Problem> problem;
    FileOutput file(path_, Privacy::kPublic, &problem);
    ASSERT_TRUE(file.Write("new", 3, &problem));
  }
  EXPECT_EQ(Content(path_), "old");
  EXPECT_THAT(Names(), ElementsAre("out"));
}

TEST_F(FileOutputTest, IsRemovedWhenTheProcessIsInterrupted) {
  const pid_t child = fork();
  if (child == 0) {
    StartSignals();
    std::optional<Problem> problem;
    FileOutput file(path_, Privacy::kPublic, &problem);
    raise(SIGINT);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 130);
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(FileOutputTest, WritesThroughALinkToItsTarget) {
  std::ofstream(folder_ / "target") << "old";
  std::filesystem::create_symlink("target", path_);
  std::optional<Problem> problem;
  FileOutput file(path_, Privacy::kPublic, &problem);
  ASSERT_TRUE(file.Write("new", 3, &problem) && file.Commit(&problem));
  EXPECT_TRUE(std::filesystem::is_symlink(path_));
  EXPECT_EQ(Content(folder_ / "target"), "new");
}

TEST_F(FileOutputTest, LeavesADeviceADevice) {
  std::optional<Problem> problem;
  FileOutput file("/dev/null", Privacy::kPublic, &problem);
  ASSERT_TRUE(file.Write("new", 3, &problem) && file.Commit(&problem));
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(FileOutputTest, SaysWhyItCannotWrite) {
  std::optional<Problem> problem;
  FileOutput nowhere(folder_ / "no" / "out", Privacy::kPublic, &problem);
  ASSERT_TRUE(problem);
  EXPECT_THAT(problem->cause, HasSubstr("No such file"));

  problem.reset();
  FileOutput full("/dev/full", Privacy::kPublic, &problem);
  EXPECT_FALSE(full.Write("new", 3, &problem));
  EXPECT_THAT(problem->cause, HasSubstr("No space"));
}

TEST_F(FileOutputTest, ReadWholeStopsAtItsLimit) {
  std::ofstream(path_) << std::string(17, 'x');
  std::optional<Problem> problem;
  const auto whole = ReadWhole(path_, 17, &problem);
  ASSERT_TRUE(whole);
  EXPECT_EQ(whole->size(), 17u);
  EXPECT_FALSE(ReadWhole(path_, 16, &problem));
  EXPECT_EQ(problem->code, "INPUT-TOO-LARGE");
  // Beyond what 32 bits of offset reach, where a file without large offsets cannot be opened.
  std::filesystem::resize_file(path_, uintmax_t{5} << 30);
  problem.reset();
  EXPECT_FALSE(ReadWhole(path_, 16, &problem));
  EXPECT_EQ(problem->code, "INPUT-TOO-LARGE");
  problem.reset();
  EXPECT_EQ(Input(path_, &problem).size(), uint64_t{5} << 30);
}

TEST_F(FileOutputTest, ReadWholeTakesInputsThatDoNotTellTheirSize) {
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

TEST_F(FileOutputTest, InputRefusesFoldersAndMissingFiles) {
  for (const std::string path : {"/mnt", "/mnt/nothing"}) {
    std::optional<Problem> problem;
    Input input(path, &problem);
    ASSERT_TRUE(problem);
    EXPECT_THAT(problem->cause, HasSubstr(path));
  }
}

}  // namespace
}  // namespace orx_tool
