// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "tools/orx/program.h"

int main(int argc, char** argv) {
  // Started without even a name, a program has no words.
  return orx_tool::RunTool({argv + std::min(argc, 1), argv + argc});
}
