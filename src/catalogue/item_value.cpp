#include <algorithm>
#include <charconv>
#include <chrono>

#include "catalogue/item_value_internal.h"
#include "records/price.h"
#include "support/text.h"

namespace tessaron {
namespace {

namespace chrono = std::chrono;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The whole text as a number of one to `maxDigits` digits.
std::optional<int> digits(std::string_view text, std::size_t maxDigits) {
  if (text.empty() || text.size() > maxDigits || !std::ranges::all_of(text, isDigit))
    return std::nullopt;
  int number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

/// The number at the front of a text, and what follows it.
std::optional<double> leadingNumber(std::string_view& text) {
  const std::size_t sign = text.starts_with('-') ? 1 : 0;
  const std::string_view unsignedPart = text.substr(sign);
  if (unsignedPart.empty() || !(isDigit(unsignedPart[0]) || unsignedPart[0] == '.'))
    return std::nullopt;
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto [read, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(read - text.data()));
  return number;
}

double dayNumber(const chrono::year_month_day& day) {
  return static_cast<double>(chrono::sys_days(day).time_since_epoch().count());
}

/// "2024", "2024-05" or "2024-05-31".
std::optional<ValueRange> isoDays(std::string_view text) {
  if (text.size() != 4 && text.size() != 7 && text.size() != 10) return std::nullopt;
  const std::optional<int> year = digits(text.substr(0, 4), 4);
  if (!year) return std::nullopt;
  std::optional<int> month = 1, day = 1;
  if (text.size() > 4) month = text[4] == '-' ? digits(text.substr(5, 2), 2) : std::nullopt;
  if (text.size() > 7) day = text[7] == '-' ? digits(text.substr(8), 2) : std::nullopt;
  if (!month || !day) return std::nullopt;
  const auto first = chrono::year(*year) / chrono::month(static_cast<unsigned>(*month)) /
                     chrono::day(static_cast<unsigned>(*day));
  if (!first.ok()) return std::nullopt;
  const double begin = dayNumber(first);
  if (text.size() == 4) return ValueRange{begin, dayNumber(first + chrono::years(1)) - 1, {}};
  if (text.size() == 7) return ValueRange{begin, dayNumber(first + chrono::months(1)) - 1, {}};
  return ValueRange{begin, begin, {}};
}

/// "7d", "-2w", "3m" or "+1y".
std::optional<chrono::year_month_day> relativeDay(std::string_view text,
                                                  const chrono::year_month_day& today) {
  const bool isPast = text.starts_with('-');
  if (isPast || text.starts_with('+')) text.remove_prefix(1);
  if (text.empty()) return std::nullopt;
  constexpr std::size_t kMaxDigits = 4;
  const std::optional<int> number = digits(text.substr(0, text.size() - 1), kMaxDigits);
  if (!number) return std::nullopt;
  const int count = isPast ? -*number : *number;
  if (text.back() == 'd') return chrono::sys_days(today) + chrono::days(count);
  if (text.back() == 'w') return chrono::sys_days(today) + chrono::weeks(count);
  if (text.back() != 'm' && text.back() != 'y') return std::nullopt;
  const chrono::year_month_day there =
      today + chrono::months(text.back() == 'm' ? count : 12 * count);
  if (there.ok()) return there;
  return there.year() / there.month() / chrono::last;  // that month is shorter
}

std::optional<ValueRange> namedDays(std::string_view text, const SYSTEMTIME& now) {
  const auto today = chrono::year(now.wYear) / chrono::month(now.wMonth) / chrono::day(now.wDay);
  if (!today.ok()) return std::nullopt;
  if (text == "today") text = "0d";
  if (text == "tomorrow") text = "1d";
  if (text == "yesterday") text = "-1d";
  const std::optional<chrono::year_month_day> day = relativeDay(text, today);
  if (!day) return std::nullopt;
  return ValueRange{dayNumber(*day), dayNumber(*day), {}};
}

/// The day in a record's date, which a shop may have written in words: the year counts then.
std::optional<ItemValue> recordedDay(std::string_view text) {
  if (const auto days = isoDays(text.substr(0, 10))) return ItemValue{days->first, {}};
  std::size_t at = 0;
  while ((at = text.find_first_of("0123456789", at)) != text.npos) {
    const std::size_t end = std::min(text.find_first_not_of("0123456789", at), text.size());
    if (const auto days = isoDays(text.substr(at, end - at))) return ItemValue{days->first, {}};
    at = end;
  }
  return std::nullopt;
}

}  // namespace

std::optional<ItemValue> itemValue(ValueKind kind, std::u16string_view text) {
  if (kind == ValueKind::Text) return std::nullopt;
  if (kind == ValueKind::Date) return recordedDay(toUtf8(text));
  if (const std::optional<Price> price = parsePrice(text))
    return ItemValue{price->amount, kind == ValueKind::Price ? price->currency : std::string()};
  if (kind == ValueKind::Price) return std::nullopt;
  const std::string plain = toUtf8(text);
  std::string_view rest = plain;
  const std::optional<double> number = leadingNumber(rest);
  if (!number) return std::nullopt;
  return ItemValue{*number, {}};
}

std::optional<ValueRange> valueRange(ValueKind kind, std::string_view text, const SYSTEMTIME& now) {
  if (kind == ValueKind::Date) {
    const auto days = isoDays(text);
    return days ? days : namedDays(text, now);
  }
  if (kind == ValueKind::Price) {
    const std::optional<Price> price = parsePrice(fromUtf8(text));
    if (!price) return std::nullopt;
    return ValueRange{price->amount, price->amount, price->currency};
  }
  const std::optional<double> number = leadingNumber(text);
  if (!number || !text.empty()) return std::nullopt;
  return ValueRange{*number, *number, {}};
}

}  // namespace tessaron
