#include "support/spelling.h"

#include <algorithm>
#include <vector>

#include "support/ascii.h"

namespace tessaron {
namespace {

bool isSame(char left, char right) { return lowerLetter(left) == lowerLetter(right); }

}  // namespace

std::size_t editDistance(std::string_view from, std::string_view to) {
  std::vector<std::vector<std::size_t>> costs(from.size() + 1,
                                              std::vector<std::size_t>(to.size() + 1));
  for (std::size_t i = 0; i <= from.size(); ++i) {
    for (std::size_t k = 0; k <= to.size(); ++k) {
      std::size_t& cost = costs[i][k] = i + k;  // the distance if either word is empty
      if (i == 0 || k == 0) continue;
      const std::size_t replaced = costs[i - 1][k - 1] + (isSame(from[i - 1], to[k - 1]) ? 0 : 1);
      cost = std::min({costs[i - 1][k] + 1, costs[i][k - 1] + 1, replaced});
      if (i > 1 && k > 1 && isSame(from[i - 1], to[k - 2]) && isSame(from[i - 2], to[k - 1]))
        cost = std::min(cost, costs[i - 2][k - 2] + 1);
    }
  }
  return costs[from.size()][to.size()];
}

std::string nearestWord(std::string_view word, std::span<const std::string> candidates) {
  constexpr std::size_t kMaxWord = 64;
  std::string best;
  if (word.size() > kMaxWord) return best;
  std::size_t limit = (word.size() + 2) / 4;  // typing errors
  std::size_t beginning = 0;                  // of the best one, that it shares with the word
  for (const std::string& candidate : candidates) {
    const std::size_t distance = editDistance(word, candidate);
    const auto [end, other] = std::ranges::mismatch(word, candidate, isSame);
    const auto shared = static_cast<std::size_t>(end - word.begin());
    const bool isNoBetter = distance == limit && !best.empty() && shared <= beginning;
    if (distance > limit || isNoBetter) continue;
    limit = distance;
    beginning = shared;
    best = candidate;
  }
  return best;
}

}  // namespace tessaron
