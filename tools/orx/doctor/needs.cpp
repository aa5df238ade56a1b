// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/doctor/needs.h"

#include <errno.h>
#include <sys/stat.h>
#include <sys/system_properties.h>
#include <unistd.h>

#include <algorithm>

namespace orx_tool {
namespace {

// Need is a row of the table.
struct Need {
  const char* objects;
  const char* macro;
  const char* group;
  Line provided;
  Line labelled;
  const char* note;
};

const std::vector<Need>& Needs() {
  static const auto& needs = *new std::vector<Need>{
#define RESOURCE(id, kind, objects, macro, group, file, line, label_file, label, note) \
  {objects, macro, group, {file, line}, {label_file, label}, note},
#include "android/needs.def"
  };
  return needs;
}

// The row that has `object` among its own; a test sees that there is one for each that is asked
// for.
const Need* FindNeed(const std::string& object) {
  const std::string word = " " + object + " ";
  for (const Need& need : Needs()) {
    if ((" " + std::string(need.objects) + " ").find(word) != std::string::npos) return &need;
  }
  return nullptr;
}

Line RuleOf(const Need& need) {
  return {"DOMAIN.te", std::string(need.macro) + "(DOMAIN)"};
}

bool IsInGroup(gid_t group) {
  if (group == getegid()) return true;
  std::vector<gid_t> groups(static_cast<size_t>(std::max(getgroups(0, nullptr), 0)));
  const int count = getgroups(static_cast<int>(groups.size()), groups.data());
  return count > 0 && std::find(groups.begin(), groups.end(), group) != groups.end();
}

// Whether owner, group and mode let this process in; the policy may still not.
bool ModeAllows(const struct stat& status, unsigned wanted) {
  if (geteuid() == 0) return true;
  unsigned rights = status.st_mode;
  if (status.st_uid == geteuid()) {
    rights >>= 6;
  } else if (IsInGroup(status.st_gid)) {
    rights >>= 3;
  }
  return (rights & wanted) == wanted;
}

}  // namespace

Remedy ServiceRemedy(const std::string& object, bool rule_holds) {
  const Need* need = FindNeed(object);
  if (need == nullptr) return {};
  Remedy remedy;
  // The policy first: a HAL without its manifest would not have started.
  if (!need->labelled.line.empty()) remedy.lines.push_back(need->labelled);
  if (!rule_holds) remedy.lines.push_back(RuleOf(*need));
  remedy.lines.push_back(need->provided);
  if (remedy.lines.size() > 1) remedy.note = need->note;
  return remedy;
}

Remedy PropertyRemedy(const std::string& object) {
  const Need* need = FindNeed(object);
  if (need == nullptr) return {};
  return {{need->provided}, need->note};
}

Remedy PathRemedy(const std::string& object, const char* path, int error, unsigned wanted) {
  const Need* need = FindNeed(object);
  if (need == nullptr) return {};
  if (error != EACCES) return {{need->provided}, ""};
  struct stat status;
  if (stat(path, &status) == 0 && !ModeAllows(status, wanted)) {
    Remedy remedy = {{need->provided}, ""};
    // A group that has the rights has only to be joined.
    if ((status.st_mode >> 3 & wanted) == wanted) {
      remedy.lines.insert(remedy.lines.begin(),
                          {"the caller's init .rc file", std::string("group ") + need->group});
    }
    return remedy;
  }
  return {{need->labelled, RuleOf(*need)}, need->note};
}

bool IsOnAndroid() {
  char level[PROP_VALUE_MAX];
  return __system_property_get("ro.build.version.sdk", level) > 0;
}

}  // namespace orx_tool
