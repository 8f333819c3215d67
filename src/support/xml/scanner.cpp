#include "support/xml/scanner.h"

#include <algorithm>
#include <array>

#include "support/text.h"

namespace tessaron {
namespace {

using Kind = XmlFault::Kind;
using Piece = XmlScanner::Piece;

// More attributes than any document has; the library looks each one up in a list of those before
// it.
constexpr std::size_t kAttributeLimit = 1024;

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isNameStart(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte == '_' || byte >= 127;
}
bool isNamePart(char c) {
  return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == ':';
}

std::size_t skipSpace(std::string_view text, std::size_t at) {
  while (at < text.size() && isSpace(text[at])) ++at;
  return at;
}

std::size_t skipName(std::string_view text, std::size_t at) {
  if (at >= text.size() || !isNameStart(text[at])) return at;
  while (at < text.size() && isNamePart(text[at])) ++at;
  return at;
}

bool startsWith(std::string_view text, std::size_t at, std::string_view what) {
  return text.substr(at, what.size()) == what;
}

bool startsWithAnyCase(std::string_view text, std::size_t at, std::string_view lower) {
  if (lower.size() > text.size() - at) return false;
  return std::equal(lower.begin(), lower.end(), text.begin() + static_cast<std::ptrdiff_t>(at),
                    [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b + 32 : b); });
}

int digitValue(char c, unsigned base) {
  int value = -1;
  if (c >= '0' && c <= '9') value = c - '0';
  if (c >= 'a' && c <= 'f') value = c - 'a' + 10;
  if (c >= 'A' && c <= 'F') value = c - 'A' + 10;
  return value < static_cast<int>(base) ? value : -1;
}

// One "&#...;" without a thought of its neighbour. Values beyond Unicode stay beyond it.
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

bool isNamedReference(std::string_view text, std::size_t at) {
  constexpr std::array<std::string_view, 5> kNames = {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;"};
  return std::any_of(kNames.begin(), kNames.end(),
                     [&](std::string_view name) { return startsWith(text, at, name); });
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

void locate(std::string_view text, XmlFault& fault) {
  const std::string_view before = text.substr(0, fault.offset);
  const std::size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is 0
  fault.line = 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
  fault.column = 1;
  for (std::size_t at = lineStart; at < before.size(); ++fault.column) nextUtf8(before, at);
}

Piece XmlScanner::fail(Kind kind, std::size_t offset, std::string_view message) {
  // What lies behind a NUL is out of the library's sight, and so the text seems to end there.
  if (offset < text_.size() && text_[offset] == '\0') {
    kind = Kind::BadCharacter;
    message = "a NUL character";
  }
  fault_.kind = kind;
  fault_.offset = offset;
  fault_.message = message;
  faultyToken_ = begin_;
  begin_ = end_ = offset;
  stopped_ = true;
  return Piece::Faulty;
}

void XmlScanner::resume(std::size_t at, const std::vector<std::string_view>& open) {
  begin_ = end_ = at;
  open_ = open;
  rootSeen_ = !open.empty();
  needsRewriting_ = stopped_ = false;
  fault_ = {};
}

Piece XmlScanner::next() {
  if (stopped_) return fault_ ? Piece::Faulty : Piece::Finished;
  begin_ = end_;
  needsRewriting_ = false;
  name_ = {};
  if (begin_ == text_.size()) {
    if (!open_.empty()) {
      return fail(Kind::UnexpectedEnd, begin_,
                  "the text ends inside the element \"" + std::string(open_.back()) + '"');
    }
    if (!rootSeen_) return fail(Kind::Empty, begin_, "there is no root element");
    stopped_ = true;
    return Piece::Finished;
  }

  if (text_[begin_] != '<') {
    end_ = std::min(text_.find('<', begin_), text_.size());
    if (open_.empty()) {
      const std::size_t stray = skipSpace(text_, begin_);
      if (stray < end_) return fail(Kind::BadCharacter, stray, "text outside of the root element");
      return Piece::Text;
    }
    std::size_t nul = 0;
    if (isNulBefore(begin_, end_, nul)) return fail(Kind::BadCharacter, nul, {});
    return references(begin_, end_) ? Piece::Text : Piece::Faulty;
  }
  if (startsWith(text_, begin_, "</")) return endTag();
  if (begin_ + 1 < text_.size() && isNameStart(text_[begin_ + 1])) return startTag();
  if (startsWith(text_, begin_, "<!--")) return until("-->", commentEnd_, 4, Piece::Comment);
  if (startsWith(text_, begin_, "<![CDATA[")) {
    if (open_.empty()) return fail(Kind::BadCharacter, begin_, "text outside of the root element");
    return until("]]>", cdataEnd_, 9, Piece::CData);
  }
  if (startsWithAnyCase(text_, begin_, "<?xml")) return declaration();
  if (startsWith(text_, begin_, "<?")) {
    const Piece piece = until(">", tagEnd_, 2, Piece::Other);
    if (piece == Piece::Other && text_[end_ - 2] != '?') {
      return fail(Kind::Unsupported, begin_, "a processing instruction with a '>' in it");
    }
    return piece;
  }
  if (startsWith(text_, begin_, "<!DOCTYPE") && open_.empty() && !rootSeen_) {
    const Piece piece = until(">", tagEnd_, 9, Piece::Other);
    const std::string_view content = text_.substr(begin_, end_ - begin_);
    const auto balanced = [&](char quote) {
      return std::count(content.begin(), content.end(), quote) % 2 == 0;
    };
    if (piece == Piece::Other &&
        (content.find('[') != content.npos || !balanced('"') || !balanced('\''))) {
      return fail(Kind::Unsupported, begin_, "a document type with declarations of its own");
    }
    return piece;
  }
  return fail(Kind::BadTag, begin_, "a '<' that begins no tag");
}

bool XmlScanner::isNulBefore(std::size_t from, std::size_t to, std::size_t& at) {
  at = nul_.find(text_, std::string_view("\0", 1), from);
  return at < std::min(to, text_.size());
}

Piece XmlScanner::until(std::string_view closing, TokenSearch& search, std::size_t from,
                        Piece piece) {
  const std::size_t at = search.find(text_, closing, begin_ + from);
  std::size_t nul = 0;
  if (isNulBefore(begin_, at, nul)) return fail(Kind::BadCharacter, nul, {});
  if (at == text_.npos) {
    return fail(Kind::UnexpectedEnd, text_.size(), "the text ends inside a piece of markup");
  }
  end_ = at + closing.size();
  return piece;
}

// The library reads three attributes in a declaration and skips everything else up to a '>'.
Piece XmlScanner::declaration() {
  constexpr std::array<std::string_view, 3> kKnown = {"version", "encoding", "standalone"};
  std::size_t at = begin_ + 5;
  while (at < text_.size() && text_[at] != '\0') {
    if (text_[at] == '>') {
      end_ = at + 1;
      return Piece::Declaration;
    }
    at = skipSpace(text_, at);
    if (at == text_.size()) break;
    const bool known = std::any_of(kKnown.begin(), kKnown.end(), [&](std::string_view name) {
      return startsWithAnyCase(text_, at, name);
    });
    if (known) {
      std::string_view name;
      if (!attribute(at, name)) return Piece::Faulty;
    } else {
      while (at < text_.size() && text_[at] != '>' && text_[at] != '\0' && !isSpace(text_[at]))
        ++at;
    }
  }
  return fail(Kind::UnexpectedEnd, at, "the text ends inside a declaration");
}

// An attribute with its value, quoted or bare. Moves `at` behind it.
bool XmlScanner::attribute(std::size_t& at, std::string_view& name) {
  const auto ended = [&](std::size_t where) {
    if (where < text_.size()) return false;
    fail(Kind::UnexpectedEnd, text_.size(), "the text ends inside a tag");
    return true;
  };
  const std::size_t nameEnd = skipName(text_, at);
  if (ended(nameEnd)) return false;
  if (nameEnd == at) {
    fail(Kind::BadTag, at, "an attribute's name was expected");
    return false;
  }
  name = text_.substr(at, nameEnd - at);
  std::size_t value = skipSpace(text_, nameEnd);
  if (ended(value)) return false;
  if (text_[value] != '=') {
    fail(Kind::BadTag, value, "an attribute without a value");
    return false;
  }
  value = skipSpace(text_, value + 1);
  if (ended(value)) return false;

  const char quote = text_[value];
  if (quote == '"' || quote == '\'') {
    at = (quote == '"' ? quote_ : apostrophe_).find(text_, {&quote, 1}, value + 1);
    std::size_t nul = 0;
    if (isNulBefore(value, at, nul)) {
      fail(Kind::BadCharacter, nul, {});
      return false;
    }
    if (at == text_.npos) {
      fail(Kind::UnexpectedEnd, text_.size(), "the text ends inside an attribute's value");
      return false;
    }
    if (!references(value + 1, at)) return false;
    ++at;
    return true;
  }
  // Bare values are a common error that the library forgives. References in them stay text.
  for (at = value; at < text_.size() && !isSpace(text_[at]) && text_[at] != '/' && text_[at] != '>';
       ++at) {
    if (text_[at] == '"' || text_[at] == '\'' || text_[at] == '\0') {
      fail(Kind::BadTag, at, "a quotation mark inside a bare attribute value");
      return false;
    }
  }
  return !ended(at);
}

Piece XmlScanner::startTag() {
  std::size_t at = skipName(text_, begin_ + 1);
  const std::string_view name = text_.substr(begin_ + 1, at - begin_ - 1);
  if (open_.empty() && rootSeen_) return fail(Kind::BadTag, begin_, "a second root element");
  if (open_.size() == kXmlDepthLimit) {
    return fail(Kind::TooDeep, begin_,
                "elements are nested deeper than " + std::to_string(kXmlDepthLimit));
  }
  attributes_.clear();
  for (;;) {
    at = skipSpace(text_, at);
    if (at >= text_.size()) return fail(Kind::UnexpectedEnd, at, "the text ends inside a tag");
    if (text_[at] == '>' || text_[at] == '/') break;
    const std::size_t from = at;
    std::string_view attributeName;
    if (!attribute(at, attributeName)) return Piece::Faulty;
    if (std::find(attributes_.begin(), attributes_.end(), attributeName) != attributes_.end()) {
      return fail(Kind::DuplicateAttribute, from,
                  "the attribute \"" + std::string(attributeName) + "\" stands twice in a tag");
    }
    if (attributes_.size() == kAttributeLimit) {
      return fail(Kind::BadTag, from,
                  "more than " + std::to_string(kAttributeLimit) + " attributes in a tag");
    }
    attributes_.push_back(attributeName);
  }
  const bool empty = text_[at] == '/';
  if (empty && ++at == text_.size())
    return fail(Kind::UnexpectedEnd, at, "the text ends inside a tag");
  if (text_[at] != '>') return fail(Kind::BadTag, at, "a '>' was expected behind a '/'");
  end_ = at + 1;
  name_ = name;
  rootSeen_ = true;
  if (empty) return Piece::Empty;
  open_.push_back(name);
  return Piece::Start;
}

Piece XmlScanner::endTag() {
  const std::size_t nameEnd = skipName(text_, begin_ + 2);
  const std::string_view name = text_.substr(begin_ + 2, nameEnd - begin_ - 2);
  if (nameEnd == text_.size())
    return fail(Kind::UnexpectedEnd, nameEnd, "the text ends inside a tag");
  if (open_.empty()) return fail(Kind::MismatchedEnd, begin_, "an end tag without a start tag");
  if (name != open_.back()) {
    return fail(Kind::MismatchedEnd, begin_,
                "the element \"" + std::string(open_.back()) + "\" is still open here");
  }
  const std::size_t at = skipSpace(text_, nameEnd);
  if (at >= text_.size()) return fail(Kind::UnexpectedEnd, at, "the text ends inside a tag");
  if (text_[at] != '>') return fail(Kind::BadTag, at, "a '>' was expected");
  end_ = at + 1;
  name_ = name;
  open_.pop_back();
  return Piece::End;
}

// Checks the references in a range. Other ampersands are forgiven, as the library does.
bool XmlScanner::references(std::size_t from, std::size_t to) {
  const std::string_view range = text_.substr(0, to);
  for (std::size_t at = range.find('&', from); at != range.npos; at = range.find('&', at)) {
    if (at + 1 == to || range[at + 1] != '#') {
      needsRewriting_ = needsRewriting_ || !isNamedReference(range, at);
      ++at;
      continue;
    }
    const std::size_t begin = at;
    char32_t codePoint = 0;
    if (!readReference(range, at, codePoint)) {
      fail(Kind::BadReference, begin, "a numeric character reference that is none");
      return false;
    }
    needsRewriting_ = needsRewriting_ || codePoint > 127;
  }
  return true;
}

}  // namespace tessaron
