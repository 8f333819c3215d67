#include "output/status.h"

#include <fmt/format.h>

#include <cctype>
#include <charconv>
#include <chrono>
#include <cmath>

#include "cli/failures.h"
#include "cli/terminal.h"
#include "output/table.h"
#include "platform/system.h"
#include "support/dos_date.h"
#include "support/string_table.h"
#include "support/text.h"

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
    constexpr int kMostDays = 50000;  // more than lie between 1980 and 2107
    int days = 0;
    const bool number = parseNumber(text.substr(1, text.size() - 2), days);
    return number && days <= kMostDays ? daysAfter(today, days) : 0;
  }
  int year = 0;
  int month = 0;
  int day = 0;
  const bool numbers = text.size() == 10 && text[4] == '-' && text[7] == '-' &&
                       parseNumber(text.substr(0, 4), year) &&
                       parseNumber(text.substr(5, 2), month) && parseNumber(text.substr(8), day);
  return numbers ? toDosDate(year, month, day) : 0;
}

}  // namespace

std::string isoDate(std::uint16_t date) {
  SYSTEMTIME time{};
  if (!DosDateTimeToSystemTime(date, &time)) return {};
  return fmt::format("{:04}-{:02}-{:02}", time.wYear, time.wMonth, time.wDay);
}

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

std::string statusName(int status) {
  if (status < 0 || status >= kStatusCount) return {};
  return toUtf8(stringAt(3000 + static_cast<std::uint32_t>(status)));
}

std::string plainName(std::string_view name) {
  std::string plain;
  for (const char c : name)
    plain +=
        c == ' ' || c == '_' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return plain;
}

int parseStatus(std::string_view name) {
  for (int status = 0; status < kStatusCount; ++status)
    if (plainName(statusName(status)) == plainName(name)) return status;
  throw Failure{
      kUsage, {}, fmt::format("\"{}\" is no status; there are {}", name, statusChoices())};
}

std::string statusChoices() {
  std::string choices;
  for (int status = 0; status < kStatusCount; ++status)
    choices += (status == 0 ? "" : ", ") + plainName(statusName(status));
  return choices;
}

std::string statusSentence(const CRecord& record) {
  if (!record.hasStatus) return {};
  CRecord copy = record;  // the sentence's maker is not const
  std::u16string sentence;
  copy.getStatusString(sentence);
  return toUtf8(sentence);
}

std::optional<int> daysLeft(const CRecord& record, const SYSTEMTIME& now) {
  SYSTEMTIME end{};
  if (!record.hasStatus || record.status < 0 || record.status > 3 ||
      !DosDateTimeToSystemTime(record.StatusEndDate, &end))
    return std::nullopt;
  return static_cast<int>(dayCount(end) - std::floor(dayCount(now)));
}

std::string dueMark(const CRecord& record, const SYSTEMTIME& now) {
  const int state = dueStateAt(record, now);
  if (state == 0) return {};
  if (state == 2) return "due soon";
  return daysLeft(record, now).value_or(0) < 0 ? "overdue" : "due";
}

std::array<Table::Cell, 3> statusCells(const CRecord& record) {
  if (!record.hasStatus) return {};
  const std::string name = statusName(record.status);
  return {{{name.empty() ? std::to_string(record.status) : name},
           {toUtf8(record.StatusTarget)},
           {isoDate(record.StatusEndDate)}}};
}

Table::Cell dueCell(std::string mark) {
  const Style style = mark == "due soon" ? Style::Yellow : Style::Red;
  return {std::move(mark), style};
}

}  // namespace tessaron::tool
