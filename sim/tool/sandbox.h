// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace orx_sim {

// Placement is a folder that a command shall see at another path.
struct Placement {
  std::string source;
  std::string target;
};

// SandboxArguments returns bubblewrap's arguments for a file system that is this one, but for the
// placements. What lies beside a target stays where it is, and writable. Where the file system has
// no folder to mount a target on, the deepest one above it that exists is rebuilt in memory from
// its entries; nothing new can be put directly into that one, for it would be lost. A source that
// does not exist leaves its target absent.
std::vector<std::string> SandboxArguments(const std::vector<Placement>& placements);

}  // namespace orx_sim
