#pragma once

#include <tinyxml.h>

#include <string>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

/// How a field's text is read from an element that may be indented.
enum class TextRule {
  Prose,  ///< white space at either end goes when it contains a line break: it is indentation
  Value,  ///< identifiers, addresses, numbers, prices and dates: white space at either end goes
};

/// The element's text (all its text and CDATA children), read by `rule`. A CDATA section of nothing
/// but white space at either end stays: it stands there on purpose.
std::u16string fieldText(const TiXmlElement& element, TextRule rule);
inline std::u16string prose(const TiXmlElement& element) {
  return fieldText(element, TextRule::Prose);
}
inline std::u16string value(const TiXmlElement& element) {
  return fieldText(element, TextRule::Value);
}

/// `text` without white space at its ends.
TESSARON_API std::u16string_view trimmed(std::u16string_view text);

/// Appends an element from which `fieldText` reads exactly `text`: white space at its ends that
/// `rule` would drop is written as CDATA.
void appendField(TiXmlNode& parent, const char* name, std::u16string_view text, TextRule rule);

}  // namespace tessaron
