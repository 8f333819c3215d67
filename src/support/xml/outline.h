#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tessaron {

/// Bytes of a text, from `begin` to before `end`.
struct TextRange {
  std::size_t begin = 0;
  std::size_t end = 0;

  std::size_t size() const { return end - begin; }
  std::string_view of(std::string_view text) const { return text.substr(begin, size()); }
};

/// Where an element and its parts stand in a text.
struct XmlOutline {
  struct Attribute {
    std::string_view name;
    TextRange range;  ///< from the name to behind the value's closing quotation mark
  };
  std::string_view name;
  TextRange range;    ///< both tags included
  TextRange content;  ///< between the tags; for an empty tag nothing, behind it
  bool emptyTag = false;
  bool hasOthers = false;  ///< comments and the like directly in it
  std::vector<Attribute> attributes;
  std::vector<XmlOutline> children;
  std::vector<TextRange> texts;  ///< text and CDATA directly in it, but no white space alone

  /// The first child of that name, or null.
  const XmlOutline* child(std::string_view childName) const;
  std::vector<const XmlOutline*> childrenNamed(std::string_view childName) const;
  const Attribute* attribute(std::string_view attributeName) const;
};

/// The outline of the root element of a text without fault. `text` must outlive it.
XmlOutline outlineXml(std::string_view text);

/// The white space before `at`, up to the markup or text in front of it.
TextRange blankBefore(std::string_view text, std::size_t at);

}  // namespace tessaron
