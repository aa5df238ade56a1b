// SPDX-License-Identifier: Apache-2.0
#include <android-base/file.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <orx/store.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "tests/support/interposed/interposed.h"
#include "tests/support/log_capture.h"

namespace {

// How many elements at most the next fread() or fwrite() transfers; empty for no limit.
std::vector<size_t> limits;

size_t NextLimit(size_t count) {
  if (limits.empty()) return count;
  const size_t limit = limits.front();
  limits.erase(limits.begin());
  return std::min(limit, count);
}

}  // namespace

// Libc's own never stop short of an end or an error.
ORX_INTERPOSED(fread, real(a, b, NextLimit(c), d, e, f))
ORX_INTERPOSED(fwrite, real(a, b, NextLimit(c), d, e, f))

namespace {

using ::testing::ElementsAre;

const std::string kFolder = "/mnt/vendor/persist/security/";

uint32_t Write(const std::string& bytes) {
  return ORX_STORE_Write(reinterpret_cast<const uint8_t*>(bytes.data()), 1, bytes.size());
}

void Put(int number, const std::string& bytes) {
  ASSERT_EQ(ORX_STORE_Open(number, nullptr, 1), 0u);
  ASSERT_EQ(Write(bytes), 0u);
  ASSERT_EQ(ORX_STORE_Close(0), 0u);
}

class StoreTest : public ::testing::Test {
 protected:
  // Reads into 16 bytes of '-' and returns them.
  std::string Read(size_t element_size, size_t count, uint32_t expected) {
    std::string buffer(16, '-');
    EXPECT_EQ(ORX_STORE_Read(reinterpret_cast<uint8_t*>(buffer.data()), element_size, count),
              expected);
    return buffer;
  }

  orx_test::LogCapture log_;
};

TEST_F(StoreTest, KeepsBytesUnderTheirNumber) {
  for (int number : {5, -3, INT_MIN}) {
    const std::string path = kFolder + std::to_string(number) + ".bin";
    uint32_t handle = 7;
    EXPECT_EQ(ORX_STORE_Open(number, &handle, 1), 0u);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(Write(std::string("a\0b", 3)), 0u);
    EXPECT_EQ(ORX_STORE_Close(handle), 0u);
    std::string content;
    EXPECT_TRUE(android::base::ReadFileToString(path, &content));
    EXPECT_EQ(content, std::string("a\0b", 3));

    EXPECT_EQ(ORX_STORE_Open(number, nullptr, 0), 0u);
    EXPECT_EQ(Read(1, 3, 0), std::string("a\0b-------------", 16));
    EXPECT_EQ(ORX_STORE_Close(0), 0u);
    EXPECT_THAT(log_.Take(), ElementsAre("Opening file " + path, "Opening file " + path));
  }
}

TEST_F(StoreTest, AFileThatCannotBeOpenedLeavesNothingOpen) {
  uint32_t handle = 7;
  EXPECT_EQ(ORX_STORE_Open(5, &handle, 0), 1u);
  EXPECT_EQ(handle, 0u);
  uint32_t size = 9;
  EXPECT_EQ(ORX_STORE_Size(0, &size), 1u);
  EXPECT_EQ(size, 9u);
  EXPECT_EQ(ORX_STORE_Write(nullptr, 1, 0), 1u);
  EXPECT_THAT(log_.Take(), ElementsAre("Opening file " + kFolder + "5.bin", "Could not open file",
                                       "fp NULL", "fp NULL"));
}

TEST_F(StoreTest, ASecondOpenAbandonsTheFirstFileWithoutClosingIt) {
  ASSERT_EQ(ORX_STORE_Open(1, nullptr, 1), 0u);
  ASSERT_EQ(Write("buffered"), 0u);
  log_.Clear();
  EXPECT_EQ(ORX_STORE_Open(2, nullptr, 1), 0u);
  EXPECT_THAT(log_.Take(), ElementsAre("fp not NULL", "Opening file " + kFolder + "2.bin"));
  EXPECT_EQ(ORX_STORE_Close(0), 0u);
  struct stat status = {};
  ASSERT_EQ(stat((kFolder + "1.bin").c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 0) << "what the first file's stream buffers is not written";
}

TEST_F(StoreTest, WhatCannotBeTransferredFails) {
  Put(5, "abcd");
  ASSERT_EQ(mkdir((kFolder + "6.bin").c_str(), 0700), 0);
  ASSERT_EQ(ORX_STORE_Open(5, nullptr, 0), 0u);
  log_.Clear();
  EXPECT_EQ(Write("abc"), 1u);
  EXPECT_THAT(log_.Take(), ElementsAre("Err elem_left=3"));
  ASSERT_EQ(ORX_STORE_Close(0), 0u);

  // A stream for writing, and a directory, which can be opened.
  for (const auto& [number, write] : {std::pair(7, 1), std::pair(6, 0)}) {
    ASSERT_EQ(ORX_STORE_Open(number, nullptr, write), 0u);
    log_.Clear();
    Read(1, 3, 1);
    EXPECT_THAT(log_.Take(), ElementsAre("File read failure"));
    ASSERT_EQ(ORX_STORE_Close(0), 0u);
  }
}

TEST_F(StoreTest, LargeElementsGoOnAtTheElementCountAsBytes) {
  Put(5, "abcdefghijkl");
  ASSERT_EQ(ORX_STORE_Open(5, nullptr, 0), 0u);
  limits = {1, 0, 1};
  EXPECT_EQ(Read(3, 4, 0), "adghijkl--------");
  ASSERT_EQ(ORX_STORE_Close(0), 0u);

  ASSERT_EQ(ORX_STORE_Open(5, nullptr, 1), 0u);
  limits = {1, 1};
  EXPECT_EQ(ORX_STORE_Write(reinterpret_cast<const uint8_t*>("abcdefghijkl"), 3, 4), 0u);
  ASSERT_EQ(ORX_STORE_Close(0), 0u);
  std::string content;
  ASSERT_TRUE(android::base::ReadFileToString(kFolder + "5.bin", &content));
  EXPECT_EQ(content, "abcbcdcdefgh");
}

TEST_F(StoreTest, TheSizeLeavesOutWhatIsBufferedAndAllBut32Bits) {
  ASSERT_EQ(ORX_STORE_Open(5, nullptr, 1), 0u);
  ASSERT_EQ(Write("abc"), 0u);
  uint32_t size = 9;
  EXPECT_EQ(ORX_STORE_Size(0, &size), 0u);
  EXPECT_EQ(size, 0u);
  ASSERT_EQ(ORX_STORE_Close(0), 0u);
  ASSERT_EQ(truncate((kFolder + "5.bin").c_str(), (off_t{5} << 30) + 7), 0);
  ASSERT_EQ(ORX_STORE_Open(5, nullptr, 0), 0u);
  EXPECT_EQ(ORX_STORE_Size(0, &size), 0u);
  EXPECT_EQ(size, (1u << 30) + 7);
}

TEST_F(StoreTest, ClosingWithoutAFileEndsTheProcess) {
  EXPECT_DEATH(ORX_STORE_Close(0), "");
}

TEST_F(StoreTest, DeletingFailsOnAMissingFile) {
  Put(5, "abc");
  log_.Clear();
  EXPECT_EQ(ORX_STORE_Delete(5), 0u);
  EXPECT_EQ(ORX_STORE_Delete(5), 1u);
  const std::string deleting = "Deleting file " + kFolder + "5.bin";
  EXPECT_THAT(log_.Take(), ElementsAre(deleting, deleting, "Delete failed"));
}

}  // namespace
