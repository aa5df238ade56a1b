// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/orx/cli/args.h"

namespace orx_tool {

// Options that several commands of this room take alike.
inline constexpr Option kInput = {"input", 'i', "FILE", "read FILE (default: standard input)"};
inline constexpr Option kOutput = {"output", 'o', "FILE", "write FILE (default: standard output)"};
inline constexpr Option kFormat = {"format", 0, "FORMAT", "raw, hex or base64 (default: raw)"};
inline constexpr Option kTextFormat = {"format", 0, "FORMAT", "raw, hex or base64 (default: hex)"};

}  // namespace orx_tool
