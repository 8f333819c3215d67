#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tessaron::tool {

struct Price {
  std::string currency;  ///< as the text gives it, the best known ones as signs; empty for none
  double amount;
};

/// The price that a formatted text such as "$12.99", "€12,34", "¥1,980" or "EUR 1.234,50" gives.
/// Nothing for a text that gives none, or more than one.
std::optional<Price> parsePrice(std::u16string_view text);

}  // namespace tessaron::tool
