// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "tools/orx/diagnosis/slots.h"

namespace orx_tool {

// ParseSlot finds the slot of a key id given as text; *problem says what is wrong with it.
const Slot* ParseSlot(const std::string& text, std::optional<Problem>* problem);

}  // namespace orx_tool
