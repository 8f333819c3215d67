#include "records/price.h"

#include <charconv>
#include <cstddef>
#include <system_error>
#include <utility>

#include "platform/text.h"
#include "support/text.h"

namespace tessaron {
namespace {

// The zeros of the scripts' decimal digits; nine more follow each.
constexpr char16_t kZeros[] = {0x0030, 0x0660, 0x06F0, 0x07C0, 0x0966, 0x09E6, 0x0A66, 0x0AE6,
                               0x0B66, 0x0BE6, 0x0C66, 0x0CE6, 0x0D66, 0x0DE6, 0x0E50, 0x0ED0,
                               0x0F20, 0x1040, 0x1090, 0x17E0, 0x1810, 0x1946, 0x19D0, 0x1A80,
                               0x1A90, 0x1B50, 0x1BB0, 0x1C40, 0x1C50, 0xA620, 0xA8D0, 0xA900,
                               0xA9D0, 0xA9F0, 0xAA50, 0xABF0, 0xFF10};

bool isBlank(char16_t c) {
  return c == u' ' || c == u'\t' || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) ||
         c == 0x202F || c == 0x205F || c == 0x3000;
}

bool isMinus(char16_t c) { return c == u'-' || c == 0x2212; }

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Whether a point after `c` begins a decimal fraction: "$.99", but not "Rs.99".
bool isBeforeFraction(char16_t c) {
  if (c < 0x80) return (c < u'a' || c > u'z') && (c < u'A' || c > u'Z');
  const bool isSign = (c >= 0xA2 && c <= 0xA5) || (c >= 0x20A0 && c <= 0x20CF) || c == 0xFF04 ||
                      (c >= 0xFFE0 && c <= 0xFFE6);
  return isSign || isBlank(c);
}

/// ASCII form of a character in a number: a digit, a point, a comma, or a blank for the blanks and
/// apostrophes that only group digits. NUL for any other.
char plainCharacter(char16_t c) {
  for (const char16_t zero : kZeros)
    if (c >= zero && c <= zero + 9) return static_cast<char>('0' + (c - zero));
  if (c == u'.' || c == 0xFF0E || c == 0x066B) return '.';
  if (c == u',' || c == 0xFF0C || c == 0x066C) return ',';
  return c == u'\'' || c == 0x2019 || isBlank(c) ? ' ' : '\0';
}

/// A price's text taken apart.
struct Parts {
  std::string number;       ///< digits and separators in ASCII, with a digit at both ends
  std::u16string currency;  ///< everything around the number
};

/// Nothing for a text without a number, with a second one, or with a minus sign before it.
std::optional<Parts> split(std::u16string_view text) {
  Parts parts;
  std::size_t end = 0;  // of the number's last digit
  bool isBehind = false;
  for (const char16_t c : text) {
    const char plain = plainCharacter(c);
    std::string& number = parts.number;
    if (isDigit(plain) && isBehind) return std::nullopt;
    if (number.empty() && isMinus(c)) return std::nullopt;
    const bool isFraction = number.empty() && plain == '.' &&
                            (parts.currency.empty() || isBeforeFraction(parts.currency.back()));
    if (isFraction) number.push_back('0');
    if (isDigit(plain) || (!number.empty() && plain != '\0' && !isBehind)) {
      number += plain;
      if (isDigit(plain)) end = number.size();
    } else {
      isBehind = !number.empty();
      parts.currency += c;
    }
  }
  if (end == 0) return std::nullopt;
  parts.number.resize(end);
  return parts;
}

/// Number of decimals after the last separator, which is the decimal one if it is of another kind
/// than those before it, or alone and not before three digits. Nothing for a misplaced separator.
std::optional<std::size_t> countDecimals(std::string_view number) {
  constexpr std::size_t kGroup = 3;
  const std::size_t last = number.find_last_of("., ");
  if (last == number.npos) return 0;
  const char separator = number[last];
  const std::size_t following = number.size() - last - 1;
  const bool isFirstOfKind = number.find(separator) == last;
  const bool isMixed = number.substr(0, last).find_first_not_of("0123456789") != number.npos;
  const bool isGroup = following == kGroup && last <= kGroup && number[0] != '0';
  if (separator != ' ' && isFirstOfKind && (isMixed || !isGroup)) return following;
  if (following != kGroup || (isMixed && isFirstOfKind)) return std::nullopt;
  return 0;
}

std::optional<double> parseAmount(std::string_view number) {
  const std::optional<std::size_t> decimals = countDecimals(number);
  if (!decimals) return std::nullopt;
  std::string digits(number);
  std::erase_if(digits, [](char c) { return !isDigit(c); });
  if (*decimals > 0) digits.insert(digits.size() - *decimals, 1, '.');
  double amount = 0;
  const char* end = digits.data() + digits.size();
  const auto [read, error] = std::from_chars(digits.data(), end, amount);
  if (error != std::errc() || read != end) return std::nullopt;
  return amount;
}

constexpr std::pair<std::string_view, std::string_view> kSigns[] = {
    {"EUR", "€"}, {"USD", "$"}, {"US$", "$"}, {"GBP", "£"}, {"JPY", "¥"}, {"￥", "¥"}, {"円", "¥"}};

/// The currency without blanks and punctuation, in capitals; common codes as signs.
std::string currencyOf(std::u16string_view text) {
  std::u16string plain;
  for (const char16_t c : text)
    if (c != u'.' && c != u',' && c != u'-' && !isBlank(c)) plain += upperCase(c);
  std::string currency = toUtf8(plain);
  for (const auto& [name, sign] : kSigns)
    if (currency == name) return std::string(sign);
  return currency;
}

}  // namespace

std::optional<Price> parsePrice(std::u16string_view text) {
  const std::optional<Parts> parts = split(text);
  if (!parts) return std::nullopt;
  const std::optional<double> amount = parseAmount(parts->number);
  if (!amount) return std::nullopt;
  return Price{currencyOf(parts->currency), *amount};
}

}  // namespace tessaron
