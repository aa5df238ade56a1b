// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/support/certificate_builder.h"

namespace orx_test {

// ChainVerdict is what the library's check of a chain answers, and the lines that it logs.
struct ChainVerdict {
  bool accepted;
  std::vector<std::string> messages;
};

// ChainCase is a chain with one thing wrong at most, and how it is judged.
struct ChainCase {
  const char* title;
  Chain chain;
  ChainVerdict strict;
  std::optional<ChainVerdict> relaxed = std::nullopt;  // where it differs
};

std::vector<ChainCase> ChainCases();

}  // namespace orx_test
