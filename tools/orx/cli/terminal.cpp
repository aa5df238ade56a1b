// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/cli/terminal.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

namespace orx_tool {
namespace {

constexpr size_t kDefaultWidth = 80;
// A label further right than that is no label.
constexpr size_t kMaxIndent = 20;

bool status_shown = false;

// SequenceLength is how many bytes the UTF-8 character at `at` has (RFC 3629), or 0 when they are
// none or a control character.
size_t SequenceLength(const std::string& text, size_t at) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = byte(at);
  if (lead < 0x80) return lead >= 0x20 && lead != 0x7f ? 1 : 0;
  const size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
  if (lead < 0xc2 || lead > 0xf4 || at + length > text.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xc0) != 0x80) return 0;
  }
  const unsigned second = byte(at + 1);
  const bool control = lead == 0xc2 && second < 0xa0;
  const bool overlong = (lead == 0xe0 && second < 0xa0) || (lead == 0xf0 && second < 0x90);
  const bool no_character = (lead == 0xed && second > 0x9f) || (lead == 0xf4 && second > 0x8f);
  return control || overlong || no_character ? 0 : length;
}

std::string Escape(char c) {
  if (c == '\n') return "\\n";
  if (c == '\r') return "\\r";
  if (c == '\t') return "\\t";
  char text[8];
  snprintf(text, sizeof(text), "\\x%02x", static_cast<unsigned char>(c));
  return text;
}

size_t OwnIndent(const std::string& line) {
  const size_t blanks = std::min(line.find_first_not_of(' '), line.size());
  const size_t colon = line.find(": ", blanks);
  if (colon == std::string::npos || line.find(' ', blanks) < colon) return blanks;
  const size_t text = std::min(line.find_first_not_of(' ', colon + 1), line.size());
  return text <= kMaxIndent ? text : blanks;
}

// Columns counts characters, for text in which none is wide.
size_t Columns(const std::string& text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

// CutToColumns returns the text's first `columns` characters.
std::string CutToColumns(const std::string& text, size_t columns) {
  size_t end = 0;
  for (size_t seen = 0; end < text.size(); ++end) {
    if ((text[end] & 0xc0) != 0x80 && ++seen > columns) break;
  }
  return text.substr(0, end);
}

}  // namespace

bool IsTerminal(int fd) {
  const char* term = getenv("TERM");
  return isatty(fd) && term != nullptr && *term != 0 && strcmp(term, "dumb") != 0;
}

size_t TerminalWidth(int fd) {
  if (!isatty(fd)) return 0;
  winsize size = {};
  if (ioctl(fd, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kDefaultWidth;
  return size.ws_col;
}

std::string Printable(const std::string& text) {
  std::string shown;
  for (size_t at = 0; at < text.size();) {
    const size_t length = SequenceLength(text, at);
    if (length == 0) {
      shown += Escape(text[at++]);
    } else {
      shown.append(text, at, length);
      at += length;
    }
  }
  return shown;
}

std::string Wrapped(const std::string& line, size_t width, size_t indent) {
  if (indent == 0) indent = OwnIndent(line);
  if (width == 0 || indent + kMaxIndent > width) return line;
  std::string result;
  std::string rest = line;
  while (Columns(rest) > width) {
    const std::string fitting = CutToColumns(rest, width + 1);
    size_t cut = fitting.rfind(' ');
    if (cut == std::string::npos || cut < rest.find_first_not_of(' '))
      cut = rest.find(' ', fitting.size());
    if (cut == std::string::npos) break;  // one long word
    result += rest.substr(0, rest.find_last_not_of(' ', cut) + 1) + "\n";
    rest = std::string(indent, ' ') + rest.substr(cut + 1);
  }
  return result + rest;
}

std::string Colored(Color color, const std::string& text) {
  const char* no_color = getenv("NO_COLOR");
  const bool refused = no_color != nullptr && *no_color != 0;
  if (color == Color::kNone || refused || !IsTerminal(STDOUT_FILENO)) return text;
  const char* start = color == Color::kGreen    ? "\033[32m"
                      : color == Color::kYellow ? "\033[33m"
                                                : "\033[1;31m";
  return start + text + "\033[0m";
}

void DrawStatus(const std::string& text) {
  const size_t width = std::max<size_t>(TerminalWidth(STDERR_FILENO), 1);
  // The last column stays free: some terminals would begin a new line.
  fprintf(stderr, "\r%s\033[K", CutToColumns(Printable(text), width - 1).c_str());
  fflush(stderr);
  status_shown = true;
}

void ClearStatus() {
  if (!status_shown) return;
  fputs("\r\033[K", stderr);
  fflush(stderr);
  status_shown = false;
}

}  // namespace orx_tool
