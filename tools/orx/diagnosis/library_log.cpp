// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/diagnosis/library_log.h"

#include <android/log.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>

#include <deque>
#include <mutex>

namespace orx_tool {
namespace {

constexpr const char kTag[] = "ORX";
constexpr size_t kMaxLines = 4000;
constexpr size_t kSharedBytes = 1024;

struct State {
  std::mutex mutex;
  std::deque<LogLine> lines;
  std::function<void(const LogLine&)> observer;
  std::function<void(const LogLine&)> show;
  char* shared = nullptr;
};

State& Log() {
  static auto& state = *new State;
  return state;
}

void Collect(const std::string& text) {
  State& log = Log();
  const std::lock_guard<std::mutex> lock(log.mutex);
  log.lines.push_back(SplitLogLine(text));
  if (log.lines.size() > kMaxLines) log.lines.pop_front();
  const std::string& message = log.lines.back().message;
  if (log.show) log.show(log.lines.back());
  if (log.shared != nullptr) snprintf(log.shared, kSharedBytes, "%s", message.c_str());
  if (log.observer) log.observer(log.lines.back());
}

void OnLogLine(const __android_logger_data* data, const char* message) {
#ifdef __ANDROID__
  // logcat is where everybody else looks for these lines.
  __android_log_logd_logger(data, message);
#endif
  if (data->tag != nullptr && strcmp(data->tag, kTag) == 0) Collect(message);
}

}  // namespace

LogLine SplitLogLine(const std::string& text) {
  size_t end = text.size();
  while (end > 0 && (text[end - 1] == '\n' || text[end - 1] == ' ')) --end;
  const std::string line = text.substr(0, end);
  const size_t path_end = line.find(':');
  if (path_end == std::string::npos) return {"", line};
  const size_t digits = path_end + 1;
  const size_t number_end = line.find_first_not_of("0123456789", digits);
  if (number_end == digits || number_end == std::string::npos) return {"", line};
  if (line.compare(number_end, 2, ": ") != 0) return {"", line};
  return {line.substr(0, number_end), line.substr(number_end + 2)};
}

void StartLibraryLog(std::function<void(const LogLine& line)> show) {
  Log().show = std::move(show);
  __android_log_set_minimum_priority(ANDROID_LOG_DEBUG);
  __android_log_set_logger(OnLogLine);
}

void ClearLibraryLog() {
  const std::lock_guard<std::mutex> lock(Log().mutex);
  Log().lines.clear();
}

std::vector<LogLine> LibraryLogLines() {
  const std::lock_guard<std::mutex> lock(Log().mutex);
  return std::vector<LogLine>(Log().lines.begin(), Log().lines.end());
}

void SetLibraryLogObserver(std::function<void(const LogLine& line)> observer) {
  const std::lock_guard<std::mutex> lock(Log().mutex);
  Log().observer = std::move(observer);
}

void ShareLastLogLine() {
  void* memory =
      mmap(nullptr, kSharedBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory != MAP_FAILED) Log().shared = static_cast<char*>(memory);
}

std::string LastSharedLogLine() {
  if (Log().shared == nullptr) return "";
  return std::string(Log().shared, strnlen(Log().shared, kSharedBytes));
}

}  // namespace orx_tool
