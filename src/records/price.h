#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

struct Price {
  std::string currency;  ///< UTF-8, as the text gives it, common codes as signs; empty for none
  double amount;         ///< in units of the currency, never negative
};

/// Price in a formatted text such as "$12.99", "€12,34", "¥1,980" or "EUR 1.234,50". Nothing for a
/// text without a price, with a negative one, or with more than one number.
TESSARON_API std::optional<Price> parsePrice(std::u16string_view text);

}  // namespace tessaron
