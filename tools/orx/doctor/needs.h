// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace orx_tool {

// Line is what an integrator adds, and the file that it belongs to.
struct Line {
  std::string file;
  std::string line;
};

// Remedy is what to add when the library does not get a thing from the device: each line is one
// possible cause, the likeliest first.
struct Remedy {
  std::vector<Line> lines;
  std::string note;  // what else one must know, may be empty
};

// The remedies of android/needs.def for `object`, a name or path of its tables.

// ServiceRemedy is for a service that is neither declared nor found; `rule_holds` when another one
// was found, which takes the same rule.
Remedy ServiceRemedy(const std::string& object, bool rule_holds);
// PropertyRemedy is for a property that is not set, or that this process may not read.
Remedy PropertyRemedy(const std::string& object);
// PathRemedy is for the file, folder or socket `path`, which answered errno `error` to a use that
// needs the rights `wanted` (R_OK, W_OK, X_OK).
Remedy PathRemedy(const std::string& object, const char* path, int error, unsigned wanted);

// IsOnAndroid says whether this is an Android device, not the development kit.
bool IsOnAndroid();

}  // namespace orx_tool
