#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/file_text_internal.h"
#include "support/xml/scanner.h"

namespace tessaron {

/// XmlScanner over a FileText, through a window that is a few MiB at most, however long a token is.
/// Positions are those of the text. Used by one thread at a time.
class FileTokens {
 public:
  using Token = XmlScanner::Token;

  /// `text` must outlive this object.
  explicit FileTokens(FileText& text) : text_(text), scanner_({}, false) {}

  /// Moves to the next token; never Incomplete. Character data may come in several tokens. A tag of
  /// more than 4 to 8 MiB is an error, as the window happens to lie.
  Token next();
  /// See XmlScanner::resume.
  void resume(std::uint64_t at, const std::vector<std::string>& open);

  std::uint64_t begin() const { return begin_; }
  std::uint64_t end() const { return end_; }
  /// Name and depth of a tag.
  const XmlScanner& scanner() const { return scanner_; }
  /// Of the last Error: kind, offset and message.
  const XmlError& error() const { return error_; }
  /// Where the token with the error begins; nothing before it is wrong.
  std::uint64_t errorToken() const { return errorToken_; }
  /// The first place of `what` in the token from `from` on; npos when there is none.
  std::uint64_t findInToken(std::string_view what, std::uint64_t from);

 private:
  std::string_view window() const { return {window_.data(), size_}; }
  bool isComplete() const { return origin_ + size_ >= text_.size(); }
  void fill(std::size_t dropped);
  Token longToken();
  Token section(Token token, std::string_view closing, std::size_t opening, FileSearch& search);
  Token characters();
  Token fail(XmlError error, std::uint64_t offset);
  Token pass(Token token, std::uint64_t end);

  FileText& text_;
  std::string window_;
  std::size_t size_ = 0;      // of what the window holds
  std::uint64_t origin_ = 0;  // where it begins
  XmlScanner scanner_;
  std::uint64_t begin_ = 0;
  std::uint64_t end_ = 0;
  XmlError error_;
  std::uint64_t errorToken_ = 0;
  FileSearch commentEnds_, cdataEnds_, nuls_;
};

}  // namespace tessaron
