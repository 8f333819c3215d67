#pragma once

#include <tinyxml.h>

#include <optional>
#include <string>
#include <string_view>

#include "support/xml/xml.h"

namespace tessaron {

/// A TinyXML element, or null, with the interface in which XmlTree::Element is read, so that one
/// reader serves documents and text. Light: pass by value.
class TinyElement {
 public:
  explicit TinyElement(const TiXmlElement* element) : element_(element) {}
  explicit operator bool() const { return element_ != nullptr; }

  std::string_view name() const { return element_->ValueStr(); }
  TinyElement firstChild() const { return TinyElement(element_->FirstChildElement()); }
  TinyElement nextSibling() const { return TinyElement(element_->NextSiblingElement()); }
  TinyElement child(const char* name) const {
    return TinyElement(element_->FirstChildElement(name));
  }
  std::u16string elementText() const { return tessaron::elementText(*element_); }
  bool beginsWithText() const {
    return element_->FirstChild() && element_->FirstChild()->ToText() != nullptr;
  }
  /// Whether the first text directly in it, or the last one, is CDATA of white space only.
  bool beginsWithBlankCData() const { return isBlankCData(findText(element_->FirstChild(), true)); }
  bool endsWithBlankCData() const { return isBlankCData(findText(element_->LastChild(), false)); }
  std::optional<std::string> attribute(const char* name) const {
    const char* value = element_->Attribute(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
  }

 private:
  static const TiXmlText* findText(const TiXmlNode* node, bool forward) {
    while (node && !node->ToText()) node = forward ? node->NextSibling() : node->PreviousSibling();
    return node ? node->ToText() : nullptr;
  }
  static bool isBlankCData(const TiXmlText* text) {
    return text && text->CDATA() &&
           text->ValueStr().find_first_not_of(" \t\r\n") == std::string::npos;
  }

  const TiXmlElement* element_;
};

}  // namespace tessaron
