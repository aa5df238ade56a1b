// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

#include <string>

namespace orx_tool {

// OwnerText is "user:group", with numbers where there is no name.
std::string OwnerText(const struct stat& status);

// ModeText is the permission bits in octal, four digits.
std::string ModeText(const struct stat& status);

// TypeText says whether the library takes the file: it follows no link and reads files only.
std::string TypeText(const struct stat& status);

}  // namespace orx_tool
