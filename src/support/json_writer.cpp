#include "support/json_writer.h"

#include <array>

#include "support/escape.h"
#include "support/text.h"

namespace tessaron {
namespace {

// "\u0000" to "\u009f".
constexpr auto kNumberedEscapes = [] {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::array<std::array<char, 6>, 0xA0> escapes{};
  for (std::size_t unit = 0; unit < escapes.size(); ++unit)
    escapes[unit] = {'\\', 'u', '0', '0', kDigits[unit >> 4], kDigits[unit & 15]};
  return escapes;
}();

std::string_view escapeOf(char16_t unit) {
  switch (unit) {
    case u'"':
      return "\\\"";
    case u'\\':
      return "\\\\";
    case u'\b':
      return "\\b";
    case u'\f':
      return "\\f";
    case u'\n':
      return "\\n";
    case u'\r':
      return "\\r";
    case u'\t':
      return "\\t";
    default:
      if (unit >= kNumberedEscapes.size()) return {};
      return {kNumberedEscapes[unit].data(), kNumberedEscapes[unit].size()};
  }
}

}  // namespace

void JsonWriter::nextPart() {
  if (!isEmpty_) out_ += ',';
  isEmpty_ = false;
  out_ += lineStart_;
}

void JsonWriter::beginValue() {
  if (isArray_.empty() || !isArray_.back()) return;  // behind a key, or alone
  nextPart();
}

void JsonWriter::begin(char bracket) {
  beginValue();
  out_ += bracket;
  isArray_.push_back(bracket == '[');
  lineStart_ += "  ";
  isEmpty_ = true;
}

void JsonWriter::end(char bracket) {
  lineStart_.resize(lineStart_.size() - 2);
  isArray_.pop_back();
  if (!isEmpty_) out_ += lineStart_;
  out_ += bracket;
  isEmpty_ = false;
}

void JsonWriter::key(std::string_view name) {
  nextPart();
  (((out_ += '"') += name) += "\": ");
}

void JsonWriter::key(std::u16string_view name) {
  nextPart();
  out_ += '"';
  appendEscaped<'"', '\\'>(out_, name, escapeOf);
  out_ += "\": ";
}

void JsonWriter::text(std::u16string_view value) {
  beginValue();
  out_ += '"';
  appendEscaped<'"', '\\'>(out_, value, escapeOf);
  out_ += '"';
}

void JsonWriter::number(std::int64_t value) {
  beginValue();
  out_ += std::to_string(value);
}

void JsonWriter::null() {
  beginValue();
  out_ += "null";
}

}  // namespace tessaron
