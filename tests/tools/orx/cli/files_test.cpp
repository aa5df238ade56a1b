// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace orx_tool {
namespace {

// The library's folder is empty and private to each case.
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

}  // namespace
}  // namespace orx_tool
