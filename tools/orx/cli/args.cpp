// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/args.h"

#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <charconv>

namespace orx_tool {
namespace {

// Values beyond any character, so that a long option is told from a letter.
constexpr int kFirstLongValue = 1000;

struct GetoptTables {
  std::string letters;
  std::vector<option> long_options;
};

GetoptTables MakeTables(const std::vector<Option>& options, bool stop_at_operand) {
  GetoptTables tables;
  tables.letters = stop_at_operand ? "+:" : ":";
  for (size_t i = 0; i < options.size(); ++i) {
    const int has_value = options[i].value != nullptr ? required_argument : no_argument;
    tables.long_options.push_back(
        {options[i].name, has_value, nullptr, kFirstLongValue + static_cast<int>(i)});
    if (options[i].letter == 0) continue;
    tables.letters += options[i].letter;
    if (options[i].value != nullptr) tables.letters += ':';
  }
  tables.long_options.push_back({nullptr, 0, nullptr, 0});
  return tables;
}

const Option* FindOption(const std::vector<Option>& options, int value) {
  if (value >= kFirstLongValue) return &options[static_cast<size_t>(value - kFirstLongValue)];
  for (const Option& option : options) {
    if (option.letter != 0 && option.letter == value) return &option;
  }
  return nullptr;
}

// An empty path is a script's unset variable, never a file.
bool TakesPath(const Option& option) {
  return option.value != nullptr &&
         (strcmp(option.value, "FILE") == 0 || strcmp(option.value, "DIR") == 0);
}

std::string OptionError(int result, const std::string& word, const std::vector<Option>& options) {
  const Option* known = FindOption(options, optopt);
  if (result == ':') return "option '" + word + "' needs a value";
  if (optopt >= kFirstLongValue && known != nullptr) {
    return "option '--" + std::string(known->name) + "' takes no value";
  }
  if (optopt != 0 && optopt < kFirstLongValue) {
    return std::string("unknown option '-") + static_cast<char>(optopt) + "'";
  }
  return "unknown or ambiguous option '" + word + "'";
}

}  // namespace

std::string Args::Get(const std::string& name, const std::string& fallback) const {
  const auto found = values_.find(name);
  return found == values_.end() ? fallback : found->second;
}

const std::vector<Option>& GlobalOptions() {
  static const auto& options = *new std::vector<Option>{
      {"help", 'h', nullptr, "show this help"},
      {"verbose", 'v', nullptr, "show the library's log on standard error"},
      {"show-ids", 0, nullptr, "show serial number, IMEI and MEID in full"},
      {"quiet", 'q', nullptr, "nothing but the result"},
      {"json", 0, nullptr, "answer in JSON alone on standard output"},
      {"timeout", 0, "SECONDS", "give up after that time, with exit code 5"},
  };
  return options;
}

const std::vector<Option>& StandaloneOptions() {
  static const auto& options = *new std::vector<Option>{
      {"version", 0, nullptr, "show the version"},
      {"schema", 0, nullptr, "show the JSON Schema of the answers under --json"},
  };
  return options;
}

std::string ParseOptions(const std::vector<std::string>& words, const std::vector<Option>& options,
                         bool stop_at_operand, Args* args, std::vector<std::string>* rest) {
  GetoptTables tables = MakeTables(options, stop_at_operand);
  // getopt reorders the words in place and wants the program's name in front.
  std::vector<std::string> storage = {"orx"};
  storage.insert(storage.end(), words.begin(), words.end());
  std::vector<char*> argv;
  argv.reserve(storage.size() + 1);
  for (std::string& word : storage) argv.push_back(word.data());
  const int argc = static_cast<int>(argv.size());
  argv.push_back(nullptr);

  opterr = 0;
  optind = 0;  // starts anew, on glibc and on bionic
  for (;;) {
    optopt = 0;
    const int result =
        getopt_long(argc, argv.data(), tables.letters.c_str(), tables.long_options.data(), nullptr);
    if (result == -1) break;
    if (result == '?' || result == ':') return OptionError(result, argv[optind - 1], options);
    const Option* found = FindOption(options, result);
    const std::string value = optarg != nullptr ? optarg : "";
    if (TakesPath(*found) && value.empty()) {
      return "option '--" + std::string(found->name) + "' needs a value";
    }
    args->Set(found->name, value);
  }
  for (int i = optind; i < argc; ++i) rest->push_back(argv[i]);
  return "";
}

std::optional<long long> ParseNumber(const std::string& text, long long low, long long high) {
  long long value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end || text.empty()) return std::nullopt;
  if (value < low || value > high) return std::nullopt;
  return value;
}

std::optional<double> ParseSeconds(const std::string& text) {
  if (text.empty() || text.find_first_not_of("0123456789.") != std::string::npos) {
    return std::nullopt;
  }
  char* end = nullptr;
  const double seconds = strtod(text.c_str(), &end);
  if (*end != 0) return std::nullopt;
  return seconds;
}

std::string SecondsText(double seconds) {
  char text[32];
  snprintf(text, sizeof(text), "%g", seconds);
  return text;
}

}  // namespace orx_tool
