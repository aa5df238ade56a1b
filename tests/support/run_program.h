// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace orx_test {

// Words are a command line: a text whose words spaces part, or a list of words.
struct Words : std::vector<std::string> {
  Words(const char* text) {
    std::istringstream words(text);
    for (std::string word; words >> word;) push_back(word);
  }
  Words(const std::string& text) : Words(text.c_str()) {}
  Words(std::initializer_list<std::string> words) : vector(words) {}
  Words(std::vector<std::string> words) : vector(std::move(words)) {}
};

inline Words operator+(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

struct ProgramOptions {
  std::string input;              // given on standard input
  bool terminal = false;          // standard error is a terminal
  std::string signal_when_shown;  // send SIGINT once this stands on standard error
};

struct ProgramResult {
  int exit_code = -1;  // 128 plus the signal's number when a signal ended it
  std::string out;
  std::string err;
};

// RunProgram runs a program as a user does, in a process group of its own, and waits for it. One
// that is linked into the test need not be started: its main function, given instead, gets a fork.
ProgramResult RunProgram(const Words& argv, const ProgramOptions& options = {});
ProgramResult RunProgram(const std::function<int()>& main, const ProgramOptions& options = {});

}  // namespace orx_test
