#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "support/xml/xml.h"

namespace tessaron {

/// Finds a token from positions that mostly ascend, and searches no stretch of the text twice.
class TokenSearch {
 public:
  std::size_t find(std::string_view text, std::string_view token, std::size_t from) {
    if (from < from_ || from > at_) {
      from_ = from;
      at_ = text.find(token, from);
    }
    return at_;
  }

 private:
  std::size_t from_ = 1;  // none begins from here to before `at_`
  std::size_t at_ = 0;
};

/// Walks over XML text piece by piece without building anything, and stops at the first fault.
/// It takes and refuses what the XML library takes and refuses, so that what it has passed can be
/// given to the library's recursive parser. The text must outlive it; no byte-order mark, no
/// UTF-16.
class XmlScanner {
 public:
  enum class Piece {
    Text,   ///< character data between two pieces, white space included
    CData,  ///< <![CDATA[...]]>
    Start,  ///< <name ...>
    Empty,  ///< <name ... />
    End,    ///< </name>
    Comment,
    Declaration,  ///< <?xml ... ?>
    Other,        ///< processing instructions, <!DOCTYPE ...>
    Finished,     ///< the end of a well-formed text
    Faulty,       ///< see fault()
  };

  explicit XmlScanner(std::string_view text) : text_(text) {}

  /// Goes on at `at`, the start of a token, as if the elements `open` were open there.
  void resume(std::size_t at, const std::vector<std::string_view>& open);

  /// Moves to the next piece. After Finished or Faulty it stays there.
  Piece next();

  std::size_t begin() const { return begin_; }        ///< the piece's first byte
  std::size_t end() const { return end_; }            ///< behind the piece's last byte
  std::string_view name() const { return name_; }     ///< of a Start, Empty or End piece
  std::size_t depth() const { return open_.size(); }  ///< elements open behind the piece
  /// Whether the piece (Text, Start or Empty) holds a numeric reference above 127 or an ampersand
  /// that begins no reference: neither would come out of the library as it is meant.
  bool needsRewriting() const { return needsRewriting_; }
  /// Kind, offset and message; line and column are left to `locate`.
  const XmlFault& fault() const { return fault_; }
  /// Where the token begins in which the fault is; nothing before it is at fault.
  std::size_t faultyToken() const { return faultyToken_; }

 private:
  Piece fail(XmlFault::Kind kind, std::size_t offset, std::string_view message);
  Piece startTag();
  Piece endTag();
  Piece until(std::string_view closing, TokenSearch& search, std::size_t from, Piece piece);
  bool isNulBefore(std::size_t from, std::size_t to, std::size_t& at);
  Piece declaration();
  bool attribute(std::size_t& at, std::string_view& name);
  bool references(std::size_t from, std::size_t to);

  std::string_view text_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::string_view name_;
  std::vector<std::string_view> open_;
  std::vector<std::string_view> attributes_;  // of the tag at hand
  bool rootSeen_ = false;
  bool needsRewriting_ = false;
  bool stopped_ = false;
  XmlFault fault_;
  std::size_t faultyToken_ = 0;
  TokenSearch nul_, commentEnd_, cdataEnd_, tagEnd_, quote_, apostrophe_;
};

/// Fills line and column of `fault` from its offset in `text`.
void locate(std::string_view text, XmlFault& fault);

/// Whether an entity that the library knows ("&lt;" and its like) stands at `text[at]`.
bool isNamedReference(std::string_view text, std::size_t at);

/// Reads the numeric character reference at `text[at]` ("&#...;") and moves `at` behind it.
/// Nothing, and `at` unmoved, when there is none. A pair of references that spells a surrogate pair
/// is one character; what names no character comes back as U+FFFD.
bool readReference(std::string_view text, std::size_t& at, char32_t& codePoint);

}  // namespace tessaron
