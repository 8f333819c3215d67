#include <charconv>
#include <cstddef>
#include <system_error>

#include "records/linked_file_internal.h"

namespace tessaron {
namespace {

constexpr std::size_t kDigits = 4;

bool isHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool isLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

int hexDigit(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
  return -1;
}

// The value of the digits at the beginning of `text`; negative when they are others.
int hexValue(std::u16string_view text) {
  if (text.size() < kDigits) return -1;
  int value = 0;
  for (const char16_t unit : text.substr(0, kDigits)) {
    const int digit = hexDigit(unit);
    if (digit < 0) return -1;
    value = value << 4 | digit;
  }
  return value;
}

void appendEscaped(std::u16string& out, char16_t unit) {
  constexpr std::u16string_view kHex = u"0123456789abcdef";
  out += u"\\u";
  for (int shift = 12; shift >= 0; shift -= 4)
    out += kHex[static_cast<std::size_t>(unit >> shift) & 15];
}

}  // namespace

std::u16string escapeFilePath(std::u16string_view path) {
  std::u16string out;
  for (std::size_t at = 0; at < path.size(); ++at) {
    const char16_t unit = path[at];
    const bool isPair =
        isHighSurrogate(unit) && at + 1 < path.size() && isLowSurrogate(path[at + 1]);
    if (isPair) {
      out.append(path, at++, 2);
    } else if (unit == u'\\') {
      out += u"\\\\";
    } else if (unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || unit >= 0xFFFE ||
               isHighSurrogate(unit) || isLowSurrogate(unit)) {
      appendEscaped(out, unit);
    } else {
      out += unit;
    }
  }
  return out;
}

std::u16string unescapeFilePath(std::u16string_view text) {
  std::u16string out;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool isEscape = text[at] == u'\\' && at + 1 < text.size();
    const int value = isEscape && text[at + 1] == u'u' ? hexValue(text.substr(at + 2)) : -1;
    if (value > 0) {
      out += static_cast<char16_t>(value);
      at += 1 + kDigits;
    } else {
      out += text[at];
      if (isEscape && text[at + 1] == u'\\') ++at;
    }
  }
  return out;
}

std::uint64_t parseFileSize(std::string_view text) {
  std::int64_t size = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  return isNumber && size > 0 ? static_cast<std::uint64_t>(size) : 0;
}

}  // namespace tessaron
