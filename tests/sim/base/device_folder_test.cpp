// SPDX-License-Identifier: Apache-2.0
#include "sim/base/device_folder.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

#include "sim/base/files.h"

namespace orx_sim {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class DeviceFolderTest : public ::testing::Test {
 protected:
  DeviceFolderTest() {
    std::string pattern = ::testing::TempDir() + "/folder.XXXXXX";
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    parent_ = pattern;
    path_ = parent_ + "/device";
  }
  ~DeviceFolderTest() override { RemoveTree(parent_); }

  std::shared_ptr<DeviceFolder> Create(const std::string& profile = "dual-sim") {
    std::shared_ptr<DeviceFolder> folder = DeviceFolder::Create(path_, profile, &error_);
    EXPECT_TRUE(folder) << error_;
    return folder;
  }

  std::shared_ptr<DeviceFolder> Open() { return DeviceFolder::Open(path_, &error_); }

  std::string Content(const std::string& name) {
    std::string content;
    EXPECT_TRUE(ReadFile(path_ + "/" + name, &content, &error_)) << error_;
    return content;
  }

  std::vector<std::string> Entries() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(parent_)) names.push_back(entry.path());
    return names;
  }

  std::string parent_;
  std::string path_;
  std::string error_;
};

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

TEST_F(DeviceFolderTest, IsPrivateToItsUserWhateverTheMask) {
  umask(0);
  Create();
  EXPECT_EQ(ModeOf(path_), 0700u);
  for (const auto& entry : fs::directory_iterator(path_)) {
    EXPECT_EQ(ModeOf(entry.path()), entry.is_directory() ? 0700u : 0600u) << entry.path();
  }
  EXPECT_EQ(Content("root.key").size(), 32u);
}

TEST_F(DeviceFolderTest, FailedCreationLeavesNothing) {
  EXPECT_EQ(DeviceFolder::Create(path_, "no-such", &error_), nullptr);
  EXPECT_THAT(error_, AllOf(HasSubstr("no-such"), HasSubstr("single-sim")));
  EXPECT_EQ(DeviceFolder::Create(parent_ + "/none/device", "bare", &error_), nullptr);
  EXPECT_THAT(error_, HasSubstr("No such file or directory"));
  EXPECT_THAT(Entries(), IsEmpty());

  fs::create_directory(path_);
  std::ofstream(path_ + "/precious") << "1";
  EXPECT_EQ(DeviceFolder::Create(path_, "bare", &error_), nullptr);
  EXPECT_THAT(error_, HasSubstr("not empty"));
  EXPECT_EQ(Content("precious"), "1");
  EXPECT_EQ(Entries().size(), 1u);
}

TEST_F(DeviceFolderTest, CreationThatCannotWriteLeavesNothing) {
  const pid_t child = fork();
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{16, 16};
    setrlimit(RLIMIT_FSIZE, &limit);
    const bool failed = DeviceFolder::Create(path_, "bare", &error_) == nullptr;
    _exit(failed && error_.find("File too large") != std::string::npos ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(Entries(), IsEmpty());
}

TEST_F(DeviceFolderTest, OpenNamesWhatIsWrong) {
  struct Case {
    const char* title;
    std::function<void()> breakage;
    const char* reason;
  };
  const Case cases[] = {
      {"nothing there", [&] { RemoveTree(path_); }, "No such file or directory"},
      {"open to others", [&] { chmod(path_.c_str(), 0750); }, "chmod 700"},
      {"unknown setting", [&] { std::ofstream(path_ + "/device.conf") << "\nfoo = 1\n"; },
       "device.conf:2: there is no setting \"foo\""},
      {"wrong value", [&] { std::ofstream(path_ + "/device.conf") << "modem = maybe\n"; },
       "device.conf:1: \"maybe\" is no value for modem, which is yes|no"},
      {"bad property", [&] { std::ofstream(path_ + "/build.prop") << "# x\n\nro.a\n"; },
       "build.prop:3: not of the form NAME=VALUE"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    RemoveTree(path_);
    Create();
    c.breakage();
    EXPECT_EQ(Open(), nullptr);
    EXPECT_THAT(error_, HasSubstr(c.reason));
  }
}

TEST_F(DeviceFolderTest, SetChangesSettingsAndPropertiesInPlace) {
  const std::shared_ptr<DeviceFolder> folder = Create("single-sim");
  ASSERT_TRUE(folder->Set({"imei=1", "imei=2", "ro.vendor.boot.uid=ff", "vendor.new=a=b"}, &error_))
      << error_;
  EXPECT_EQ(folder->Get("imei"), "2");
  EXPECT_EQ(Open()->Get("imei"), "2");
  EXPECT_THAT(Content("device.conf"),
              AllOf(HasSubstr("# A phone"), Not(HasSubstr("356938035643809"))));
  EXPECT_THAT(Content("build.prop"),
              AllOf(HasSubstr("\nro.vendor.boot.uid=ff\n"), Not(HasSubstr("fedcba")),
                    EndsWith("\nvendor.new=a=b\n")));
}

TEST_F(DeviceFolderTest, SetRefusesAllIfOneIsWrong) {
  const std::shared_ptr<DeviceFolder> folder = Create();
  const std::string conf = Content("device.conf");
  const std::string build_prop = Content("build.prop");
  struct Case {
    std::string assignment;
    const char* reason;
  };
  const Case cases[] = {
      {"modem", "not of the form NAME=VALUE"},
      {"imei=1\nmodem=no", "not of the form NAME=VALUE"},
      {"patch=202612", "there is no setting \"patch\""},
      {"os-patch-level=202613", "which is YYYYMM"},
      {"boot-patch-level=20261232", "which is YYYYMMDD"},
      {"operation-slots=0", "which is 1..1024"},
      {"ro.b c=1", "no property name"},
      {"ro.b=" + std::string(92, 'x'), "the longest that Android takes has 91"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.assignment);
    EXPECT_FALSE(folder->Set({"os-version=150000", "ro.fine=1", c.assignment}, &error_));
    EXPECT_THAT(error_, HasSubstr(c.reason));
    EXPECT_EQ(Content("device.conf"), conf);
    EXPECT_EQ(Content("build.prop"), build_prop);
    EXPECT_EQ(folder->GetNumber("os-version"), 140000);
  }
}

TEST_F(DeviceFolderTest, SeveralProcessesLoseNoDeletionAndNoSetting) {
  Create();
  std::string build_prop = Content("build.prop");
  const auto lines = std::count(build_prop.begin(), build_prop.end(), '\n');
  constexpr int kProcesses = 4;
  constexpr uint8_t kEach = 25;
  for (uint8_t process = 0; process < kProcesses; ++process) {
    if (fork() != 0) continue;
    const std::shared_ptr<DeviceFolder> folder = Open();
    bool done = folder != nullptr;
    for (uint8_t i = 0; done && i < kEach; ++i) {
      done = folder->DeleteKey("default", KeyId{process, i}) &&
             folder->Set({"test." + std::to_string(process) + "." + std::to_string(i) + "=1"},
                         &error_);
    }
    _exit(done ? 0 : 1);
  }
  for (int process = 0; process < kProcesses; ++process) {
    int status = -1;
    ASSERT_GT(wait(&status), 0);
    EXPECT_EQ(status, 0);
  }
  const std::shared_ptr<DeviceFolder> folder = Open();
  ASSERT_TRUE(folder) << error_;
  for (uint8_t process = 0; process < kProcesses; ++process) {
    for (uint8_t i = 0; i < kEach; ++i) {
      EXPECT_TRUE(folder->IsDeleted("default", 0, KeyId{process, i}));
    }
  }
  EXPECT_FALSE(folder->IsDeleted("default", 0, KeyId{kProcesses}));
  build_prop = Content("build.prop");
  EXPECT_FALSE(folder->IsDeleted("strongbox", 0, KeyId{0, 0}));
  EXPECT_EQ(std::count(build_prop.begin(), build_prop.end(), '\n') - lines, kProcesses * kEach);
}

TEST_F(DeviceFolderTest, WithoutTheListOfDeletionsEveryKeyCountsAsDeleted) {
  const std::shared_ptr<DeviceFolder> folder = Create();
  EXPECT_FALSE(folder->IsDeleted("default", folder->Era("default"), KeyId{1}));
  fs::remove(path_ + "/deleted.keys");
  EXPECT_TRUE(folder->IsDeleted("default", folder->Era("default"), KeyId{1}));
  EXPECT_TRUE(folder->IsDeleted("default", 0, KeyId{1}));
}

}  // namespace
}  // namespace orx_sim
