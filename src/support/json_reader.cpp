#include "support/json_reader.h"

#include <optional>
#include <span>
#include <utility>

#include "support/text.h"

namespace tessaron {
namespace {

constexpr std::size_t kBlock = std::size_t{64} << 10;
constexpr int kEnd = -1;

bool isDigit(int c) { return c >= '0' && c <= '9'; }

// A character as an error message shows it.
std::string quoted(int c) {
  if (c == kEnd) return "the end of the file";
  if (c < 0x20 || c >= 0x7F) return "a character that cannot be there";
  return std::string("'") + static_cast<char>(c) + '\'';
}

}  // namespace

JsonReader::JsonReader(File& file) : file_(file) {
  for (const int mark : {0xEF, 0xBB, 0xBF})
    if (peek() == mark) ++at_;
}

// Reads the next block. False at the end.
bool JsonReader::fill() {
  if (ended_) return false;
  before_ += block_.size();
  block_.resize(kBlock);
  const std::optional<std::size_t> got = file_.read(std::as_writable_bytes(std::span(block_)));
  unreadable_ = !got;
  block_.resize(got.value_or(0));
  at_ = 0;
  ended_ = block_.empty();
  return !ended_;
}

// The next byte, or kEnd.
int JsonReader::peek() {
  return at_ < block_.size() || fill() ? static_cast<unsigned char>(block_[at_]) : kEnd;
}

// Moves past the byte that `peek` gave.
void JsonReader::advance() {
  const char c = block_[at_++];
  if (c == '\n') {
    ++place_.line;
    place_.column = 1;
  } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
    ++place_.column;
  }
}

void JsonReader::skipBlanks() {
  for (int c = peek(); c == ' ' || c == '\t' || c == '\n' || c == '\r'; c = peek()) advance();
}

JsonReader::Token JsonReader::fail(std::string message) {
  error_ = unreadable_ ? "the file cannot be read" : std::move(message);
  return Token::Error;
}

JsonReader::Token JsonReader::next() {
  if (token_ != Token::End && token_ != Token::Error) token_ = scan();
  return token_;
}

// Moves to the first byte of a token, past a colon or a comma that is to come. False when the colon
// is missing.
bool JsonReader::skipSeparator() {
  skipBlanks();
  const int c = peek();
  const bool isComma = expect_ == Expect::CommaOrEnd && c == ',';
  if (expect_ == Expect::Colon && c != ':') {
    tokenPlace_ = place_;
    return false;
  }
  if (isComma || expect_ == Expect::Colon) {
    advance();
    expect_ = isComma && !inArray() ? Expect::Key : Expect::Value;
    skipBlanks();
  }
  tokenPlace_ = place_;
  return true;
}

JsonReader::Token JsonReader::scan() {
  if (!skipSeparator()) return fail("a colon is missing; there is " + quoted(peek()));
  const int c = peek();
  const bool isEnd = c == '}' || c == ']';
  switch (expect_) {
    case Expect::Nothing:
      if (c == kEnd && !unreadable_) return Token::End;
      return fail("the document goes on with " + quoted(c) + " behind its end");
    case Expect::CommaOrEnd:
      if (isEnd) return close(static_cast<char>(c));
      return fail("a comma or a closing bracket is missing; there is " + quoted(c));
    case Expect::Key:
    case Expect::KeyOrEnd:
      if (c == '}' && expect_ == Expect::KeyOrEnd) return close('}');
      if (c == '"') return string(Token::Key);
      return fail("a key in quotation marks is missing; there is " + quoted(c));
    default:
      if (c == ']' && expect_ == Expect::ValueOrEnd) return close(']');
      if (c == kEnd) return fail("a value is missing; there is " + quoted(c));
      return value(static_cast<char>(c));
  }
}

JsonReader::Token JsonReader::value(char first) {
  expect_ = open_.empty() ? Expect::Nothing : Expect::CommaOrEnd;
  switch (first) {
    case '{':
    case '[':
      return open(first);
    case '"':
      return string(Token::Text);
    case 't':
      return word("true", Token::True);
    case 'f':
      return word("false", Token::False);
    case 'n':
      return word("null", Token::Null);
    default:
      if (first == '-' || isDigit(first)) return number();
      return fail("a value is missing; there is " + quoted(static_cast<unsigned char>(first)));
  }
}

JsonReader::Token JsonReader::open(char bracket) {
  if (open_.size() == kMaxDepth) return fail("objects and lists are nested too deeply");
  advance();
  open_ += bracket;
  const bool isArray = bracket == '[';
  expect_ = isArray ? Expect::ValueOrEnd : Expect::KeyOrEnd;
  return isArray ? Token::BeginArray : Token::BeginObject;
}

JsonReader::Token JsonReader::close(char bracket) {
  if (inArray() != (bracket == ']')) return fail(quoted(bracket) + " closes nothing here");
  advance();
  open_.pop_back();
  expect_ = open_.empty() ? Expect::Nothing : Expect::CommaOrEnd;
  return bracket == ']' ? Token::EndArray : Token::EndObject;
}

JsonReader::Token JsonReader::word(std::string_view letters, Token token) {
  for (const char letter : letters) {
    if (peek() != letter) return fail("a word that is none of true, false and null");
    advance();
  }
  return token;
}

// Appends digits to the text. False when there is none.
bool JsonReader::digits() {
  const std::size_t before = text_.size();
  for (int c = peek(); isDigit(c) && text_.size() < kMaxText; c = peek()) {
    text_ += static_cast<char>(c);
    advance();
  }
  return text_.size() > before;
}

JsonReader::Token JsonReader::number() {
  text_.clear();
  const auto take = [this](int c) {
    text_ += static_cast<char>(c);
    advance();
  };
  if (peek() == '-') take('-');
  const std::size_t first = text_.size();
  if (!digits() || (text_[first] == '0' && text_.size() > first + 1))
    return fail("a malformed number");
  if (peek() == '.') {
    take('.');
    if (!digits()) return fail("a malformed number");
  }
  if (peek() == 'e' || peek() == 'E') {
    take('e');
    if (peek() == '+' || peek() == '-') take(peek());
    if (!digits()) return fail("a malformed number");
  }
  return Token::Number;
}

JsonReader::Token JsonReader::string(Token token) {
  text_.clear();
  highEnd_ = 0;
  if (token == Token::Key) expect_ = Expect::Colon;
  advance();
  for (int c = peek(); c != '"'; c = peek()) {
    if (c == kEnd) return fail("a text without its closing quotation mark");
    if (c < 0x20) return fail("a control character in a text");
    if (text_.size() >= kMaxText) return fail("a text of more than 64 MiB");
    if (c != '\\') {
      text_ += static_cast<char>(c);
      advance();
      continue;
    }
    if (!escape()) {
      tokenPlace_ = place_;
      return fail("an unknown escape in a text");
    }
  }
  advance();
  return findIllFormed(text_) == text_.npos ? token : fail("a text with bytes that are no UTF-8");
}

// Reads four hexadecimal digits.
bool JsonReader::hexUnit(char32_t& unit) {
  unit = 0;
  for (int i = 0; i < 4; ++i) {
    const int c = peek();
    const int lower = c | 0x20;
    if (!isDigit(c) && (lower < 'a' || lower > 'f')) return false;
    unit = unit * 16 + static_cast<char32_t>(isDigit(c) ? c - '0' : lower - 'a' + 10);
    advance();
  }
  return true;
}

// Reads an escape at its backslash. A surrogate without its partner becomes U+FFFD.
bool JsonReader::escape() {
  constexpr std::string_view kLetters = "\"\\/bfnrt", kMeanings = "\"\\/\b\f\n\r\t";
  constexpr std::size_t kReplacementSize = 3;
  advance();
  const int c = peek();
  if (c == kEnd) return false;
  if (const std::size_t at = kLetters.find(static_cast<char>(c)); at != kLetters.npos) {
    text_ += kMeanings[at];
    advance();
    return true;
  }
  if (c != 'u') return false;
  advance();
  char32_t unit = 0;
  if (!hexUnit(unit)) return false;
  if ((unit & 0xFC00) == 0xDC00 && highEnd_ > 0 && highEnd_ == text_.size()) {
    text_.resize(highEnd_ - kReplacementSize);
    unit = 0x10000 + ((high_ & 0x3FF) << 10) + (unit & 0x3FF);
  }
  appendUtf8(text_, unit);
  high_ = unit;
  highEnd_ = (unit & 0xFC00) == 0xD800 ? text_.size() : 0;
  return true;
}

void JsonReader::skipValue() {
  std::size_t depth = 0;
  for (;;) {
    const bool opens = token_ == Token::BeginObject || token_ == Token::BeginArray;
    const bool closes = token_ == Token::EndObject || token_ == Token::EndArray;
    if (opens) ++depth;
    if (closes) --depth;
    if (depth == 0 || token_ == Token::Error || token_ == Token::End) return;
    next();
  }
}

}  // namespace tessaron
