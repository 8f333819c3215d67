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

}  // namespace tessaron
