// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

namespace orx_tool {

// PrepareProcess makes what the tool's process stands on certain, before anything else:
// - descriptors 0 to 2 are open. One that was closed is put on /dev/null in the direction in which
//   it cannot be used, so that reading or writing it fails instead of meeting another file.
// - files that the library makes have mode 0660 or 0600, whatever the umask was.
// - running out of memory ends the process with one line and exit code 1.
void PrepareProcess();

// UserMode is `mode` less the umask with which the process was started, for files that are no
// secrets.
mode_t UserMode(mode_t mode);

}  // namespace orx_tool
