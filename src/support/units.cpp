#include "support/units.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "support/text.h"

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
  constexpr double kMaxSeconds = 1e15;
  const auto whole = static_cast<std::int64_t>(
      std::isfinite(seconds) ? std::round(std::clamp(seconds, 0.0, kMaxSeconds)) : 0);
  const auto hours = static_cast<long long>(whole / 3600);
  const int minutes = static_cast<int>(whole / 60 % 60);
  const int rest = static_cast<int>(whole % 60);
  std::array<char, 32> text;
  if (hours > 0) {
    std::snprintf(text.data(), text.size(), "%lld:%02d:%02d", hours, minutes, rest);
  } else {
    std::snprintf(text.data(), text.size(), "%d:%02d", minutes, rest);
  }
  return fromUtf8(text.data());
}

}  // namespace tessaron

std::u16string hr_unitCalculator(double value, std::u16string unit, std::u16string prefixes,
                                 double step) {
  constexpr std::size_t kMaxUnits = 127;
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
  return (text + unit).substr(0, kMaxUnits);
}
