// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/sandbox.h"

#include <sys/stat.h>

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
};

Base FindBase(const fs::path& target) {
  Base base{target, {}};
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

void AddEntry(const fs::directory_entry& entry, std::vector<std::string>* out) {
  const std::string path = entry.path();
  std::error_code error;
  struct stat status {};
  if (entry.is_symlink(error)) {
    const std::string link = fs::read_symlink(path, error);
    Add(out, {"--symlink", link, path});
  } else if (stat(path.c_str(), &status) == 0) {
    // What cannot be looked at, a stale network folder for one, cannot be mounted either.
    Add(out, {"--dev-bind", path, path});
  }
}

void AddEntries(const fs::path& folder, std::vector<std::string>* out) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    AddEntry(entry, out);
  }
}

}  // namespace

std::vector<std::string> SandboxArguments(const std::vector<Placement>& placements) {
  std::vector<Base> bases;
  std::vector<std::string> rebuilt;
  for (const Placement& placement : placements) {
    bases.push_back(FindBase(placement.target));
    if (!bases.back().missing.empty()) rebuilt.push_back(bases.back().folder);
  }
  std::sort(rebuilt.begin(), rebuilt.end());
  rebuilt.erase(std::unique(rebuilt.begin(), rebuilt.end()), rebuilt.end());

  std::vector<std::string> arguments;
  const bool rebuilds_root = !rebuilt.empty() && rebuilt.front() == "/";
  if (!rebuilds_root) Add(&arguments, {"--dev-bind", "/", "/"});
  for (const std::string& folder : rebuilt) {
    if (folder != "/") Add(&arguments, {"--tmpfs", folder});
    AddEntries(folder, &arguments);
  }
  for (size_t i = 0; i < placements.size(); ++i) {
    Add(&arguments, {"--bind", placements[i].source, bases[i].folder / bases[i].missing});
  }
  for (const std::string& folder : rebuilt) Add(&arguments, {"--remount-ro", folder});
  return arguments;
}

}  // namespace orx_sim
