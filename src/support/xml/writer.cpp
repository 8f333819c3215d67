#include "support/xml/writer.h"

#include "support/escape.h"
#include "support/text.h"

namespace tessaron {
namespace {

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
    default:  // U+FFFD for what XML does not allow
      return unit < 0x20 || unit >= 0xFFFE ? "\xEF\xBF\xBD" : std::string_view();
  }
}

void appendXml(std::string& out, std::u16string_view text) {
  appendEscaped<'&', '<', '>', '"', '\''>(out, text, [](char16_t unit) { return escapeOf(unit); });
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
  appendXml(out_, value);
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
    appendXml(out_, value.substr(before, value.size() - before - behind));
    writeCData(value.substr(value.size() - behind));
  }
  ((out_ += "</") += name) += '>';
}

}  // namespace tessaron
