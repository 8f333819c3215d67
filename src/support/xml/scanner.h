#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/xml/error.h"

namespace tessaron {

/// Finds a string from positions that mostly ascend, and searches no stretch of the text twice.
class TextSearch {
 public:
  std::size_t find(std::string_view text, std::string_view what, std::size_t from) {
    if (from < from_ || from > at_) {
      from_ = from;
      at_ = text.find(what, from);
    }
    return at_;
  }

 private:
  std::size_t from_ = 1;  // `what` does not begin from here to before `at_`
  std::size_t at_ = 0;
};

/// Splits XML text into tokens without building anything, and stops at the first error. It accepts
/// and refuses what TinyXML does, so that accepted text can be handed to TinyXML's recursive
/// parser. The text is UTF-8 without a byte-order mark and must outlive the scanner. It may come in
/// parts: see `extend`.
class XmlScanner {
 public:
  enum class Token {
    Text,   ///< character data between two pieces of markup, white space included
    CData,  ///< <![CDATA[...]]>
    Start,  ///< <name ...>
    Empty,  ///< <name ... />
    End,    ///< </name>
    Comment,
    Declaration,  ///< <?xml ... ?>
    Other,        ///< processing instructions, <!DOCTYPE ...>
    Finished,     ///< the end of a well-formed text
    Incomplete,   ///< the token may continue after this text: call `extend`
    Error,        ///< see error()
  };
  struct Attribute {
    TextRange name;
    TextRange value;      ///< without its quotation marks
    std::size_t end = 0;  ///< after the closing quotation mark
    bool quoted = true;   ///< references are resolved in quoted values only
  };

  /// `complete`: `text` is all there is. Otherwise `next` may ask for more.
  explicit XmlScanner(std::string_view text, bool complete = true)
      : text_(text), complete_(complete) {}

  /// Moves to the next token. After Finished or Error it stays there.
  Token next();

  /// Continues after Incomplete in a longer text: the bytes seen so far without the first
  /// `dropped`, and further ones after them. All positions move by `dropped`, which must not
  /// exceed begin().
  void extend(std::string_view text, std::size_t dropped, bool complete);

  /// Continues with `text`, at its start, after a token that the caller has read by itself. `next`
  /// must have returned Incomplete before. What is open stays open.
  void continueWith(std::string_view text, bool complete);

  /// Continues at `at`, the start of a token, as if the elements `open` were open there.
  void resume(std::size_t at, const std::vector<std::string_view>& open);

  std::size_t begin() const { return begin_; }        ///< the token's first byte
  std::size_t end() const { return end_; }            ///< after the token's last byte
  std::string_view name() const { return name_; }     ///< of Start, Empty or End
  std::size_t depth() const { return open_.size(); }  ///< elements open after the token
  /// Of Start or Empty, in the order of the text.
  const std::vector<Attribute>& attributes() const { return attributes_; }
  /// Whether the token (Text, Start or Empty) has an ampersand in its text or its values.
  bool hasReferences() const { return hasReferences_; }
  /// Kind, offset and message; line and column are left to `locate`.
  const XmlError& error() const { return error_; }
  /// Where the token with the error begins; nothing before it is wrong.
  std::size_t errorToken() const { return errorToken_; }

 private:
  Token scan();
  Token fail(XmlError::Kind kind, std::size_t offset, std::string_view message);
  Token failAt(XmlError::Kind kind, std::size_t offset, std::string_view before,
               std::string_view name, std::string_view behind);
  Token endOfText();
  Token characters();
  bool readAttributes(std::size_t& at);
  Token startTag();
  Token endTag();
  Token until(std::string_view closing, TextSearch& search, std::size_t from, Token token);
  std::size_t findNul(std::size_t from, std::size_t to);
  Token instruction();
  Token documentType();
  Token declaration();
  bool attribute(std::size_t& at);
  bool quotedValue(std::size_t& at, Attribute& attribute);
  bool bareValue(std::size_t& at, Attribute& attribute);
  bool isDuplicate(std::string_view attributeName) const;
  bool endsBefore(std::size_t at);
  bool reference(std::size_t& at, std::size_t limit);
  std::string_view openName() const { return std::string_view(openNames_).substr(open_.back()); }
  void push(std::string_view name) {
    open_.push_back(static_cast<std::uint32_t>(openNames_.size()));
    openNames_ += name;
  }
  void pop() {
    openNames_.resize(open_.back());
    open_.pop_back();
  }

  std::string_view text_;
  bool complete_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::string_view name_;
  std::string openNames_;            // of the open elements, one after the other
  std::vector<std::uint32_t> open_;  // where each name begins
  std::vector<Attribute> attributes_;
  bool rootSeen_ = false;
  bool hasReferences_ = false;
  bool stopped_ = false;
  XmlError error_;
  std::size_t errorToken_ = 0;
  struct Searches {
    TextSearch nul, commentEnd, cdataEnd, tagEnd;
  };
  Searches searches_;
};

/// Fills line and column of `error` from its offset in `text`.
void locate(std::string_view text, XmlError& error);

/// The length of the entity that TinyXML knows ("&lt;" and its like) at `text[at]`, and what it
/// stands for; 0 when there is none.
std::size_t namedReference(std::string_view text, std::size_t at, char& meaning);

/// Reads the numeric character reference at `text[at]` ("&#...;") and moves `at` past it. False,
/// and `at` unmoved, when there is none. A pair of references that spells a surrogate pair is one
/// character; what names no character comes back as U+FFFD.
bool readReference(std::string_view text, std::size_t& at, char32_t& codePoint);

/// White space as TinyXML has it.
constexpr bool isXmlSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

}  // namespace tessaron
