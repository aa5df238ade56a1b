// SPDX-License-Identifier: Apache-2.0
// Looks up each argument, a service if it has a slash in it and a property otherwise, and prints
// what it finds, one a line; "log" writes a debug line to the log instead.
#include <android/binder_auto_utils.h>
#include <android/binder_manager.h>
#include <android/log.h>
#include <cutils/properties.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "log") == 0) {
      __android_log_write(ANDROID_LOG_DEBUG, "sim_probe", "the first line");
    } else if (strchr(argv[i], '/') != nullptr) {
      const ndk::SpAIBinder binder(AServiceManager_checkService(argv[i]));
      puts(binder == nullptr ? "absent" : "present");
    } else {
      char value[PROPERTY_VALUE_MAX];
      property_get(argv[i], value, "(none)");
      puts(value);
    }
  }
  return 0;
}
