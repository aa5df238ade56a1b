// SPDX-License-Identifier: Apache-2.0
#include "sim/base/device_conf.h"

#include <android-base/stringprintf.h>
#include <android-base/strings.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "sim/base/files.h"
#include "sim/base/module_path.h"

namespace orx_sim {
namespace {

constexpr char kHeading[] = "[build.prop]";
constexpr char kBadForm[] = "not of the form NAME=VALUE";

// Takes "name = value" apart as init does: blanks around both do not count.
bool Split(const std::string& line, Assignment* out) {
  const size_t equals = line.find('=');
  if (equals == std::string::npos) return false;
  out->name = android::base::Trim(line.substr(0, equals));
  out->value = android::base::Trim(line.substr(equals + 1));
  return !out->name.empty();
}

const Assignment* Find(const std::vector<Assignment>& assignments, const std::string& name) {
  const auto found = std::find_if(assignments.rbegin(), assignments.rend(),
                                  [&name](const Assignment& a) { return a.name == name; });
  return found == assignments.rend() ? nullptr : &*found;
}

}  // namespace

bool DeviceConf::Parse(const std::string& text, const std::string& file, std::string* error) {
  DeviceConf parsed;
  parsed.text_ = text;
  int number = 0;
  for (const std::string& raw : android::base::Split(text, "\n")) {
    ++number;
    const std::string line = android::base::Trim(raw);
    if (line.empty() || line[0] == '#') continue;
    if (line == kHeading && parsed.heading_ == 0) {
      parsed.heading_ = number;
      continue;
    }
    const bool is_property = parsed.heading_ != 0;
    Assignment assignment;
    assignment.line = number;
    std::string reason = kBadForm;
    if (!Split(line, &assignment) ||
        !(is_property ? CheckProperty : CheckSetting)(assignment.name, assignment.value, &reason)) {
      *error = android::base::StringPrintf("%s:%d: %s", file.c_str(), number, reason.c_str());
      return false;
    }
    (is_property ? parsed.properties_ : parsed.settings_).push_back(std::move(assignment));
  }
  *this = std::move(parsed);
  return true;
}

std::string DeviceConf::Get(const std::string& setting) const {
  const Assignment* const found = Find(settings_, setting);
  if (found != nullptr) return found->value;
  const Setting* const row = FindSetting(setting);
  return row == nullptr ? "" : row->fallback;
}

int64_t DeviceConf::GetNumber(const std::string& setting) const {
  return atoll(Get(setting).c_str());
}

// Puts the line in the place of the last one that assigned the name, or at the end of its part.
bool DeviceConf::Set(const std::string& assignment, std::string* error) {
  const size_t equals = assignment.find('=');
  if (equals == std::string::npos || assignment.find('\n') != std::string::npos) {
    *error = "\"" + assignment + "\" is " + kBadForm;
    return false;
  }
  const std::string name = assignment.substr(0, equals);
  const bool is_property = name.find('.') != std::string::npos;
  if (!(is_property ? CheckProperty : CheckSetting)(name, assignment.substr(equals + 1), error)) {
    return false;
  }
  std::vector<std::string> lines = android::base::Split(text_, "\n");
  const Assignment* const old = Find(is_property ? properties_ : settings_, name);
  const auto end = lines.back().empty() ? lines.end() - 1 : lines.end();
  if (old != nullptr) {
    lines[static_cast<size_t>(old->line) - 1] = assignment;
  } else if (is_property && heading_ == 0) {
    lines.insert(end, {kHeading, assignment});
  } else {
    lines.insert(is_property || heading_ == 0 ? end : lines.begin() + heading_ - 1, assignment);
  }
  return Parse(android::base::Join(lines, "\n"), name, error);
}

bool LoadProfile(const std::string& name, DeviceConf* conf, std::string* error) {
  const bool is_path = name.find('/') != std::string::npos;
  const std::string path = is_path ? name : ProfileFolder() + "/" + name + ".profile";
  std::string text;
  if (!ReadFile(path, &text, error)) {
    if (!is_path) {
      *error = "there is no profile \"" + name + "\"; there are " +
               android::base::Join(ProfileNames(), ", ");
    }
    return false;
  }
  const std::string stem = std::filesystem::path(path).stem();
  return conf->Parse(text, path, error) &&
         conf->Parse("profile = " + stem + "\n" + text, path, error);
}

std::string ProfileFolder() {
  const char* const folder = secure_getenv("ORX_SIM_PROFILES");
  if (folder != nullptr && folder[0] != '\0') return folder;
  const auto profiles = std::filesystem::path(ModulePath()).parent_path() / ORX_SIM_PROFILE_PATH;
  return profiles.lexically_normal();
}

std::vector<std::string> ProfileNames() {
  std::vector<std::string> names;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(ProfileFolder(), ignored)) {
    if (entry.path().extension() == ".profile") names.push_back(entry.path().stem());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace orx_sim
