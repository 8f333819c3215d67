#include "support/units.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace tessaron {

std::u16string decimalText(double value, int decimals) {
  std::array<char, 400> buffer;  // the greatest number has 309 digits
  if (!std::isfinite(value)) value = 0;
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                          std::chars_format::fixed, std::clamp(decimals, 0, 20));
  std::u16string text(buffer.data(), end);
  if (decimals > 0) {
    text.resize(text.find_last_not_of(u'0') + 1);
    if (text.ends_with(u'.')) text.pop_back();
  }
  return text == u"-0" ? u"0" : text;
}

std::u16string dataRateText(double bitsPerSecond) {
  return hr_unitCalculator(bitsPerSecond, u"bps", u"kmgtp", 1000.0);
}

std::u16string runTimeText(double seconds) {
  constexpr double kMost = 1e15;
  const auto whole = static_cast<std::int64_t>(
      std::isfinite(seconds) ? std::round(std::clamp(seconds, 0.0, kMost)) : 0);
  const auto padded = [](std::int64_t part) {
    return decimalText(static_cast<double>(part / 10), 0) +
           decimalText(static_cast<double>(part % 10), 0);
  };
  const std::int64_t minutes = whole / 60 % 60;
  const std::int64_t hours = whole / 3600;
  std::u16string text;
  if (hours > 0) text = decimalText(static_cast<double>(hours), 0) + u':';
  text += hours > 0 ? padded(minutes) : decimalText(static_cast<double>(minutes), 0);
  return text + u':' + padded(whole % 60);
}

}  // namespace tessaron

std::u16string hr_unitCalculator(double value, std::u16string unit, std::u16string prefixes,
                                 double step) {
  constexpr std::size_t kMost = 127;
  // Three significant digits; the number may reach the next prefix only by being rounded.
  const auto digits = [](double number) {
    const double size = std::abs(number);
    return tessaron::decimalText(number, size < 9.995 ? 2 : size < 99.95 ? 1 : 0);
  };
  if (!std::isfinite(value)) value = 0;
  std::size_t divisions = 0;
  while (divisions < prefixes.size() && step > 1 && std::round(std::abs(value)) >= step) {
    value /= step;
    ++divisions;
  }
  std::u16string text = digits(value) + u' ';
  if (divisions > 0) {
    const char16_t letter = prefixes[divisions - 1];
    const bool raise = letter != u'k' && letter >= u'a' && letter <= u'z';
    text += static_cast<char16_t>(raise ? letter - u'a' + u'A' : letter);
  }
  return (text + unit).substr(0, kMost);
}
