#include "output/html_text.h"

#include "support/ascii.h"
#include "support/escape.h"

namespace tessaron::tool {

namespace {

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

bool isWebAddress(std::string_view address) {
  const std::string head = lowerLetters(address.substr(0, 8));
  return head.starts_with("http://") || head.starts_with("https://");
}

}  // namespace tessaron::tool
