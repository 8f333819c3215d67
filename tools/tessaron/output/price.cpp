#include "output/price.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <charconv>
#include <cstdint>
#include <string>
#include <utility>

namespace tessaron::tool {
namespace {

/// A number's characters brought to those of ASCII; 0 for what stands in no number. The blanks and
/// apostrophes that only ever group digits become a blank.
char plainCharacter(UChar32 c) {
  if (const int digit = u_charDigitValue(c); digit >= 0) return static_cast<char>('0' + digit);
  if (c == '.' || c == 0xFF0E || c == 0x066B) return '.';
  if (c == ',' || c == 0xFF0C || c == 0x066C) return ',';
  return c == '\'' || c == 0x2019 || u_isblank(c) ? ' ' : '\0';
}

/// The amount that digits with separators spell. A separator that stands alone is the decimal one,
/// unless three digits follow it; of two kinds the last is.
std::optional<double> parseAmount(std::string_view number) {
  const std::size_t last = number.find_last_of("., ");
  std::string digits;
  std::size_t decimals = 0;
  if (last != number.npos) {
    const char mark = number[last];
    const bool alone = number.find(mark) == last;
    const bool mixed = number.substr(0, last).find_first_not_of("0123456789") != number.npos;
    const std::size_t following = number.size() - last - 1;
    const bool grouping = following == 3 && last <= 3 && number[0] != '0';
    if (mark != ' ' && alone && (mixed || !grouping)) decimals = following;
    const bool grouped = decimals == 0;
    if (grouped && (following != 3 || (mixed && alone))) return std::nullopt;
  }
  for (const char c : number)
    if (c >= '0' && c <= '9') digits += c;
  if (decimals > 0) digits.insert(digits.size() - decimals, 1, '.');
  double amount = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), amount);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return amount;
}

constexpr std::pair<std::string_view, std::string_view> kSigns[] = {
    {"EUR", "€"}, {"USD", "$"}, {"US$", "$"}, {"GBP", "£"}, {"JPY", "¥"}, {"￥", "¥"}, {"円", "¥"}};

/// What stands around the number, without blanks and points, in capitals; common codes as signs.
std::string currencyOf(const icu::UnicodeString& around) {
  icu::UnicodeString plain;
  for (std::int32_t at = 0; at < around.length(); at = around.moveIndex32(at, 1)) {
    const UChar32 c = around.char32At(at);
    if (c != '.' && c != ',' && c != '-' && !u_isblank(c)) plain.append(u_toupper(c));
  }
  std::string currency;
  plain.toUTF8String(currency);
  for (const auto& [name, sign] : kSigns)
    if (currency == name) return std::string(sign);
  return currency;
}

}  // namespace

std::optional<Price> parsePrice(std::u16string_view text) {
  const icu::UnicodeString all(false, text.data(), static_cast<std::int32_t>(text.size()));
  std::string number;
  std::size_t digitsEnd = 0;  // what stands behind the last digit is no part of the number
  icu::UnicodeString around;
  icu::UnicodeString behind;
  for (std::int32_t at = 0; at < all.length(); at = all.moveIndex32(at, 1)) {
    const UChar32 c = all.char32At(at);
    const char plain = plainCharacter(c);
    const bool digit = plain >= '0' && plain <= '9';
    if (digit && !behind.isEmpty()) return std::nullopt;  // a second number
    if (number.empty() && (c == '-' || c == 0x2212)) return std::nullopt;
    if (number.empty() && plain == '.' && !u_isalpha(around.char32At(around.length() - 1)))
      number += '0';  // "$.99", but not "Rs.99"
    if (digit || (!number.empty() && plain != '\0' && behind.isEmpty())) {
      number += plain;
      if (digit) digitsEnd = number.size();
    } else {
      (number.empty() ? around : behind).append(c);
    }
  }
  if (digitsEnd == 0) return std::nullopt;
  number.resize(digitsEnd);
  const std::optional<double> amount = parseAmount(number);
  if (!amount) return std::nullopt;
  return Price{currencyOf(around.append(behind)), *amount};
}

}  // namespace tessaron::tool
