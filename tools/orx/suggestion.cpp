// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/suggestion.h"

#include <algorithm>

namespace orx_tool {
namespace {

// Distance counts the letters left out, added, changed or swapped (optimal string alignment).
size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<size_t>> d(a.size() + 1, std::vector<size_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) d[i][0] = i;
  for (size_t j = 0; j <= b.size(); ++j) d[0][j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t changed = d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, changed});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
    }
  }
  return d[a.size()][b.size()];
}

}  // namespace

std::string Suggestion(const std::string& word, const std::vector<std::string>& words) {
  constexpr size_t kMaxDistance = 2;
  std::string best;
  size_t best_distance = std::min(kMaxDistance + 1, (word.size() + 1) / 2);
  for (const std::string& candidate : words) {
    const size_t distance = Distance(word, candidate);
    if (distance >= best_distance) continue;
    best = candidate;
    best_distance = distance;
  }
  return best;
}

}  // namespace orx_tool
