#include "records/field_text.h"

#include <algorithm>
#include <utility>

#include "support/text.h"
#include "support/xml/xml.h"

namespace tessaron {
namespace {

constexpr std::u16string_view kBlanks = u" \t\r\n";

bool isDropped(std::u16string_view blank, TextRule rule) {
  return rule == TextRule::Value || blank.find_first_of(u"\r\n") != blank.npos;
}

// How much white space `rule` drops at the start and at the end of `text`.
std::size_t droppedBefore(std::u16string_view text, TextRule rule) {
  const std::size_t size = std::min(text.find_first_not_of(kBlanks), text.size());
  return isDropped(text.substr(0, size), rule) ? size : 0;
}
std::size_t droppedBehind(std::u16string_view text, TextRule rule) {
  const std::u16string_view blank = text.substr(text.find_last_not_of(kBlanks) + 1);
  return isDropped(blank, rule) ? blank.size() : 0;
}

bool isBlankCData(const TiXmlText* text) {
  return text && text->CDATA() &&
         text->ValueStr().find_first_not_of(" \t\r\n") == std::string::npos;
}

TiXmlText cdata(std::u16string_view text) {
  TiXmlText node(toUtf8(text));
  node.SetCDATA(true);
  return node;
}

}  // namespace

std::u16string_view trimmed(std::u16string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);  // npos + 1 is 0
}

std::u16string fieldText(const TiXmlElement& element, TextRule rule) {
  std::u16string text = elementText(element);
  const TiXmlText* first = nullptr;
  const TiXmlText* last = nullptr;
  for (const TiXmlNode* child = element.FirstChild(); child; child = child->NextSibling()) {
    if (!child->ToText()) continue;
    last = child->ToText();
    if (!first) first = last;
  }
  if (!isBlankCData(last)) text.resize(text.size() - droppedBehind(text, rule));
  if (!isBlankCData(first)) text.erase(0, droppedBefore(text, rule));
  return text;
}

void appendField(TiXmlNode& parent, const char* name, std::u16string_view text, TextRule rule) {
  const std::size_t before = droppedBefore(text, rule);
  const std::u16string_view rest = text.substr(before);
  const std::size_t behind = droppedBehind(rest, rule);
  // A text of nothing but white space is written as CDATA anyway.
  if (rest.empty() || before + behind == 0) return appendText(parent, name, text);

  appendText(parent, name, rest.substr(0, rest.size() - behind));
  TiXmlNode& element = *parent.LastChild();
  if (before > 0) element.InsertBeforeChild(element.FirstChild(), cdata(text.substr(0, before)));
  if (behind > 0) element.InsertEndChild(cdata(rest.substr(rest.size() - behind)));
}

}  // namespace tessaron
