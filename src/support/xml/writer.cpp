#include "support/xml/writer.h"

#include <array>

#include "support/text.h"

namespace tessaron {
namespace {

// Whether a unit of UTF-16 stands for itself in XML text.
constexpr std::array<bool, 128> kPlain = [] {
  std::array<bool, 128> plain{};
  for (std::size_t c = 0x20; c < 128; ++c) plain[c] = true;
  for (const char c : {'&', '<', '>', '"', '\''}) plain[static_cast<std::size_t>(c)] = false;
  return plain;
}();

std::string_view escapeOf(char16_t unit) {
  switch (unit) {
    case u'&':
      return "&amp;";
    case u'<':
      return "&lt;";
    case u'>':
      return "&gt;";
    case u'"':
      return "&quot;";
    case u'\'':
      return "&apos;";
    case u'\t':
      return "&#x09;";
    case u'\n':
      return "&#x0A;";
    case u'\r':
      return "&#x0D;";
    default:
      return "\xEF\xBF\xBD";  // U+FFFD for what XML does not allow
  }
}

// Appends `text` in UTF-8 with everything escaped that is not itself in text and in attributes.
void appendEscaped(std::string& out, std::u16string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    std::array<char, 256> plain;
    std::size_t count = 0;
    while (i < text.size() && count < plain.size() && text[i] < 128 && kPlain[text[i]])
      plain[count++] = static_cast<char>(text[i++]);
    out.append(plain.data(), count);
    if (i == text.size() || count == plain.size()) continue;
    const char16_t unit = text[i++];
    if (unit < 128 || unit >= 0xFFFE) {
      out += escapeOf(unit);
    } else if ((unit & 0xFC00) == 0xD800 && i < text.size() && (text[i] & 0xFC00) == 0xDC00) {
      appendUtf8(out, 0x10000u + ((unit & 0x3FFu) << 10) + (text[i++] & 0x3FFu));
    } else {
      appendUtf8(out, unit);
    }
  }
}

// A text of white space only is written as CDATA: parsers drop it otherwise.
bool isBlank(std::u16string_view value) {
  return value.find_first_not_of(u" \t\r\n") == value.npos;
}

TiXmlText cdata(std::u16string_view blank) {
  TiXmlText node(toUtf8(blank));
  node.SetCDATA(true);
  return node;
}

}  // namespace

void ElementOutput::text(const char* name, std::u16string_view value, std::size_t before,
                         std::size_t behind) {
  if (value.empty()) return;
  if (isBlank(value)) before = behind = 0;
  appendText(element_, name, value.substr(before, value.size() - before - behind));
  if (before + behind == 0) return;
  TiXmlNode& child = *element_.LastChild();
  if (before > 0) child.InsertBeforeChild(child.FirstChild(), cdata(value.substr(0, before)));
  if (behind > 0) child.InsertEndChild(cdata(value.substr(value.size() - behind)));
}

void TextOutput::end() {
  if (hasContent_) {
    ((out_ += "</") += name_) += '>';
  } else {
    out_ += " />";
  }
}

void TextOutput::attribute(const char* name, int value) {
  (((out_ += ' ') += name) += "=\"").append(std::to_string(value)) += '"';
}

void TextOutput::attribute(const char* name, std::u16string_view value) {
  // TinyXML chooses apostrophes when the value holds a quotation mark.
  const char quote = value.find(u'"') == value.npos ? '"' : '\'';
  (((out_ += ' ') += name) += '=') += quote;
  appendEscaped(out_, value);
  out_ += quote;
}

void TextOutput::writeCData(std::u16string_view blank) {
  if (!blank.empty()) ((out_ += "<![CDATA[") += toUtf8(blank)) += "]]>";
}

void TextOutput::text(const char* name, std::u16string_view value, std::size_t before,
                      std::size_t behind) {
  if (value.empty()) return;
  beginContent();
  ((out_ += '<') += name) += '>';
  if (isBlank(value)) {
    writeCData(value);
  } else {
    writeCData(value.substr(0, before));
    appendEscaped(out_, value.substr(before, value.size() - before - behind));
    writeCData(value.substr(value.size() - behind));
  }
  ((out_ += "</") += name) += '>';
}

}  // namespace tessaron
