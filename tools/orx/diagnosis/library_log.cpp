// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/diagnosis/library_log.h"

#include <android/log.h>
#include <string.h>

#include <deque>
#include <mutex>
#include <utility>

#include "tools/orx/cli/json_lines.h"

namespace orx_tool {
namespace {

constexpr const char kTag[] = "ORX";
constexpr size_t kMaxLines = 4000;

struct State {
  std::mutex mutex;
  std::deque<LogLine> lines;
  std::function<void(const LogLine&)> observer;
  std::function<void(const LogLine&)> show;
  int receiver = -1;
};

State& Log() {
  static auto& state = *new State;
  return state;
}

void Send(int fd, const LogLine& line) {
  Json::Value json(Json::objectValue);
  json["place"] = line.place;
  json["message"] = line.message;
  SendLine(fd, json);
}

void Collect(const std::string& text) {
  State& log = Log();
  const std::lock_guard<std::mutex> lock(log.mutex);
  log.lines.push_back(SplitLogLine(text));
  if (log.lines.size() > kMaxLines) log.lines.pop_front();
  if (log.show) log.show(log.lines.back());
  if (log.receiver >= 0) Send(log.receiver, log.lines.back());
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

void SendLibraryLog(int fd) {
  const std::lock_guard<std::mutex> lock(Log().mutex);
  Log().receiver = fd;
}

std::optional<LogLine> ReceivedLogLine(const std::string& sent) {
  const std::vector<Json::Value> lines = ParseLines(sent + "\n");
  if (lines.empty() || !lines[0].isMember("message")) return std::nullopt;
  return LogLine{lines[0]["place"].asString(), lines[0]["message"].asString()};
}

}  // namespace orx_tool
