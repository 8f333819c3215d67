#include "cli/dates.h"

#include <fmt/format.h>

#include <cctype>
#include <charconv>
#include <chrono>

#include "cli/failures.h"
#include "platform/system.h"
#include "support/dos_date.h"

namespace tessaron::tool {
namespace {

template <typename Number>
bool parseNumber(std::string_view digits, Number& number) {
  if (digits.empty() || std::isdigit(static_cast<unsigned char>(digits[0])) == 0) return false;
  const auto [end, error] = std::from_chars(digits.begin(), digits.end(), number);
  return error == std::errc() && end == digits.end();
}

/// The date some days later; 0 when that is after 2107.
std::uint16_t daysAfter(std::uint16_t date, int days) {
  using namespace std::chrono;
  SYSTEMTIME time{};
  if (!DosDateTimeToSystemTime(date, &time)) return 0;
  const year_month_day day{sys_days(year(time.wYear) / time.wMonth / time.wDay) +
                           std::chrono::days(days)};
  return toDosDate(static_cast<int>(day.year()),
                   static_cast<int>(static_cast<unsigned>(day.month())),
                   static_cast<int>(static_cast<unsigned>(day.day())));
}

/// The date, or 0 when the text is none.
std::uint16_t readDate(std::string_view text, std::uint16_t today) {
  if (text == "today") return today;
  if (text == "tomorrow") return daysAfter(today, 1);
  if (text.starts_with('+') && text.ends_with('d')) {
    constexpr int kMaxDays = 50000;  // more than lie between 1980 and 2107
    int days = 0;
    const bool number = parseNumber(text.substr(1, text.size() - 2), days);
    return number && days <= kMaxDays ? daysAfter(today, days) : 0;
  }
  return parseIsoDate(text);
}

}  // namespace

std::uint16_t parseDate(std::string_view text, std::uint16_t today) {
  if (const std::uint16_t date = readDate(text, today)) return date;
  throw Failure{kUsage,
                {},
                fmt::format("\"{}\" is no date from 1980 to 2107; write YYYY-MM-DD, "
                            "today, tomorrow or +14d",
                            text)};
}

std::uint16_t localToday() {
  const SYSTEMTIME now = localNow();
  return toDosDate(now.wYear, now.wMonth, now.wDay);
}

}  // namespace tessaron::tool
