// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>
#include <sys/types.h>

#include <string>

namespace orx_sim {

// RunFolder is a private folder in the folder for temporary files (TMPDIR) that lives as long as
// one run: it holds the sockets, and a device that is thrown away. It goes away with the object. A
// process of its own removes it when this one is killed, and the next Make() removes what was left
// when both were, as the lock on it is then free.
class RunFolder {
 public:
  RunFolder() = default;
  ~RunFolder();
  RunFolder(const RunFolder&) = delete;
  RunFolder& operator=(const RunFolder&) = delete;

  // Make makes the folder, with an empty folder "socket" in it. To be called before there are other
  // threads. Returns false with the reason in `*error`.
  bool Make(std::string* error);

  // The path of an entry of the folder, whether it exists or not.
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  bool StartCleaner(std::string* error);

  std::string path_;
  android::base::unique_fd lock_;
  android::base::unique_fd alive_;  // its other end is the cleaner's: closed when this process ends
  pid_t cleaner_ = -1;
};

}  // namespace orx_sim
