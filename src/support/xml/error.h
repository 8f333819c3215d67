#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

/// Where a text stops being XML that can be read, and why.
struct TESSARON_API XmlError {
  enum class Kind {
    None,
    Empty,         ///< no root element
    BadCharacter,  ///< a NUL, bytes outside the root element, or none of the declared encoding
    BadTag,        ///< a malformed tag, or an attribute without a value
    DuplicateAttribute,
    MismatchedEnd,    ///< an end tag that closes another element than the open one
    UnexpectedEnd,    ///< the text ends inside a tag, a comment, or an open element
    BadReference,     ///< a malformed numeric character reference
    Unsupported,      ///< a document type with a subset; a declaration or instruction with '>'
    TooDeep,          ///< elements nested deeper than kMaxXmlDepth
    UnknownEncoding,  ///< the declaration names an encoding that cannot be read
    TooLarge,         ///< an item, or the text between two, above ItemStream::kMaxItem
    Unreadable,       ///< the file could not be read
  };
  Kind kind = Kind::None;
  std::size_t offset = 0;  ///< bytes from the start of the text
  std::size_t line = 0;    ///< from 1
  std::size_t column = 0;  ///< from 1, in characters
  std::string message;     ///< one line in English, without the place

  explicit operator bool() const { return kind != Kind::None; }
};

/// Elements nested deeper than this are refused: TinyXML's parser is recursive.
inline constexpr std::size_t kMaxXmlDepth = 256;

/// Bytes of a text, from `begin` to before `end`.
struct TextRange {
  std::size_t begin = 0;
  std::size_t end = 0;

  std::size_t size() const { return end - begin; }
  std::string_view of(std::string_view text) const { return text.substr(begin, size()); }
};

}  // namespace tessaron
