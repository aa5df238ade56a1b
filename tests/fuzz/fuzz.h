// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/log.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

// What the fuzzers share. Each is a program of libFuzzer's: LLVMFuzzerTestOneInput() reads one
// input and calls what it aims at (targets.txt); a sanitizer or ORX_FUZZ_CHECK ends it.

// ORX_FUZZ_CHECK ends the process where what was promised does not hold.
#define ORX_FUZZ_CHECK(condition)                                     \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      abort();                                                        \
    }                                                                 \
  } while (false)

namespace orx_fuzz {

// Input cuts an input into pieces. Behind its end there are zeros and empty pieces.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : next_(data), end_(data + size) {}

  uint8_t Byte() { return next_ == end_ ? 0 : *next_++; }
  bool AtEnd() const { return next_ == end_; }

  // Piece is what follows two bytes that say its length, the high one first.
  std::vector<uint8_t> Piece() {
    const size_t high = Byte();
    return Take(high << 8 | Byte());
  }
  std::string Text() {
    const std::vector<uint8_t> piece = Piece();
    return {piece.begin(), piece.end()};
  }
  std::vector<uint8_t> Rest() { return Take(static_cast<size_t>(end_ - next_)); }
  std::string RestText() {
    const std::vector<uint8_t> rest = Rest();
    return {rest.begin(), rest.end()};
  }

 private:
  std::vector<uint8_t> Take(size_t length) {
    const uint8_t* const first = next_;
    next_ += std::min(length, static_cast<size_t>(end_ - next_));
    return {first, next_};
  }

  const uint8_t* next_;
  const uint8_t* const end_;
};

// FileOf gives the path of a file with these bytes, which lasts until the next one.
inline std::string FileOf(const void* data, size_t size) {
  static const int fd = memfd_create("input", 0);
  ORX_FUZZ_CHECK(ftruncate(fd, 0) == 0);
  ORX_FUZZ_CHECK(pwrite(fd, data, size, 0) == static_cast<ssize_t>(size));
  return "/proc/self/fd/" + std::to_string(fd);
}

// Log lines are formatted, as the arguments are read then, and dropped.
inline const bool kLogIsDropped = [] {
  __android_log_set_logger([](const auto*, auto...) {});
  return true;
}();

}  // namespace orx_fuzz
