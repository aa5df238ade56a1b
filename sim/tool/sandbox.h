// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace orx_sim {

// Placement is a folder that a command shall see at another path.
struct Placement {
  std::string source;
  std::string target;
  bool read_only = false;
};

// Sandbox is a program that runs a command in a file system that is this one, but for placements.
struct Sandbox {
  const char* program;
  bool makes_read_only;
  bool hides_signals;  // its exit code does not tell which signal ended the command
  // Returns the program's arguments, its name first; the command's follow.
  std::vector<std::string> (*arguments)(const std::vector<Placement>& placements);
};

// Sandboxes returns those that can be used, the better first.
//
// bubblewrap mounts the placements in a namespace of its own, which costs a command nothing once it
// runs, but needs user namespaces. Where the file system has no folder to mount a target on, the
// deepest one above it that exists is rebuilt in memory: of links in /dev, whose device nodes and
// terminals stay in their own file system, and of mounts elsewhere. Nothing new can be put directly
// into that one folder, for it would be lost; what lies in it stays where it is, and writable. A
// source that does not exist leaves its target absent.
//
// proot translates the paths of every system call, which needs ptrace(2) alone. Run by root, it may
// leave an empty folder where a target had none.
const std::vector<Sandbox>& Sandboxes();

}  // namespace orx_sim
