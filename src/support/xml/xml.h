#pragma once

#include <tinyxml.h>

#include <string>
#include <string_view>

#include "support/xml/error.h"
#include "tessaron_export.h"

/// Appends to `parent` an element `name` whose only child is a text node holding `value` in UTF-8.
/// Characters that XML 1.0 does not allow become U+FFFD. False when `parent` cannot be read.
TESSARON_API bool composeTextNode(TiXmlElement* parent, std::string name, std::u16string value);

/// Appends to `parent` an element `name` that carries `value` as its attribute `attribute`, with
/// `text` as its text unless that is empty. False when `parent` cannot be read.
TESSARON_API bool composeTextAttributeNode(TiXmlElement* parent, std::string name,
                                           std::string attribute, std::u16string value,
                                           std::u16string text);

/// When `element` is named exactly `name`, fills `out` with the element's text (all its text and
/// CDATA children; empty when it has none) and returns true. Otherwise false, `out` untouched; also
/// when `element` cannot be read.
TESSARON_API bool parseTextNode(TiXmlElement* element, const std::string& name,
                                std::u16string& out);

namespace tessaron {

/// The one way in which XML text becomes a document. Clears `document`, decodes `text` (see
/// `decodeXml`) and parses it as UTF-8 in TinyXML's legacy encoding mode (bytes stay as they are),
/// with these amends: numeric references above 127 become the UTF-8 bytes of the characters that
/// they name; an ampersand that begins no reference stays one; white space inside text stays as it
/// stands, except between two tokens of markup. Returns the first error, if any. The document then
/// holds what was built before it (for bytes that are no characters: all, with U+FFFD in their
/// place), but nothing at all after UnknownEncoding. Safe to call from several threads at once.
TESSARON_API XmlError parseXml(std::string text, TiXmlDocument& document);

/// As `parseXml`, errors unreported: true when there is something to be read, also if that ends in
/// an error. False for an empty text and for one in an unknown encoding.
TESSARON_API bool parseReadable(std::string text, TiXmlDocument& document);

/// Prints a document or a part of it, and appends that to `out`. Byte for byte what TinyXML's
/// own print into a string gives, except where that would not read back: a text with
/// "&#x" in it is escaped in full, characters that XML 1.0 does not allow become U+FFFD, and a
/// declaration that names an encoding names UTF-8.
TESSARON_API void printXml(const TiXmlNode& node, std::string& out);

/// Appends an empty element to `parent`, which owns it, and returns it to be filled in its place.
TESSARON_API TiXmlElement* appendElement(TiXmlNode& parent, const char* name);

/// As `composeTextNode`, without copies.
TESSARON_API void appendText(TiXmlNode& parent, const char* name, std::u16string_view value);

/// Sets an attribute to the UTF-8 form of `value`, without the characters that XML does not allow.
TESSARON_API void setAttribute(TiXmlElement& element, const char* name, std::u16string_view value);

/// The element's text: all its text and CDATA children in UTF-8, decoded. Empty when it has none.
TESSARON_API std::u16string elementText(const TiXmlElement& element);

/// The declaration at the head of every document: version 1.0, UTF-8, standalone.
TESSARON_API void appendDeclaration(TiXmlDocument& document);

}  // namespace tessaron
