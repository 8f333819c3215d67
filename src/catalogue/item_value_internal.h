#pragma once
// Numbers, days and amounts in texts, to compare.

#include <optional>
#include <string>
#include <string_view>

#include "platform/types.h"
#include "records/field_text.h"

namespace tessaron {

/// What a text says: a number, the days from 1970-01-01 to a date, or an amount.
struct ItemValue {
  double number = 0;
  std::string currency;  ///< of an amount, see `Price`
};

/// What a text of an item says. A date without month or day is its first day. Nothing when it is no
/// such text, and for ValueKind::Text.
std::optional<ItemValue> itemValue(ValueKind kind, std::u16string_view text);

/// What a text of a query says: a value, or for a year or a month the days from `first` to `last`.
struct ValueRange {
  double first = 0;
  double last = 0;
  std::string currency;
};

/// The whole text as a value: for dates also "today", "tomorrow", "yesterday", and "7d", "-2w",
/// "3m", "-1y" counted from `now`. Nothing when it is none.
std::optional<ValueRange> valueRange(ValueKind kind, std::string_view text, const SYSTEMTIME& now);

}  // namespace tessaron
