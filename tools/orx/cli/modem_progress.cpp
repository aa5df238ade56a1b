// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/modem_progress.h"

#include <stdio.h>

#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {
namespace {

constexpr int kConnectionAttempts = 30;

}  // namespace

std::string ModemProgressText(const std::string& message) {
  int failed = 0;
  if (message == "Establishing connection...") failed = -1;
  sscanf(message.c_str(), "Connect to AT command engine with %d fails", &failed);
  if (failed != 0 && failed < kConnectionAttempts) {
    return "modem: attempt " + std::to_string(failed < 0 ? 1 : failed + 1) + " of " +
           std::to_string(kConnectionAttempts);
  }
  if (message == "Successfully connected!") return "modem: connected, waiting for its answer";
  return "";
}

ModemProgress::ModemProgress(const Output& output) : line_(output) {
  SetLibraryLogObserver([this](const LogLine& line) { OnMessage(line.message); });
}

ModemProgress::~ModemProgress() {
  SetLibraryLogObserver({});
}

void ModemProgress::OnMessage(const std::string& message) {
  const std::string text = ModemProgressText(message);
  if (!text.empty()) line_.Show(text);
}

}  // namespace orx_tool
