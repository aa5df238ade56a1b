// SPDX-License-Identifier: Apache-2.0
// Writes a debug line to the log, before it looks for a service and so meets the device.
#include <android/binder_auto_utils.h>
#include <android/binder_manager.h>
#include <android/log.h>

int main() {
  __android_log_write(ANDROID_LOG_DEBUG, "sim_probe", "the first line");
  return ndk::SpAIBinder(AServiceManager_checkService("x/y")) == nullptr ? 0 : 1;
}
