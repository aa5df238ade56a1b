// SPDX-License-Identifier: Apache-2.0
// Lets the log be seen from a program's first line on, as the environment asks for it.
#include <android/log.h>
#include <android_host/host.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace android_host {
namespace {

int log_descriptor = -1;

void WriteLine(const __android_logger_data* data, const char* message) {
  const char letter = "??VDIWEF?"[data->priority];
  dprintf(log_descriptor, "%s %c: %s\n", data->tag == nullptr ? "" : data->tag, letter, message);
}

// Before main(): what a program logs first must not be lost.
__attribute__((constructor)) void StartLog() {
  const char* const name = secure_getenv("ANDROID_HOST_LOG");
  if (name == nullptr || name[0] == '\0') return;
  const bool to_error = strcmp(name, "-") == 0;
  log_descriptor =
      to_error ? STDERR_FILENO : open(name, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  if (log_descriptor < 0) return;
  __android_log_set_minimum_priority(ANDROID_LOG_DEBUG);
  __android_log_set_logger(WriteLine);
}

}  // namespace

int LogDescriptor() {
  return log_descriptor;
}

}  // namespace android_host
