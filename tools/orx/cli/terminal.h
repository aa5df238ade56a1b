// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace orx_tool {

// What the tool knows of the terminals behind its standard streams.

// IsTerminal says whether `fd` is a terminal on which lines can be redrawn; TERM=dumb is none.
bool IsTerminal(int fd);

// TerminalWidth is the number of columns of the terminal at `fd`, or 0 when it is none.
size_t TerminalWidth(int fd);

// Printable returns text as it may be shown: valid UTF-8 stays, control characters and stray bytes
// become escapes (\n, \x1b), so that nothing a device says moves the cursor or forges a line.
std::string Printable(const std::string& text);

// Wrapped breaks one line at its words so that none of the lines is longer than `width` (0: no
// limit). What follows the first line stands under column `indent`; 0: under its text, behind the
// blanks and the label ("  try: ") that it begins with.
std::string Wrapped(const std::string& line, size_t width, size_t indent = 0);

enum class Color { kNone, kGreen, kYellow, kRed };

// Colored returns `text` in a colour where standard output takes it: a terminal, and NO_COLOR is
// not set.
std::string Colored(Color color, const std::string& text);

// DrawStatus draws one line on standard error in place of the last one, cut to the terminal's
// width; ClearStatus removes it, and must be called before anything else is printed. The caller
// sees to it that standard error is a terminal.
void DrawStatus(const std::string& text);
void ClearStatus();

}  // namespace orx_tool
