#include "support/dos_date.h"

#include <array>
#include <chrono>

#include "platform/text.h"

namespace chrono = std::chrono;

bool DosDateTimeToSystemTime(const std::uint16_t& date, SYSTEMTIME* out) {
  const chrono::year_month_day day{chrono::year{1980 + (date >> 9)},
                                   chrono::month{date >> 5 & 0xFu}, chrono::day{date & 0x1Fu}};
  if (!out || !day.ok()) return false;
  *out = {};
  out->wYear = static_cast<std::uint16_t>(static_cast<int>(day.year()));
  out->wMonth = static_cast<std::uint16_t>(static_cast<unsigned>(day.month()));
  out->wDay = static_cast<std::uint16_t>(static_cast<unsigned>(day.day()));
  out->wDayOfWeek = static_cast<std::uint16_t>(chrono::weekday{day}.c_encoding());
  return true;
}

std::u16string DosDateTimeToString(const std::uint16_t& date) {
  SYSTEMTIME time{};
  if (!DosDateTimeToSystemTime(date, &time)) return {};
  return tessaron::shortDate(time);
}

namespace tessaron {

std::uint16_t toDosDate(int year, int month, int day) {
  const chrono::year_month_day date{chrono::year{year}, chrono::month{static_cast<unsigned>(month)},
                                    chrono::day{static_cast<unsigned>(day)}};
  if (month < 1 || day < 1 || !date.ok() || year < 1980 || year > 2107) return 0;
  return static_cast<std::uint16_t>((year - 1980) << 9 | month << 5 | day);
}

std::uint16_t parseIsoDate(std::string_view text) {
  constexpr std::string_view kForm = "0000-00-00";
  std::array<int, 3> numbers{};
  std::size_t part = 0;
  if (text.size() != kForm.size()) return 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (isDigit != (kForm[i] == '0') || (!isDigit && text[i] != '-')) return 0;
    if (isDigit)
      numbers[part] = numbers[part] * 10 + (text[i] - '0');
    else
      ++part;
  }
  return toDosDate(numbers[0], numbers[1], numbers[2]);
}

std::string isoDate(std::uint16_t date) {
  SYSTEMTIME time{};
  if (!DosDateTimeToSystemTime(date, &time)) return {};
  const auto twoDigits = [](int number) {
    return std::string(number < 10 ? "-0" : "-") + std::to_string(number);
  };
  return std::to_string(time.wYear) + twoDigits(time.wMonth) + twoDigits(time.wDay);
}

double dayCount(const SYSTEMTIME& time) {
  const chrono::sys_days day = chrono::year{time.wYear} / time.wMonth / time.wDay;
  const int seconds = (time.wHour * 60 + time.wMinute) * 60 + time.wSecond;
  return day.time_since_epoch().count() + seconds / 86400.0;
}

}  // namespace tessaron
