#include "support/xml/scanner.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

#include "support/ascii.h"
#include "support/text.h"

namespace tessaron {
namespace {

using Kind = XmlError::Kind;
using Token = XmlScanner::Token;

// More attributes than any document has; TinyXML looks each one up in a list of those before it.
constexpr std::size_t kMaxAttributes = 1024;
constexpr std::string_view kTooManyAttributes = "more than 1024 attributes in a tag";
static_assert(kMaxAttributes == 1024 && kMaxXmlDepth == 256);
constexpr std::string_view kTooDeep = "elements are nested deeper than 256";

// A token that fails this close to the end of an incomplete text may look different with the rest:
// no fixed string that decides about a token is longer.
constexpr std::size_t kLookahead = 16;

enum : unsigned char { kNameStart = 1, kNamePart = 2, kSpace = 4 };

constexpr std::array<unsigned char, 256> kClasses = [] {
  std::array<unsigned char, 256> classes{};
  for (std::size_t c = 0; c < 256; ++c) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c >= 127;
    const bool part = letter || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == ':';
    if (letter) classes[c] |= kNameStart;
    if (part) classes[c] |= kNamePart;
    if (c == ' ' || (c >= '\t' && c <= '\r')) classes[c] |= kSpace;
  }
  return classes;
}();

bool isA(char c, unsigned char what) {
  return (kClasses[static_cast<unsigned char>(c)] & what) != 0;
}

std::size_t skip(std::string_view text, std::size_t at, unsigned char what) {
  while (at < text.size() && isA(text[at], what)) ++at;
  return at;
}

std::size_t skipName(std::string_view text, std::size_t at) {
  return at < text.size() && isA(text[at], kNameStart) ? skip(text, at, kNamePart) : at;
}

// The position of `c` in [from, to), or `to`.
std::size_t findIn(std::string_view text, char c, std::size_t from, std::size_t to) {
  if (from >= to) return to;
  const void* found = std::memchr(text.data() + from, c, to - from);
  return found ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) : to;
}

// The first position of '<', '&' or NUL from `at` on, or the size. Looks at eight bytes at a time.
std::size_t findMarkup(std::string_view text, std::size_t at) {
  static_assert(std::endian::native == std::endian::little);
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  const auto zeros = [](std::uint64_t bytes) { return (bytes - kOnes) & ~bytes & (kOnes << 7); };
  for (; at + 8 <= text.size(); at += 8) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text.data() + at, 8);
    // The lowest bit that is set is exact.
    const std::uint64_t found =
        zeros(bytes) | zeros(bytes ^ kOnes * '<') | zeros(bytes ^ kOnes * '&');
    if (found != 0) return at + static_cast<std::size_t>(std::countr_zero(found)) / 8;
  }
  while (at < text.size() && text[at] != '<' && text[at] != '&' && text[at] != '\0') ++at;
  return at;
}

bool startsWith(std::string_view text, std::size_t at, std::string_view what) {
  return text.substr(at, what.size()) == what;
}

bool startsWithAnyCase(std::string_view text, std::size_t at, std::string_view lower) {
  if (lower.size() > text.size() - at) return false;
  return std::equal(lower.begin(), lower.end(), text.begin() + static_cast<std::ptrdiff_t>(at),
                    [](char a, char b) { return a == lowerLetter(b); });
}

int digitValue(char c, unsigned base) {
  int value = -1;
  if (c >= '0' && c <= '9') value = c - '0';
  if (c >= 'a' && c <= 'f') value = c - 'a' + 10;
  if (c >= 'A' && c <= 'F') value = c - 'A' + 10;
  return value < static_cast<int>(base) ? value : -1;
}

// One "&#...;" regardless of its neighbor. Values beyond Unicode stay beyond it.
bool readOneReference(std::string_view text, std::size_t& at, char32_t& codePoint) {
  if (!startsWith(text, at, "&#")) return false;
  std::size_t i = at + 2;
  const unsigned base = i < text.size() && text[i] == 'x' ? 16 : 10;
  if (base == 16) ++i;
  const std::size_t digits = i;
  char32_t value = 0;
  for (; i < text.size() && digitValue(text[i], base) >= 0; ++i) {
    value = std::min<char32_t>(value * base + static_cast<char32_t>(digitValue(text[i], base)),
                               0x110000);
  }
  if (i == digits || i >= text.size() || text[i] != ';') return false;
  at = i + 1;
  codePoint = value;
  return true;
}

bool isXmlCharacter(char32_t c) {
  if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
  return c < 0xD800 || (c >= 0xE000 && c < 0xFFFE) || (c >= 0x10000 && c <= 0x10FFFF);
}

}  // namespace

std::size_t namedReference(std::string_view text, std::size_t at, char& meaning) {
  constexpr std::pair<std::string_view, char> kNames[] = {
      {"amp;", '&'}, {"lt;", '<'}, {"gt;", '>'}, {"quot;", '"'}, {"apos;", '\''}};
  const std::string_view rest = text.substr(at + 1);
  for (const auto& [name, character] : kNames) {
    if (rest.empty() || rest.front() != name.front() || !rest.starts_with(name)) continue;
    meaning = character;
    return 1 + name.size();
  }
  return 0;
}

bool readReference(std::string_view text, std::size_t& at, char32_t& codePoint) {
  if (!readOneReference(text, at, codePoint)) return false;
  if ((codePoint & 0xFFFFFC00) == 0xD800) {
    std::size_t behind = at;
    char32_t low = 0;
    if (readOneReference(text, behind, low) && (low & 0xFFFFFC00) == 0xDC00) {
      at = behind;
      codePoint = 0x10000 + ((codePoint & 0x3FF) << 10) + (low & 0x3FF);
    }
  }
  if (!isXmlCharacter(codePoint)) codePoint = 0xFFFD;
  return true;
}

void locate(std::string_view text, XmlError& error) {
  const std::string_view before = text.substr(0, error.offset);
  const std::size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is 0
  error.line = 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
  error.column = 1;
  for (std::size_t at = lineStart; at < before.size(); ++error.column) nextUtf8(before, at);
}

Token XmlScanner::fail(Kind kind, std::size_t offset, std::string_view message) {
  // TinyXML takes a NUL for the end of the text.
  if (offset < text_.size() && text_[offset] == '\0') {
    kind = Kind::BadCharacter;
    message = "a NUL character";
  }
  error_.kind = kind;
  error_.offset = offset;
  error_.message = message;
  end_ = offset;
  return Token::Error;
}

// As above, with a name from the text between two parts of the message.
Token XmlScanner::failAt(Kind kind, std::size_t offset, std::string_view before,
                         std::string_view name, std::string_view behind) {
  return fail(kind, offset, std::string(before).append(name).append(behind));
}

// Behind the last byte.
Token XmlScanner::endOfText() {
  if (!open_.empty())
    return failAt(Kind::UnexpectedEnd, begin_, "the text ends inside the element \"", openName(),
                  "\"");
  return rootSeen_ ? Token::Finished : fail(Kind::Empty, begin_, "there is no root element");
}

Token XmlScanner::next() {
  if (stopped_) return error_ ? Token::Error : Token::Finished;
  begin_ = end_;
  hasReferences_ = false;
  name_ = {};
  const Token token = scan();
  const bool touchesEnd =
      token == Token::Text
          ? end_ == text_.size()
          : token == Token::Finished ||
                (token == Token::Error &&
                 (error_.kind == Kind::UnexpectedEnd || error_.kind == Kind::Empty ||
                  error_.offset + kLookahead >= text_.size()));
  if (touchesEnd && !complete_) {
    error_ = {};
    end_ = begin_;
    return Token::Incomplete;
  }
  if (token == Token::Error) errorToken_ = std::exchange(begin_, end_);
  stopped_ = token == Token::Error || token == Token::Finished;
  return token;
}

void XmlScanner::extend(std::string_view text, std::size_t dropped, bool complete) {
  text_ = text;
  complete_ = complete;
  begin_ -= dropped;
  end_ -= dropped;
  searches_ = {};
}

void XmlScanner::continueWith(std::string_view text, bool complete) {
  text_ = text;
  complete_ = complete;
  begin_ = end_ = 0;
  searches_ = {};
}

void XmlScanner::resume(std::size_t at, const std::vector<std::string_view>& open) {
  begin_ = end_ = at;
  openNames_.clear();
  open_.clear();
  for (const std::string_view name : open) push(name);
  rootSeen_ = !open.empty();
  stopped_ = false;
  error_ = {};
}

Token XmlScanner::scan() {
  if (begin_ == text_.size()) return endOfText();
  if (text_[begin_] != '<') return characters();
  const char second = begin_ + 1 < text_.size() ? text_[begin_ + 1] : '\0';
  if (second == '/') return endTag();
  if (isA(second, kNameStart)) return startTag();
  if (second == '?') return instruction();
  if (startsWith(text_, begin_, "<!--"))
    return until("-->", searches_.commentEnd, 4, Token::Comment);
  if (startsWith(text_, begin_, "<![CDATA[")) {
    if (open_.empty()) return fail(Kind::BadCharacter, begin_, "text outside of the root element");
    return until("]]>", searches_.cdataEnd, 9, Token::CData);
  }
  if (startsWith(text_, begin_, "<!DOCTYPE") && open_.empty() && !rootSeen_) return documentType();
  return fail(Kind::BadTag, begin_, "a '<' that begins no tag");
}

Token XmlScanner::characters() {
  if (open_.empty()) {
    end_ = findIn(text_, '<', begin_, text_.size());
    const std::size_t stray = skip(text_, begin_, kSpace);
    if (stray < end_) return fail(Kind::BadCharacter, stray, "text outside of the root element");
    return Token::Text;
  }
  std::size_t at = findMarkup(text_, begin_);
  while (at < text_.size() && text_[at] != '<') {
    if (text_[at] == '\0') return fail(Kind::BadCharacter, at, {});
    if (!reference(at, text_.size())) {
      // The rest of the reference may not be there yet.
      const bool cut = findIn(text_, '<', at, text_.size()) == text_.size();
      return cut && !complete_ ? fail(Kind::UnexpectedEnd, at, {}) : Token::Error;
    }
    at = findMarkup(text_, at);
  }
  end_ = at;
  return Token::Text;
}

// The first NUL in [from, to), or `to`, which is at most the size.
std::size_t XmlScanner::findNul(std::size_t from, std::size_t to) {
  return std::min(searches_.nul.find(text_, std::string_view("\0", 1), from), to);
}

Token XmlScanner::until(std::string_view closing, TextSearch& search, std::size_t from,
                        Token token) {
  const std::size_t at = search.find(text_, closing, begin_ + from);
  const std::size_t contentEnd = std::min(at, text_.size());
  const std::size_t nul = findNul(begin_, contentEnd);
  if (nul < contentEnd) return fail(Kind::BadCharacter, nul, {});
  if (at == text_.npos) {
    return fail(Kind::UnexpectedEnd, text_.size(), "the text ends inside a piece of markup");
  }
  end_ = at + closing.size();
  return token;
}

Token XmlScanner::instruction() {
  if (startsWithAnyCase(text_, begin_, "<?xml")) return declaration();
  const Token token = until(">", searches_.tagEnd, 2, Token::Other);
  if (token == Token::Other && text_[end_ - 2] != '?') {
    return fail(Kind::Unsupported, begin_, "a processing instruction with a '>' in it");
  }
  return token;
}

Token XmlScanner::documentType() {
  const Token token = until(">", searches_.tagEnd, 9, Token::Other);
  const std::string_view content = text_.substr(begin_, end_ - begin_);
  const auto balanced = [&](char quote) {
    return std::count(content.begin(), content.end(), quote) % 2 == 0;
  };
  if (token == Token::Other &&
      (content.find('[') != content.npos || !balanced('"') || !balanced('\''))) {
    return fail(Kind::Unsupported, begin_, "a document type with declarations of its own");
  }
  return token;
}

// TinyXML reads three attributes in a declaration and skips everything else up to a '>'.
Token XmlScanner::declaration() {
  constexpr std::array<std::string_view, 3> kKnown = {"version", "encoding", "standalone"};
  attributes_.clear();
  std::size_t at = begin_ + 5;
  while (at < text_.size() && text_[at] != '\0') {
    if (text_[at] == '>') {
      end_ = at + 1;
      return Token::Declaration;
    }
    at = skip(text_, at, kSpace);
    if (at == text_.size()) break;
    const bool known = std::any_of(kKnown.begin(), kKnown.end(), [&](std::string_view name) {
      return startsWithAnyCase(text_, at, name);
    });
    if (known) {
      if (!attribute(at)) return Token::Error;
      // The encoding is read from what stands before the first '>'.
      const TextRange& value = attributes_.back().value;
      if (findIn(text_, '>', value.begin, value.end) < value.end)
        return fail(Kind::Unsupported, begin_, "a declaration with a '>' in it");
    } else {
      while (at < text_.size() && text_[at] != '>' && text_[at] != '\0' && !isA(text_[at], kSpace))
        ++at;
    }
  }
  return fail(Kind::UnexpectedEnd, at, "the text ends inside a declaration");
}

// Whether the text ends before `at`, inside a tag.
bool XmlScanner::endsBefore(std::size_t at) {
  if (at < text_.size()) return false;
  fail(Kind::UnexpectedEnd, text_.size(), "the text ends inside a tag");
  return true;
}

// Reads an attribute with its value, quoted or bare, and moves `at` past it.
bool XmlScanner::attribute(std::size_t& at) {
  Attribute attribute;
  attribute.name = {at, skipName(text_, at)};
  if (endsBefore(attribute.name.end)) return false;
  if (attribute.name.size() == 0) {
    fail(Kind::BadTag, at, "an attribute's name was expected");
    return false;
  }
  at = skip(text_, attribute.name.end, kSpace);
  if (endsBefore(at)) return false;
  if (text_[at] != '=') {
    fail(Kind::BadTag, at, "an attribute without a value");
    return false;
  }
  at = skip(text_, at + 1, kSpace);
  if (endsBefore(at)) return false;
  attribute.quoted = text_[at] == '"' || text_[at] == '\'';
  if (!(attribute.quoted ? quotedValue(at, attribute) : bareValue(at, attribute))) return false;
  attribute.end = at;
  attributes_.push_back(attribute);
  return true;
}

bool XmlScanner::quotedValue(std::size_t& at, Attribute& attribute) {
  const char quote = text_[at];
  const std::size_t begin = at + 1;
  std::size_t end = begin;
  bool hasAmpersand = false;
  for (; end < text_.size() && text_[end] != quote && text_[end] != '\0'; ++end)
    hasAmpersand = hasAmpersand || text_[end] == '&';
  if (end == text_.size() || text_[end] == '\0') {
    fail(Kind::UnexpectedEnd, end, "the text ends inside an attribute's value");
    return false;
  }
  attribute.value = {begin, end};
  at = end + 1;
  if (!hasAmpersand) return true;
  for (std::size_t i = findIn(text_, '&', begin, end); i < end; i = findIn(text_, '&', i, end)) {
    if (!reference(i, end)) return false;
  }
  return true;
}

// Bare values are a common error that TinyXML forgives. References in them stay text.
bool XmlScanner::bareValue(std::size_t& at, Attribute& attribute) {
  const std::size_t begin = at;
  for (; at < text_.size() && !isA(text_[at], kSpace) && text_[at] != '/' && text_[at] != '>';
       ++at) {
    if (text_[at] == '"' || text_[at] == '\'' || text_[at] == '\0') {
      fail(Kind::BadTag, at, "a quotation mark inside a bare attribute value");
      return false;
    }
  }
  attribute.value = {begin, at};
  return !endsBefore(at);
}

bool XmlScanner::isDuplicate(std::string_view attributeName) const {
  return std::any_of(attributes_.begin(), attributes_.end() - 1,
                     [&](const Attribute& other) { return other.name.of(text_) == attributeName; });
}

// Reads the attributes of a tag and moves `at` to the '>' or '/' behind them.
bool XmlScanner::readAttributes(std::size_t& at) {
  attributes_.clear();
  for (;;) {
    if (at < text_.size() && text_[at] == '>') return true;  // as nearly all tags go on
    at = skip(text_, at, kSpace);
    if (endsBefore(at)) return false;
    if (text_[at] == '>' || text_[at] == '/') return true;
    const std::size_t from = at;
    if (!attribute(at)) return false;
    const std::string_view added = attributes_.back().name.of(text_);
    if (isDuplicate(added)) {
      failAt(Kind::DuplicateAttribute, from, "the attribute \"", added, "\" stands twice in a tag");
      return false;
    }
    if (attributes_.size() > kMaxAttributes) {
      fail(Kind::BadTag, from, kTooManyAttributes);
      return false;
    }
  }
}

Token XmlScanner::startTag() {
  std::size_t at = skip(text_, begin_ + 1, kNamePart);
  const std::string_view name = text_.substr(begin_ + 1, at - begin_ - 1);
  if (open_.empty() && rootSeen_) return fail(Kind::BadTag, begin_, "a second root element");
  if (open_.size() == kMaxXmlDepth) return fail(Kind::TooDeep, begin_, kTooDeep);
  if (!readAttributes(at)) return Token::Error;
  const bool empty = text_[at] == '/';
  if (empty && endsBefore(++at)) return Token::Error;
  if (text_[at] != '>') return fail(Kind::BadTag, at, "a '>' was expected behind a '/'");
  end_ = at + 1;
  name_ = name;
  rootSeen_ = true;
  if (empty) return Token::Empty;
  push(name);
  return Token::Start;
}

Token XmlScanner::endTag() {
  const std::string_view expected = open_.empty() ? std::string_view() : openName();
  const std::size_t closing = begin_ + 2 + expected.size();
  if (!expected.empty() && closing < text_.size() && text_[closing] == '>' &&
      startsWith(text_, begin_ + 2, expected)) {  // as nearly all are
    end_ = closing + 1;
    name_ = text_.substr(begin_ + 2, expected.size());
    pop();
    return Token::End;
  }
  const std::size_t nameEnd = skipName(text_, begin_ + 2);
  if (endsBefore(nameEnd)) return Token::Error;
  const std::string_view name = text_.substr(begin_ + 2, nameEnd - begin_ - 2);
  if (open_.empty()) return fail(Kind::MismatchedEnd, begin_, "an end tag without a start tag");
  if (name != openName())
    return failAt(Kind::MismatchedEnd, begin_, "the element \"", openName(),
                  "\" is still open here");
  const std::size_t at = skip(text_, nameEnd, kSpace);
  if (endsBefore(at)) return Token::Error;
  if (text_[at] != '>') return fail(Kind::BadTag, at, "a '>' was expected");
  end_ = at + 1;
  name_ = name;
  pop();
  return Token::End;
}

// Checks what the ampersand at `at` begins and moves past it. An ampersand that begins nothing is
// forgiven, as TinyXML does, but for a numeric reference.
bool XmlScanner::reference(std::size_t& at, std::size_t limit) {
  hasReferences_ = true;
  const std::size_t begin = at;
  char32_t codePoint = 0;
  if (at + 1 == limit || text_[at + 1] != '#') {
    ++at;
    return true;
  }
  if (readReference(text_.substr(0, limit), at, codePoint)) return true;
  fail(Kind::BadReference, begin, "a malformed numeric character reference");
  return false;
}

}  // namespace tessaron
