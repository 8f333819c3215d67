#include "records/product_number.h"

namespace tessaron {
namespace {

int digitOf(char16_t c) { return c >= u'0' && c <= u'9' ? c - u'0' : -1; }

// The check digit behind 12 digits of an EAN.
char16_t eanCheckDigit(std::u16string_view digits) {
  int sum = 0;
  for (std::size_t i = 0; i < 12; ++i) sum += digitOf(digits[i]) * (i % 2 == 0 ? 1 : 3);
  return static_cast<char16_t>(u'0' + (10 - sum % 10) % 10);
}

// Whether the tenth character, a digit or X for ten, checks the nine digits before it.
bool isChecked(std::u16string_view isbn10) {
  int sum = 0;
  for (int i = 0; i < 10; ++i) {
    const char16_t c = isbn10[static_cast<std::size_t>(i)];
    const bool isTen = i == 9 && (c == u'X' || c == u'x');
    if (digitOf(c) < 0 && !isTen) return false;
    sum += (10 - i) * (isTen ? 10 : digitOf(c));
  }
  return sum % 11 == 0;
}

}  // namespace

std::optional<std::u16string> productNumber(std::u16string_view text) {
  std::u16string digits;
  for (const char16_t c : text) {
    if (c == u'-' || c == u' ' || c == u'\u2010' || c == u'\u2011') continue;  // hyphens
    digits += c;
    if (digits.size() > 13) return std::nullopt;
  }
  if (digits.size() == 10 && isChecked(digits)) {
    digits = u"978" + digits.substr(0, 9);
    return digits + eanCheckDigit(digits);
  }
  if (digits.size() == 12) digits.insert(0, 1, u'0');
  if (digits.size() != 13) return std::nullopt;
  for (const char16_t c : digits)
    if (digitOf(c) < 0) return std::nullopt;
  if (digits.back() != eanCheckDigit(digits)) return std::nullopt;
  return digits;
}

}  // namespace tessaron
