// SPDX-License-Identifier: Apache-2.0
#include "tests/support/log_capture.h"

#include <android/log.h>
#include <string.h>

#include <mutex>
#include <utility>

namespace orx_test {
namespace {

std::mutex mutex;
std::vector<std::string> captured;
std::function<void(const std::string&)> on_message;

// The text of "path:line: text".
std::string MessageOf(const std::string& line) {
  return line.substr(line.find(": ", line.find(':') + 1) + 2);
}

void Capture(const __android_logger_data* data, const char* message) {
  if (data->tag == nullptr || strcmp(data->tag, "ORX") != 0) return;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    captured.push_back(message);
  }
  if (on_message) on_message(MessageOf(message));
}

}  // namespace

LogCapture::LogCapture() {
  Clear();
  __android_log_set_minimum_priority(ANDROID_LOG_DEBUG);
  __android_log_set_logger(Capture);
}

LogCapture::~LogCapture() {
  on_message = nullptr;
  __android_log_set_logger(__android_log_stderr_logger);
}

std::vector<std::string> LogCapture::messages(const std::string& path) const {
  std::vector<std::string> messages;
  for (const std::string& line : captured) {
    if (path.empty() || line.rfind(path + ":", 0) == 0) messages.push_back(MessageOf(line));
  }
  return messages;
}

std::vector<std::string> LogCapture::Take(const std::string& path) {
  std::vector<std::string> taken = messages(path);
  Clear();
  return taken;
}

void LogCapture::Clear() {
  const std::lock_guard<std::mutex> lock(mutex);
  captured.clear();
}

void LogCapture::OnMessage(std::function<void(const std::string& message)> hook) {
  on_message = std::move(hook);
}

}  // namespace orx_test
