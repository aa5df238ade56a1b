// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/file_text.h"

#include <grp.h>
#include <pwd.h>
#include <stdio.h>

namespace orx_tool {

std::string OwnerText(const struct stat& status) {
  const passwd* user = getpwuid(status.st_uid);
  const std::string name = user != nullptr ? user->pw_name : std::to_string(status.st_uid);
  const group* users = getgrgid(status.st_gid);
  return name + ":" + (users != nullptr ? users->gr_name : std::to_string(status.st_gid));
}

std::string ModeText(const struct stat& status) {
  char text[8];
  snprintf(text, sizeof(text), "%04o", static_cast<unsigned>(status.st_mode & 07777));
  return text;
}

std::string TypeText(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return "file";
  if (S_ISLNK(status.st_mode)) return "symbolic link (refused by the library)";
  return "not a regular file (refused by the library)";
}

}  // namespace orx_tool
