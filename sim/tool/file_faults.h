// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>

#include <string>
#include <thread>
#include <vector>

#include "sim/channel/faults.h"

namespace orx_sim {

// FileFaults answers the kernel's questions that FilterFileCalls() leads to, on a thread of its
// own: as a table of faults says for the files below `folders`.
class FileFaults {
 public:
  FileFaults(android::base::unique_fd questions, FaultTable* faults,
             std::vector<std::string> folders);
  ~FileFaults();
  FileFaults(const FileFaults&) = delete;
  FileFaults& operator=(const FileFaults&) = delete;

 private:
  void Serve() const;
  void AnswerOne() const;

  const android::base::unique_fd questions_;
  const android::base::unique_fd stop_;
  FaultTable* const faults_;
  const std::vector<std::string> folders_;
  std::thread thread_;
};

}  // namespace orx_sim
