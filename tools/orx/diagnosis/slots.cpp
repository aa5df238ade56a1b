// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/diagnosis/slots.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace orx_tool {
namespace {

bool IsFileProblem(const std::string& code) {
  return code.rfind("KEY-FILE-", 0) == 0 || code.rfind("STORE-", 0) == 0 ||
         code == "KEY-SLOT-EMPTY";
}

bool IsWriteProblem(const std::string& code) {
  return code == "KEY-FILE-UNWRITABLE" || code == "STORE-IO";
}

// What an empty key blob comes to, in one call or another.
bool IsBlobProblem(const std::string& code) {
  return code == "KM-BLOB-REFUSED" || code == "KEY-SLOT-EMPTY" || code == "UNEXPLAINED";
}

bool NoSpaceLeft() {
  struct statvfs status;
  if (statvfs(kPersistFolder, &status) != 0) return false;
  return status.f_bavail == 0 || (status.f_flag & ST_RDONLY) != 0;
}

Problem WithLine(Problem problem, const std::string& library_line) {
  problem.library_line = library_line;
  return problem;
}

}  // namespace

std::optional<Problem> CheckPersistFolder() {
  struct stat status;
  const std::string folder = kPersistFolder;
  if (stat(kPersistFolder, &status) != 0) {
    const char* code = errno == EACCES ? "PERSIST-DENIED" : "PERSIST-MISSING";
    return MakeProblem(code, folder + ": " + strerror(errno));
  }
  if (!S_ISDIR(status.st_mode)) {
    return MakeProblem("PERSIST-MISSING", folder + " is not a folder");
  }
  if (access(kPersistFolder, R_OK | X_OK) != 0) {
    return MakeProblem("PERSIST-DENIED", folder + ": " + strerror(errno));
  }
  return std::nullopt;
}

bool IsEmptyFile(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0;
}

Problem DiagnoseStorage(const std::vector<LogLine>& lines, const std::string& path,
                        Access access_wanted) {
  Problem problem = Diagnose(lines);
  const std::string& line = problem.library_line;
  if (IsBlobProblem(problem.code) && IsEmptyFile(path)) {
    return WithLine(MakeProblem("KEY-FILE-EMPTY", path + " is empty: storing a key was cut short"),
                    line);
  }
  if (!IsFileProblem(problem.code)) return problem;
  if (auto folder = CheckPersistFolder()) return WithLine(*folder, line);

  struct stat status;
  const bool exists = lstat(path.c_str(), &status) == 0;
  const std::string folder = kPersistFolder;
  if (access_wanted == Access::kWrite || IsWriteProblem(problem.code)) {
    if (NoSpaceLeft()) {
      return WithLine(MakeProblem("PERSIST-FULL", folder + " is full or read-only"), line);
    }
    const bool denied = access(exists ? path.c_str() : kPersistFolder, W_OK) != 0;
    if (!denied) return problem;
    return WithLine(MakeProblem("PERSIST-DENIED", "no permission to write " + path), line);
  }
  if (!exists) {
    const bool store = problem.code.rfind("STORE-", 0) == 0;
    return WithLine(MakeProblem(store ? "STORE-EMPTY" : "KEY-SLOT-EMPTY", path + " does not exist"),
                    line);
  }
  if (access(path.c_str(), R_OK) != 0) {
    return WithLine(MakeProblem("PERSIST-DENIED", "no permission to read " + path), line);
  }
  return problem;
}

}  // namespace orx_tool
