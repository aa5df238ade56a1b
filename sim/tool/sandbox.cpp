// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/sandbox.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

namespace orx_sim {
namespace {

namespace fs = std::filesystem;

// The deepest folder on the way to `target` that exists, without symbolic links, and what is
// missing below it.
struct Base {
  fs::path folder;
  fs::path missing;
  Placement placement = {};
};

// Where a rebuilt /dev has the one it was made from. The kernel finds the terminals' file system
// beside the ptmx that is opened, so that one must be opened there; a mount of the node alone has
// nothing beside it. New terminals are named by that place, so the file system's own ptmx, which
// may be closed to users, goes first.
constexpr char kDev[] = "/dev";
constexpr char kOutsideDev[] = ".outside";
constexpr char kTerminals[] = "/dev/ptmx";
constexpr char kOwnTerminals[] = "pts/ptmx";

Base FindBase(const fs::path& target) {
  Base base{target, {}, {}};
  std::error_code error;
  while (!fs::is_directory(base.folder, error)) {
    base.missing =
        base.missing.empty() ? base.folder.filename() : base.folder.filename() / base.missing;
    base.folder = base.folder.parent_path();
  }
  base.folder = fs::canonical(base.folder, error);
  return base;
}

void Add(std::vector<std::string>* out, std::initializer_list<std::string> arguments) {
  out->insert(out->end(), arguments);
}

// What can stay in the file system of /dev: all but other file systems that are mounted in it.
bool IsPartOfDev(const fs::path& path, const struct stat& status) {
  struct stat dev {};
  return path.parent_path() == kDev && stat(kDev, &dev) == 0 &&
         (!S_ISDIR(status.st_mode) || status.st_dev == dev.st_dev);
}

void AddEntry(const fs::directory_entry& entry, std::vector<std::string>* out) {
  const std::string path = entry.path();
  std::error_code error;
  struct stat status {};
  if (entry.is_symlink(error)) {
    const std::string link = fs::read_symlink(path, error);
    Add(out, {"--symlink", link, path});
  } else if (path == kTerminals &&
             access((fs::path(kDev) / kOwnTerminals).c_str(), R_OK | W_OK) == 0) {
    Add(out, {"--symlink", kOwnTerminals, path});
  } else if (stat(path.c_str(), &status) == 0 && IsPartOfDev(path, status)) {
    Add(out, {"--symlink", kOutsideDev / entry.path().filename(), path});
  } else if (stat(path.c_str(), &status) == 0) {
    // What cannot be looked at, a stale network folder for one, cannot be mounted either.
    Add(out, {"--dev-bind", path, path});
  }
}

// Adds the entries of `folder`, but for those at an absent target.
void AddEntries(const fs::path& folder, const std::vector<fs::path>& absent,
                std::vector<std::string>* out) {
  std::error_code error;
  if (folder == kDev) Add(out, {"--dev-bind", kDev, folder / kOutsideDev});
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    if (std::find(absent.begin(), absent.end(), entry.path()) == absent.end()) AddEntry(entry, out);
  }
}

std::vector<std::string> BubblewrapArguments(const std::vector<Placement>& placements) {
  std::vector<Base> bases;
  std::vector<fs::path> absent;
  std::vector<std::string> rebuilt;
  for (const Placement& placement : placements) {
    Base base = FindBase(placement.target);
    if (!fs::is_directory(placement.source)) {
      if (!base.missing.empty()) continue;  // absent here too
      absent.push_back(base.folder);
      rebuilt.push_back(base.folder.parent_path());
      continue;
    }
    if (!base.missing.empty()) rebuilt.push_back(base.folder);
    base.placement = placement;
    bases.push_back(std::move(base));
  }
  std::sort(rebuilt.begin(), rebuilt.end());
  rebuilt.erase(std::unique(rebuilt.begin(), rebuilt.end()), rebuilt.end());

  std::vector<std::string> arguments = {"bwrap", "--die-with-parent"};
  const bool rebuilds_root = !rebuilt.empty() && rebuilt.front() == "/";
  if (!rebuilds_root) Add(&arguments, {"--dev-bind", "/", "/"});
  for (const std::string& folder : rebuilt) {
    if (folder != "/") Add(&arguments, {"--tmpfs", folder});
    AddEntries(folder, absent, &arguments);
  }
  for (const Base& base : bases) {
    Add(&arguments, {base.placement.read_only ? "--ro-bind" : "--bind", base.placement.source,
                     base.folder / base.missing});
  }
  for (const std::string& folder : rebuilt) Add(&arguments, {"--remount-ro", folder});
  Add(&arguments, {"--"});
  return arguments;
}

std::vector<std::string> ProotArguments(const std::vector<Placement>& placements) {
  std::vector<std::string> arguments = {"proot"};
  for (const Placement& placement : placements) {
    if (!fs::is_directory(placement.source)) continue;
    Add(&arguments, {"-b", placement.source + ":" + placement.target});
  }
  return arguments;
}

}  // namespace

const std::vector<Sandbox>& Sandboxes() {
  static const std::vector<Sandbox> sandboxes = {
      {"bwrap", true, false, BubblewrapArguments},
      {"proot", false, true, ProotArguments},
  };
  return sandboxes;
}

}  // namespace orx_sim
