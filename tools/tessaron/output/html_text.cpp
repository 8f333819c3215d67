#include "output/html_text.h"

#include <fmt/format.h>

#include <cstdint>

#include "support/ascii.h"
#include "support/escape.h"

namespace tessaron::tool {

namespace {

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The replacement of a character in a page; empty when it is kept.
std::string_view escapeOf(char16_t c) {
  switch (c) {
    case u'&':
      return "&amp;";
    case u'<':
      return "&lt;";
    case u'>':
      return "&gt;";
    case u'"':
      return "&quot;";
    case u'\'':
      return "&#39;";
    case u'\t':
    case u'\n':
    case u'\r':
      return {};
    default:
      return c < u' ' || c == 0x7F ? "\uFFFD" : std::string_view();
  }
}

void appendEscaped(std::string& out, char c) {
  const std::string_view escape = escapeOf(static_cast<unsigned char>(c));
  escape.empty() ? out += c : out += escape;
}

}  // namespace

std::string escapeHtml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) appendEscaped(out, c);
  return out;
}

std::string escapeHtml(std::u16string_view text) {
  std::string out;
  tessaron::appendEscaped<'&', '<', '>', '"', '\''>(out, text, escapeOf);
  return out;
}

std::string base64(std::string_view bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i)
      group = group << 8 | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0u);
    for (std::size_t i = 0; i < 4; ++i)
      out += at + i <= bytes.size() ? kDigits[group >> (18 - 6 * i) & 63] : '=';
  }
  return out;
}

std::string addressPart(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (isLetter(c) || isDigit(c) || c == '-' || c == '_' || c == '.')
      out += c;
    else
      out += fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return out;
}

bool isWebAddress(std::string_view address) {
  const std::string head = lowerLetters(address.substr(0, 8));
  return head.starts_with("http://") || head.starts_with("https://");
}

}  // namespace tessaron::tool
