// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace orx_test {

// TempFolder is an empty folder, private to the user, that goes away with it and all it then holds.
class TempFolder {
 public:
  TempFolder() : path_(::testing::TempDir() + "/orx-test.XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) abort();
  }
  ~TempFolder() {
    std::error_code ignored;  // a test may have made it unremovable
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }
  // The path of an entry of the folder, whether it exists or not.
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace orx_test
