// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/commands/slot_argument.h"

#include "tools/orx/cli/args.h"

namespace orx_tool {

const Slot* ParseSlot(const std::string& text, std::optional<Problem>* problem) {
  const auto key_id = ParseNumber(text, INT32_MIN, INT32_MAX);
  for (const Slot& slot : kSlots) {
    if (key_id && slot.key_id == *key_id) return &slot;
  }
  *problem = MakeProblem("KEY-ID-UNKNOWN",
                         "key id '" + text + "' has no slot; the ids are 14, 17, 50, 51 and 52");
  return nullptr;
}

}  // namespace orx_tool
