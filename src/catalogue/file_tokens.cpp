#include <algorithm>
#include <utility>

#include "catalogue/file_tokens_internal.h"

namespace tessaron {
namespace {

using Kind = XmlError::Kind;
using Token = XmlScanner::Token;

constexpr std::size_t kBlock = std::size_t{128} << 10;
constexpr std::size_t kLongToken = std::size_t{1} << 20;  // no longer one is held in the window...
constexpr std::size_t kMaxTag = std::size_t{4} << 20;     // ... but tags

}  // namespace

Token FileTokens::next() {
  for (;;) {
    Token token = scanner_.next();
    if (token == Token::Incomplete) {
      token = longToken();
      if (token != Token::Incomplete) return token;
      fill(scanner_.begin());
      continue;
    }
    begin_ = origin_ + scanner_.begin();
    end_ = origin_ + scanner_.end();
    if (token == Token::Error) {
      error_ = scanner_.error();
      error_.offset += origin_;
      errorToken_ = origin_ + scanner_.errorToken();
    }
    return token;
  }
}

void FileTokens::resume(std::uint64_t at, const std::vector<std::string>& open) {
  const std::vector<std::string_view> names(open.begin(), open.end());
  if (at < origin_ || at > origin_ + size_) {
    origin_ = at;
    size_ = 0;
    scanner_ = XmlScanner({}, isComplete());
  }
  scanner_.resume(static_cast<std::size_t>(at - origin_), names);
  begin_ = end_ = at;
}

// Reads on, without the first `dropped` bytes of the window.
void FileTokens::fill(std::size_t dropped) {
  window_.erase(0, dropped);
  size_ -= dropped;
  origin_ += dropped;
  if (window_.size() - size_ < kBlock) window_.resize(size_ + std::max(size_, kBlock));
  size_ += text_.read(origin_ + size_, window_.data() + size_, window_.size() - size_);
  scanner_.extend(window(), dropped, isComplete());
}

std::uint64_t FileTokens::findInToken(std::string_view what, std::uint64_t from) {
  if (begin_ < origin_) return text_.find(what, from, end_);
  const std::size_t at = window()
                             .substr(0, static_cast<std::size_t>(end_ - origin_))
                             .find(what, static_cast<std::size_t>(from - origin_));
  return at == std::string_view::npos ? FileText::npos : origin_ + at;
}

// Reads a token that the window cannot hold. Incomplete when it can, up to now.
Token FileTokens::longToken() {
  const std::string_view token = window().substr(scanner_.begin());
  if (token.size() < kLongToken) return Token::Incomplete;
  begin_ = origin_ + scanner_.begin();
  if (token.front() != '<') return characters();
  if (token.starts_with("<!--")) return section(Token::Comment, "-->", 4, commentEnds_);
  if (token.starts_with("<![CDATA[") && scanner_.depth() > 0)
    return section(Token::CData, "]]>", 9, cdataEnds_);
  if (token.size() < kMaxTag) return Token::Incomplete;
  XmlError error;
  error.kind = Kind::TooLarge;
  error.message = "a tag of more than 4 MiB";
  return fail(std::move(error), origin_ + size_);
}

Token FileTokens::section(Token token, std::string_view closing, std::size_t opening,
                          FileSearch& search) {
  const std::uint64_t closed = search.find(text_, closing, begin_ + opening);
  const std::uint64_t end = std::min(closed, text_.size());
  XmlError error;
  if (const std::uint64_t nul = nuls_.find(text_, std::string_view("\0", 1), begin_); nul < end) {
    error.kind = Kind::BadCharacter;
    error.message = "a NUL character";
    return fail(std::move(error), nul);
  }
  if (closed != FileText::npos) return pass(token, end + closing.size());
  error.kind = Kind::UnexpectedEnd;
  error.message = "the text ends inside a comment or a CDATA section";
  return fail(std::move(error), end);
}

// Passes on the part of the character data that is there, but for a reference at its end.
Token FileTokens::characters() {
  std::string_view text = window().substr(scanner_.begin());
  const std::size_t last = text.rfind('&');
  if (last != text.npos && last > 0 &&
      text.find_first_not_of("#xX0123456789abcdefABCDEF", last + 1) == text.npos)
    text = text.substr(0, last);
  XmlScanner scanner(text);
  if (scanner_.depth() > 0) scanner.resume(0, {"x"});
  if (scanner.next() != Token::Error) return pass(Token::Text, begin_ + text.size());
  return fail(scanner.error(), begin_ + scanner.error().offset);
}

Token FileTokens::fail(XmlError error, std::uint64_t offset) {
  error_ = std::move(error);
  error_.offset = static_cast<std::size_t>(offset);
  errorToken_ = std::exchange(begin_, offset);
  end_ = offset;
  return Token::Error;
}

// Continues after a token.
Token FileTokens::pass(Token token, std::uint64_t end) {
  end_ = end;
  if (end > origin_ + size_) {
    origin_ = end;
    size_ = 0;
  }
  const auto rest = static_cast<std::size_t>(end - origin_);
  window_.erase(0, rest);
  size_ -= rest;
  origin_ = end;
  scanner_.continueWith(window(), isComplete());
  return token;
}

}  // namespace tessaron
