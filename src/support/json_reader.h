#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// A place in a text.
struct TextPlace {
  std::size_t line = 0;    ///< from 1
  std::size_t column = 0;  ///< from 1, in characters
};

/// Splits a JSON document (RFC 8259, in UTF-8, with or without a byte-order mark) into tokens.
/// Reads the file block by block: memory depends on the longest string alone. For one thread at a
/// time.
class TESSARON_API JsonReader {
 public:
  enum class Token {
    BeginObject,
    EndObject,
    BeginArray,
    EndArray,
    Key,
    Text,
    Number,
    True,
    False,
    Null,
    End,    ///< of the document
    Error,  ///< see error()
  };
  static constexpr std::size_t kMaxDepth = 64;
  static constexpr std::size_t kMaxText = std::size_t{64} << 20;  ///< bytes of a string

  /// Reads `file`, which must outlive the reader, from its position on.
  explicit JsonReader(File& file);

  /// Moves to the next token. After End or Error it stays there.
  Token next();
  Token token() const { return token_; }
  /// Of a Key or a Text: the string, decoded to UTF-8. Of a Number: as it is written.
  const std::string& text() const { return text_; }
  /// Where the token begins; of Error, where the document is wrong.
  TextPlace place() const { return tokenPlace_; }
  /// One line in English, without the place; empty unless the token is Error.
  const std::string& error() const { return error_; }
  /// Whether the error is that the file could not be read.
  bool isUnreadable() const { return unreadable_; }
  /// Bytes from where the reader began to the end of the token.
  std::uint64_t position() const { return before_ + at_; }
  /// Moves from the first token of a value to its last one, or to Error.
  void skipValue();

 private:
  enum class Expect { Value, ValueOrEnd, Key, KeyOrEnd, Colon, CommaOrEnd, Nothing };

  bool fill();
  int peek();
  void advance();
  void skipBlanks();
  bool skipSeparator();
  Token scan();
  Token value(char first);
  Token open(char bracket);
  Token close(char bracket);
  Token word(std::string_view letters, Token token);
  Token number();
  Token string(Token token);
  bool escape();
  bool hexUnit(char32_t& unit);
  bool digits();
  Token fail(std::string message);
  bool inArray() const { return !open_.empty() && open_.back() == '['; }

  File& file_;
  std::string block_;
  std::size_t at_ = 0;
  std::uint64_t before_ = 0;  // bytes in front of the block
  bool ended_ = false;
  bool unreadable_ = false;
  std::string open_;  // the brackets that are open
  Expect expect_ = Expect::Value;
  TextPlace place_{1, 1};
  TextPlace tokenPlace_{1, 1};
  Token token_ = Token::Null;
  std::string text_;
  char32_t high_ = 0;        // a surrogate that waits for its partner
  std::size_t highEnd_ = 0;  // where its U+FFFD in the text ends; 0 for none
  std::string error_;
};

}  // namespace tessaron
