// SPDX-License-Identifier: Apache-2.0
#include <dirent.h>
#include <fcntl.h>
#include <orx/orx.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include "tools/orx/cli/file_text.h"
#include "tools/orx/cli/result_bytes.h"
#include "tools/orx/commands/command_tables.h"
#include "tools/orx/commands/common_options.h"
#include "tools/orx/diagnosis/library_log.h"
#include "tools/orx/diagnosis/slots.h"

namespace orx_tool {
namespace {

// The store is for small secrets; this keeps a mistaken argument from filling the partition.
constexpr size_t kMaxStoreBytes = 16UL * 1024 * 1024;
constexpr size_t kCopiedBytes = 3UL * 16384;
constexpr uint64_t kBlockBytes = 512;  // of st_blocks
constexpr mode_t kPrivateMode = 0600;
constexpr int kForReading = 0;
constexpr int kForWriting = 1;

std::string StorePath(int number) {
  return std::string(kPersistFolder) + "/" + std::to_string(number) + ".bin";
}

std::optional<int> ParseFileNumber(const std::string& text, std::optional<Problem>* problem) {
  const auto number = ParseNumber(text, INT32_MIN, INT32_MAX);
  if (number) return static_cast<int>(*number);
  *problem = MakeProblem("USAGE", "'" + text + "' is no file number");
  return std::nullopt;
}

// StoreFile is the library's one open file, closed in the end.
class StoreFile {
 public:
  StoreFile(int number, int direction) {
    ClearLibraryLog();
    open_ = ORX_STORE_Open(number, &handle_, direction) == 0;
  }
  ~StoreFile() { Close(); }
  StoreFile(const StoreFile&) = delete;
  StoreFile& operator=(const StoreFile&) = delete;

  bool open() const { return open_; }
  uint32_t handle() const { return handle_; }
  bool Close() {
    if (!open_) return true;
    open_ = false;
    return ORX_STORE_Close(handle_) == 0;
  }

 private:
  uint32_t handle_ = 0;
  bool open_;
};

// UnfinishedMark is an empty file beside a store file for as long as that is being written. The
// file itself cannot tell that the process was killed before it had written all. Where the mark
// cannot be made the file is written all the same.
class UnfinishedMark {
 public:
  explicit UnfinishedMark(int number)
      : path_(std::string(kPersistFolder) + "/" + std::to_string(number) + ".unfinished") {}

  bool exists() const { return access(path_.c_str(), F_OK) == 0; }
  void Make() {
    const int fd = open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kPrivateMode);
    is_made_ = fd >= 0;
    if (is_made_) close(fd);
  }
  void Remove() { unlink(path_.c_str()); }
  // GiveUp leaves the mark of an earlier process, whose file is as it was.
  void GiveUp() {
    if (is_made_) Remove();
  }

 private:
  const std::string path_;
  bool is_made_ = false;
};

Problem StoreProblem(int number, Access access = Access::kRead) {
  return DiagnoseStorage(LibraryLogLines(), StorePath(number), access);
}

// CheckSpace says so when `size` bytes have no room in the place of the old file. A size that the
// file system does not tell is no obstacle.
std::optional<Problem> CheckSpace(const std::string& path, uint64_t size) {
  struct statvfs space;
  struct stat old;
  if (statvfs(kPersistFolder, &space) != 0 || space.f_blocks == 0) return std::nullopt;
  uint64_t room = static_cast<uint64_t>(space.f_bavail) * space.f_frsize;
  if (stat(path.c_str(), &old) == 0) room += static_cast<uint64_t>(old.st_blocks) * kBlockBytes;
  if (size <= room) return std::nullopt;
  return MakeProblem("PERSIST-FULL", std::string(kPersistFolder) + " has room for " +
                                         std::to_string(room) + " bytes, not for " +
                                         std::to_string(size));
}

// CopyOut hands `size` bytes of the open file on.
bool CopyOut(int number, uint32_t size, ResultBytes* result, std::optional<Problem>* problem) {
  SecretBytes piece(kCopiedBytes);
  for (uint32_t left = size; left > 0;) {
    const size_t count = std::min<size_t>(left, piece.size());
    if (ORX_STORE_Read(piece.data(), 1, count) != 0) {
      *problem = StoreProblem(number);
      return false;
    }
    if (!result->Write(piece.data(), count, problem)) return false;
    left -= static_cast<uint32_t>(count);
  }
  // The library tells the size in 32 bits; a byte beyond it means that this was not all.
  if (ORX_STORE_Read(piece.data(), 1, 1) != 0) return true;
  *problem = MakeProblem("STORE-IO", "the file is larger than the size that the library tells");
  return false;
}

// WithStoreFile opens the file of the first operand for reading, and hands its number and size on.
int WithStoreFile(const Args& args, Output& output,
                  const std::function<int(int number, uint32_t size)>& use) {
  std::optional<Problem> problem;
  const auto number = ParseFileNumber(args.operands()[0], &problem);
  if (!number) return output.Fail(*problem);
  StoreFile file(*number, kForReading);
  if (file.open() && UnfinishedMark(*number).exists()) {
    return output.Fail(
        MakeProblem("STORE-UNFINISHED", StorePath(*number) + " was not written to its end"));
  }
  uint32_t size = 0;
  if (!file.open() || ORX_STORE_Size(file.handle(), &size) != 0) {
    return output.Fail(StoreProblem(*number));
  }
  return use(*number, size);
}

int RunStorePut(const Args& args, Output& output) {
  std::optional<Problem> problem;
  const auto number = ParseFileNumber(args.operands()[0], &problem);
  if (!number) return output.Fail(*problem);
  // Read whole before the old content goes: opening for writing truncates.
  const auto bytes = ReadWhole(args.Get("input", "-"), kMaxStoreBytes, &problem);
  if (!bytes) return output.Fail(*problem);
  const std::string path = StorePath(*number);
  problem = CheckSpace(path, bytes->size());
  if (problem) return output.Fail(*problem);
  const bool replaces = access(path.c_str(), F_OK) == 0;
  UnfinishedMark mark(*number);
  mark.Make();
  StoreFile file(*number, kForWriting);
  if (!file.open()) {
    mark.GiveUp();
    return output.Fail(StoreProblem(*number, Access::kWrite));
  }
  const bool written = ORX_STORE_Write(bytes->data(), 1, bytes->size()) == 0;
  if (!file.Close() || !written) {
    Problem failure = StoreProblem(*number, Access::kWrite);
    if (ORX_STORE_Delete(*number) == 0) mark.Remove();  // half a secret is worse than none
    AddToCause(replaces ? "; the old content is gone too" : "; nothing was stored", &failure);
    return output.Fail(failure);
  }
  mark.Remove();
  output.answer()["file"] = StorePath(*number);
  output.answer()["size"] = static_cast<Json::UInt64>(bytes->size());
  output.Text("store " + std::to_string(*number) + ": " + std::to_string(bytes->size()) +
              " bytes in " + StorePath(*number));
  return output.Succeed();
}

int RunStoreGet(const Args& args, Output& output) {
  return WithStoreFile(args, output, [&](int number, uint32_t size) {
    std::optional<Problem> problem;
    ResultBytes result(args, output, Format::kRaw, Privacy::kSecret, &problem);
    if (problem || !CopyOut(number, size, &result, &problem) || !result.Finish(&problem)) {
      return output.Fail(*problem);
    }
    return output.Succeed();
  });
}

int RunStoreSize(const Args& args, Output& output) {
  return WithStoreFile(args, output, [&](int number, uint32_t size) {
    output.answer()["file"] = StorePath(number);
    output.answer()["size"] = size;
    output.Text(std::to_string(size));
    return output.Succeed();
  });
}

// StoreNumber reads the number from a store file's name.
std::optional<int> StoreNumber(const std::string& name) {
  constexpr const char kEnd[] = ".bin";
  const size_t end = name.rfind(kEnd);
  if (end == std::string::npos || end + strlen(kEnd) != name.size()) return std::nullopt;
  const auto number = ParseNumber(name.substr(0, end), INT32_MIN, INT32_MAX);
  // The library writes neither leading zeros nor "-0".
  if (!number || std::to_string(*number) + kEnd != name) return std::nullopt;
  return static_cast<int>(*number);
}

// StoreNumbers lists the store files, smallest number first.
std::vector<int> StoreNumbers() {
  std::vector<int> numbers;
  DIR* folder = opendir(kPersistFolder);
  if (folder == nullptr) return numbers;
  while (const dirent* entry = readdir(folder)) {
    if (const auto number = StoreNumber(entry->d_name)) numbers.push_back(*number);
  }
  closedir(folder);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

int RunStoreList(const Args& /*args*/, Output& output) {
  if (const auto problem = CheckPersistFolder()) return output.Fail(*problem);
  std::vector<std::vector<std::string>> rows = {{"NUMBER", "SIZE", "OWNER", "MODE"}};
  Json::Value files(Json::arrayValue);
  for (const int number : StoreNumbers()) {
    struct stat status;
    if (stat(StorePath(number).c_str(), &status) != 0) continue;  // removed meanwhile
    const auto size = static_cast<Json::UInt64>(status.st_size);
    rows.push_back(
        {std::to_string(number), std::to_string(size), OwnerText(status), ModeText(status)});
    Json::Value file(Json::objectValue);
    file["number"] = number;
    file["size"] = size;
    file["owner"] = OwnerText(status);
    file["mode"] = ModeText(status);
    files.append(file);
  }
  PrintTable(output, rows);
  output.answer()["folder"] = kPersistFolder;
  output.answer()["files"] = files;
  return output.Succeed();
}

int RunStoreRemove(const Args& args, Output& output) {
  std::optional<Problem> problem;
  const auto number = ParseFileNumber(args.operands()[0], &problem);
  if (!number) return output.Fail(*problem);
  ClearLibraryLog();
  if (ORX_STORE_Delete(*number) != 0) return output.Fail(StoreProblem(*number));
  UnfinishedMark(*number).Remove();
  output.answer()["file"] = StorePath(*number);
  output.Text("store " + std::to_string(*number) + ": removed");
  return output.Succeed();
}

}  // namespace

std::vector<Command> StoreCommands() {
  return {
      {"store put",
       "NUMBER",
       1,
       1,
       "write a file of the secure store",
       "A negative number goes after --.\n",
       {kInput},
       RunStorePut},
      {"store get",
       "NUMBER",
       1,
       1,
       "read a file of the secure store",
       "",
       {kOutput, kFormat},
       RunStoreGet},
      {"store size",
       "NUMBER",
       1,
       1,
       "print the size of a file of the secure store",
       "",
       {},
       RunStoreSize},
      {"store list", "", 0, 0, "show the files of the secure store", "", {}, RunStoreList},
      {"store rm", "NUMBER", 1, 1, "remove a file of the secure store", "", {}, RunStoreRemove},
  };
}

}  // namespace orx_tool
