// SPDX-License-Identifier: Apache-2.0
#include "support/log_capture.h"

#include <android/log.h>
#include <string.h>

#include <mutex>

namespace orx_test {
namespace {

std::mutex mutex;
std::vector<std::string> captured;

void Capture(const __android_logger_data* data, const char* message) {
  if (data->tag == nullptr || strcmp(data->tag, "ORX") != 0) return;
  const std::lock_guard<std::mutex> lock(mutex);
  captured.push_back(message);
}

}  // namespace

LogCapture::LogCapture() {
  Clear();
  __android_log_set_minimum_priority(ANDROID_LOG_DEBUG);
  __android_log_set_logger(Capture);
}

LogCapture::~LogCapture() {
  __android_log_set_logger(__android_log_stderr_logger);
}

const std::vector<std::string>& LogCapture::lines() const {
  return captured;
}

std::vector<std::string> LogCapture::messages() const {
  std::vector<std::string> messages;
  for (const std::string& line : captured) {
    const size_t number = line.find(':') + 1;
    messages.push_back(line.substr(line.find(": ", number) + 2));
  }
  return messages;
}

std::vector<std::string> LogCapture::paths() const {
  std::vector<std::string> paths;
  for (const std::string& line : captured) paths.push_back(line.substr(0, line.find(':')));
  return paths;
}

void LogCapture::Clear() {
  const std::lock_guard<std::mutex> lock(mutex);
  captured.clear();
}

}  // namespace orx_test
