// SPDX-License-Identifier: Apache-2.0
#include "sim/base/device_folder.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "sim/base/files.h"
#include "tests/support/temp_folder.h"

namespace orx_sim {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

class DeviceFolderTest : public ::testing::Test {
 protected:
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

  void Write(const std::string& name, const std::string& content) {
    std::ofstream(path_ + "/" + name) << content;
  }

  std::vector<std::string> Entries(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
      names.push_back(entry.path().filename());
    return names;
  }

  orx_test::TempFolder parent_;
  const std::string path_ = parent_ / "device";
  std::string error_;
};

// Runs `body` in a process of its own.
pid_t Start(const std::function<void()>& body) {
  const pid_t child = fork();
  if (child != 0) return child;
  body();
  _exit(::testing::Test::HasFailure() ? 1 : 0);
}

int EndOf(pid_t child) {
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

// The same with files of so many bytes at most: a longer one ends the process by a signal.
int WithFilesOf(rlim_t bytes, const std::function<void()>& body) {
  return EndOf(Start([&] {
    const rlimit limit{bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
    body();
  }));
}

TEST_F(DeviceFolderTest, IsPrivateToItsUserWhateverTheMask) {
  umask(0);
  Create();
  EXPECT_EQ(fs::symlink_status(path_).permissions(), fs::perms(0700));
  for (const auto& entry : fs::directory_iterator(path_)) {
    EXPECT_EQ(entry.symlink_status().permissions(), fs::perms(entry.is_directory() ? 0700 : 0600))
        << entry;
  }
  EXPECT_EQ(Content("root.key").size(), 32u);
}

TEST_F(DeviceFolderTest, FailedCreationLeavesNothing) {
  EXPECT_EQ(DeviceFolder::Create(path_, "no-such", &error_), nullptr);
  EXPECT_THAT(error_, AllOf(HasSubstr("no-such"), HasSubstr("single-sim")));
  EXPECT_EQ(DeviceFolder::Create(parent_ / "none/device", "bare", &error_), nullptr);
  EXPECT_THAT(error_, HasSubstr("No such file or directory"));
  EXPECT_THAT(Entries(parent_.path()), testing::IsEmpty());

  fs::create_directory(path_);
  std::ofstream(path_ + "/precious") << "1";
  EXPECT_EQ(DeviceFolder::Create(path_, "bare", &error_), nullptr);
  EXPECT_THAT(error_, HasSubstr("not empty"));
  fs::create_directory_symlink(path_, parent_ / "new.orx-sim-new");
  EXPECT_EQ(DeviceFolder::Create(parent_ / "new", "bare", &error_), nullptr);
  fs::remove(parent_ / "new.orx-sim-new");
  EXPECT_FALSE(ReplaceFile(path_, "a file", &error_));
  EXPECT_THAT(error_, HasSubstr("Is a directory"));
  EXPECT_EQ(Content("precious"), "1");
  EXPECT_EQ(Entries(parent_.path()).size(), 1u);
}

TEST_F(DeviceFolderTest, OpenNamesWhatIsWrong) {
  const std::tuple<const char*, std::function<void()>, const char*> cases[] = {
      {"nothing there", [&] { RemoveTree(path_); }, "No such file or directory"},
      {"open to others", [&] { chmod(path_.c_str(), 0750); }, "chmod 700"},
      {"bad line", [&] { Write("device.conf", "\nfoo = 1\n"); }, "device.conf:2: there is no "},
      {"no name", [&] { Write("device.conf", "[build.prop]\n=1"); }, "device.conf:2: not of the"},
      {"no sign", [&] { Write("device.conf", "[build.prop]\nro.a"); }, "device.conf:2: not of the"},
      {"no format", [&] { fs::remove(path_ + "/format"); }, "made by another version of orx-sim"},
      {"other format", [&] { Write("format", "2\n"); }, "made by another version of orx-sim"},
      {"short root key", [&] { Write("root.key", "0123456789"); }, "root.key: not a key of 32"},
      {"not a folder",
       [&] {
         RemoveTree(path_);
         std::ofstream(path_) << "1";
       },
       "device: not a folder"},
      {"another folder", [&] { fs::remove(path_ + "/device.conf"); }, "not a simulated device"},
  };
  for (const auto& [title, breakage, reason] : cases) {
    SCOPED_TRACE(title);
    RemoveTree(path_);
    Create();
    breakage();
    EXPECT_EQ(Open(), nullptr);
    EXPECT_THAT(error_, HasSubstr(reason));
  }
}

TEST_F(DeviceFolderTest, OpensThroughASymbolicLinkUnderItsOwnName) {
  Create();
  fs::create_directory_symlink("device", parent_ / "link");
  const std::shared_ptr<DeviceFolder> folder = DeviceFolder::Open(parent_ / "link", &error_);
  ASSERT_TRUE(folder) << error_;
  EXPECT_EQ(folder->path(), fs::canonical(path_));
}

// The second attempt is what the next user of a folder does after the first was killed.
TEST_F(DeviceFolderTest, KilledAtAnyWriteItIsAsBeforeOrAsAfter) {
  const std::string before = Create()->conf()->text();
  const auto set = [&] {
    const bool done = Open()->Set({"imei=1", "ro.vendor.boot.uid=ff"}, &error_);
    EXPECT_TRUE(done) << error_;
  };
  std::string text;
  for (rlim_t limit = 0; text.empty() || text == before; limit += 64) {
    ASSERT_LT(limit, 8192u);
    WithFilesOf(limit, set);  // ends in the middle of a write
    ASSERT_TRUE(Open()) << error_;
    text = Open()->conf()->text();
    EXPECT_TRUE(text == before ||
                (Open()->Get("imei") == "1" && text.find("uid=ff") != std::string::npos));
  }
  set();
  EXPECT_THAT(Entries(path_),
              UnorderedElementsAre("format", "device.conf", "root.key", "deleted.keys", "persist"));
}

TEST_F(DeviceFolderTest, CreationThatCannotWriteLeavesNothingAndAKilledOneIsTakenOver) {
  EXPECT_EQ(WithFilesOf(16,
                        [&] {
                          signal(SIGXFSZ, SIG_IGN);
                          EXPECT_EQ(DeviceFolder::Create(path_, "bare", &error_), nullptr);
                          EXPECT_THAT(error_, HasSubstr("File too large"));
                        }),
            0);
  EXPECT_THAT(Entries(parent_.path()), testing::IsEmpty());

  EXPECT_NE(WithFilesOf(16, [&] { DeviceFolder::Create(path_, "bare", &error_); }), 0);
  EXPECT_THAT(Entries(parent_.path()), ElementsAre("device.orx-sim-new"));
  Create();
  EXPECT_THAT(Entries(parent_.path()), ElementsAre("device"));
}

TEST_F(DeviceFolderTest, OneThatItsUserCannotWriteStaysAsItIs) {
  EXPECT_EQ(chmod(parent_.path().c_str(), 0777), 0);
  EXPECT_EQ(EndOf(Start([&] {
              // The superuser may write regardless of modes.
              EXPECT_TRUE(geteuid() != 0 || setresuid(65534, 65534, 65534) == 0);
              const std::shared_ptr<DeviceFolder> folder = Create();
              const std::string conf = Content("device.conf");
              EXPECT_EQ(chmod(path_.c_str(), 0500), 0);
              EXPECT_FALSE(folder->Set({"imei=1"}, &error_));
              EXPECT_THAT(error_, HasSubstr("Permission denied"));
              EXPECT_NE(folder->Get("imei"), "1");
              EXPECT_EQ(Content("device.conf"), conf);
              EXPECT_EQ(DeviceFolder::Create(path_ + "/more", "bare", &error_), nullptr);
              EXPECT_THAT(error_, HasSubstr("Permission denied"));
              EXPECT_EQ(chmod(path_.c_str(), 0700), 0);
            })),
            0);
  EXPECT_EQ(Entries(path_).size(), 5u);
}

TEST_F(DeviceFolderTest, SetChangesSettingsAndPropertiesInPlace) {
  const std::shared_ptr<DeviceFolder> folder = Create("single-sim");
  ASSERT_TRUE(folder->Set({"imei=1", "imei=2", "ro.vendor.boot.uid=ff", "vendor.new=a=b"}, &error_))
      << error_;
  EXPECT_EQ(folder->Get("imei"), "2");
  EXPECT_EQ(Open()->Get("imei"), "2");
  EXPECT_THAT(Content("device.conf"),
              AllOf(HasSubstr("# A phone"), Not(HasSubstr("356938035643809")),
                    HasSubstr("\nro.vendor.boot.uid=ff\n"), Not(HasSubstr("fedcba")),
                    testing::EndsWith("\nvendor.new=a=b\n")));
}

TEST_F(DeviceFolderTest, SetFindsTheRightPlaceInEveryText) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"", "imei=1", "imei=1\n"},
      {"modem = no\n", "imei=1", "modem = no\nimei=1\n"},
      {"modem = no", "imei=1", "modem = no\nimei=1"},
      {"imei = 1\nimei = 2\n", "imei=3", "imei = 1\nimei=3\n"},
      {"modem = no\n[build.prop]\nro.a=1\n", "imei=1",
       "modem = no\nimei=1\n[build.prop]\nro.a=1\n"},
      {"modem = no\n", "ro.a=1", "modem = no\n[build.prop]\nro.a=1\n"},
      {"[build.prop]\nro.a=1\nro.a=2\n", "ro.a=3", "[build.prop]\nro.a=1\nro.a=3\n"},
  };
  for (const auto& [before, assignment, after] : rows) {
    DeviceConf conf;
    ASSERT_TRUE(conf.Parse(before, "x", &error_)) << error_;
    EXPECT_TRUE(conf.Set(assignment, &error_)) << error_;
    EXPECT_EQ(conf.text(), after);
  }
}

TEST_F(DeviceFolderTest, SetRefusesAllIfOneIsWrong) {
  const std::shared_ptr<DeviceFolder> folder = Create();
  const std::string conf = Content("device.conf");
  const std::pair<std::string, const char*> cases[] = {
      {"modem", "not of the form NAME=VALUE"},
      {"imei=1\nmodem=no", "not of the form NAME=VALUE"},
      {"patch=202612", "there is no setting \"patch\""},
      {"os-patch-level=202613", "which is YYYYMM"},
      {"boot-patch-level=20261232", "which is YYYYMMDD"},
      {"modem=maybe", "which is yes|no"},
      {"operation-slots=0", "which is 1..1024"},
      {"ro.b c=1", "\"ro.b c\" is no property name"},
      {"ro.=1", "\"ro.\" is no property name"},
      {"ro.b=" + std::string(92, 'x'), "the longest that Android takes has 91"},
  };
  for (const auto& [assignment, reason] : cases) {
    SCOPED_TRACE(assignment);
    EXPECT_FALSE(folder->Set({"os-version=150000", "ro.fine=1", assignment}, &error_));
    EXPECT_THAT(error_, HasSubstr(reason));
    EXPECT_EQ(Content("device.conf"), conf);
    EXPECT_EQ(folder->GetNumber("os-version"), 140000);
  }
}

TEST_F(DeviceFolderTest, SeveralProcessesLoseNoDeletionAndNoSetting) {
  const size_t properties = Create()->conf()->properties().size();
  constexpr uint8_t kEach = 25;
  constexpr uint8_t kAll = 4 * kEach;
  std::vector<pid_t> children;
  for (uint8_t first = 0; first < kAll; first += kEach) {
    children.push_back(Start([&] {
      const std::shared_ptr<DeviceFolder> folder = Open();
      for (uint8_t i = first; i < first + kEach; ++i) {
        EXPECT_TRUE(folder->DeleteKey("default", KeyId{i}));
        EXPECT_TRUE(folder->Set({"test." + std::to_string(i) + "=1"}, &error_));
      }
    }));
  }
  for (const pid_t child : children) EXPECT_EQ(EndOf(child), 0);
  const std::shared_ptr<DeviceFolder> folder = Open();
  for (uint8_t i = 0; i < kAll; ++i) EXPECT_TRUE(folder->IsDeleted("default", 0, KeyId{i}));
  EXPECT_FALSE(folder->IsDeleted("default", 0, KeyId{kAll}));
  EXPECT_FALSE(folder->IsDeleted("strongbox", 0, KeyId{0}));
  EXPECT_EQ(folder->conf()->properties().size(), properties + kAll);
}

TEST_F(DeviceFolderTest, WithoutTheWholeListEveryKeyCountsAsDeletedAndNoDeviceOpens) {
  const KeyId kept = {1};
  const std::string two = "default 02000000000000000000000000000000\n";
  const std::string three = "strongbox *\n";
  const std::function<void(const std::string&)> damages[] = {
      [](const std::string& list) { fs::remove(list); },
      [](const std::string& list) { fs::resize_file(list, 0); },
      [](const std::string& list) { fs::resize_file(list, 5); },
      [&](const std::string& list) { fs::resize_file(list, fs::file_size(list) - 1); },
      [&](const std::string& list) { fs::resize_file(list, fs::file_size(list) - three.size()); },
      [](const std::string& list) { std::ofstream(list, std::ios::app) << "default 0g\n"; },
  };
  for (const auto& damage : damages) {
    RemoveTree(path_);
    const std::shared_ptr<DeviceFolder> folder = Create();
    ASSERT_TRUE(folder->DeleteKey("default", KeyId{2}));
    ASSERT_TRUE(folder->DeleteAllKeys("strongbox"));
    EXPECT_EQ(Content("deleted.keys"), "0000000002\n" + two + three);
    EXPECT_FALSE(folder->IsDeleted("default", 0, kept));
    EXPECT_TRUE(folder->IsDeleted("default", 0, KeyId{2}));
    EXPECT_TRUE(folder->IsDeleted("strongbox", 0, kept));
    damage(path_ + "/deleted.keys");
    EXPECT_TRUE(folder->IsDeleted("default", folder->Era("default"), kept));
    EXPECT_TRUE(folder->IsDeleted("default", 0, kept));
    EXPECT_FALSE(folder->DeleteKey("default", kept));
    EXPECT_EQ(Open(), nullptr);
    EXPECT_THAT(error_, HasSubstr("deleted.keys: "));
  }
}

// A process that dies between the deletion and its count, or within the deletion.
TEST_F(DeviceFolderTest, AnUncountedDeletionCountsAndHalfOfOneIsOverwritten) {
  const std::shared_ptr<DeviceFolder> folder = Create();
  ASSERT_TRUE(folder->DeleteKey("default", KeyId{1}));
  std::ofstream(path_ + "/deleted.keys", std::ios::app)
      << "default 02000000000000000000000000000000\nstrongbox 0300000000000000000000";
  for (const std::shared_ptr<DeviceFolder>& seen_by : {folder, Open()}) {
    ASSERT_TRUE(seen_by) << error_;
    EXPECT_TRUE(seen_by->IsDeleted("default", 0, KeyId{2}));
    EXPECT_FALSE(seen_by->IsDeleted("strongbox", 0, KeyId{3}));
  }
  ASSERT_TRUE(folder->DeleteAllKeys("default"));
  EXPECT_EQ(Content("deleted.keys"),
            "0000000003\ndefault 01000000000000000000000000000000\n"
            "default 02000000000000000000000000000000\ndefault *\n");
}

}  // namespace
}  // namespace orx_sim
