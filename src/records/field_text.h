#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

/// How a field's text is read from an element that may be indented.
enum class TextRule {
  Prose,  ///< white space at either end goes when it contains a line break: it is indentation
  Value,  ///< identifiers, addresses, numbers, prices and dates: white space at either end goes
};

/// What the text of a field says, for programs that compare, sort or check it.
enum class ValueKind {
  Text,
  Number,  ///< a decimal number; a unit may follow
  Date,    ///< a day as "YYYY-MM-DD"; month or day may be missing
  Price,   ///< an amount with its currency, see `Price`
};

/// How many units of white space `rule` drops at the ends of a text.
struct Indentation {
  std::size_t before = 0;
  std::size_t behind = 0;
};
Indentation indentationOf(std::u16string_view text, TextRule rule);

/// `text` without white space at its ends.
TESSARON_API std::u16string_view trimmed(std::u16string_view text);

/// The text of a TinyElement or an XmlTree::Element (all its text and CDATA children), read by
/// `rule`. A CDATA section of nothing but white space at either end stays: it was written
/// on purpose.
template <typename Element>
std::u16string fieldText(const Element& element, TextRule rule) {
  std::u16string text = element.elementText();
  const Indentation blank = indentationOf(text, rule);
  if (blank.behind > 0 && !element.endsWithBlankCData()) text.resize(text.size() - blank.behind);
  if (blank.before > 0 && !element.beginsWithBlankCData()) text.erase(0, blank.before);
  return text;
}
template <typename Element>
std::u16string prose(const Element& element) {
  return fieldText(element, TextRule::Prose);
}
template <typename Element>
std::u16string value(const Element& element) {
  return fieldText(element, TextRule::Value);
}

/// Writes a child of `output` (see support/xml/writer.h) from which `fieldText` reads exactly
/// `text`: white space at its ends that `rule` would drop is written as CDATA.
template <typename Output>
void writeField(Output& output, const char* name, std::u16string_view text, TextRule rule) {
  const Indentation blank = indentationOf(text, rule);
  output.text(name, text, blank.before, blank.behind);
}

}  // namespace tessaron
