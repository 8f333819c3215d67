#include "output/csv.h"

#include <array>

#include "cli/options.h"
#include "support/formulas.h"

namespace tessaron::tool {
namespace {

using ByteSet = std::array<bool, 256>;

consteval ByteSet allBytesBut(std::string_view excluded) {
  ByteSet set{};
  for (std::size_t byte = 0; byte < set.size(); ++byte)
    set[byte] = excluded.find(static_cast<char>(byte)) == excluded.npos;
  return set;
}

constexpr ByteSet kUnquoted = allBytesBut("\",;\t\r\n");  // in CSV

/// All bytes but control characters, the first byte of those above U+007F, and `excluded`.
consteval ByteSet bytesWithout(std::string_view excluded) {
  ByteSet set = allBytesBut(excluded);
  for (std::size_t byte = 0; byte < 0x20; ++byte) set[byte] = false;
  set[0x7F] = set[0xC2] = false;
  return set;
}

/// Where the text's first byte is that is not in the set; its size if there is none.
std::size_t findOther(std::string_view text, std::size_t at, const ByteSet& set) {
  while (at < text.size() && set[static_cast<unsigned char>(text[at])]) ++at;
  return at;
}

constexpr ByteSet kUnchanged = bytesWithout("\",;\\");  // in every form, as most texts

constexpr ByteSet kPlainInCsv = bytesWithout(";");  // neither dividers nor control characters
constexpr ByteSet kPlainInTsv = bytesWithout(",;");
constexpr ByteSet kNoControl = bytesWithout("");

/// Appends the character at `at` (or its first byte), U+FFFD for a control character other than
/// tabs and line ends. Returns its size.
std::size_t appendHarmless(std::string& out, std::string_view text, std::size_t at) {
  const auto byte = static_cast<unsigned char>(text[at]);
  const auto next = static_cast<unsigned char>(at + 1 < text.size() ? text[at + 1] : 0);
  const bool isLayout = byte == '\t' || byte == '\r' || byte == '\n';
  const bool isC1 = byte == 0xC2 && next >= 0x80 && next < 0xA0;
  if ((byte < 0x20 && !isLayout) || byte == 0x7F || isC1)
    out += "\uFFFD";
  else
    out += text[at];
  return isC1 ? 2 : 1;
}

/// Whether `harmless` changes nothing.
bool isHarmless(std::string_view field, bool isTsv) {
  return findOther(field, 0, isTsv ? kPlainInTsv : kPlainInCsv) == field.size() &&
         !looksLikeFormula(field);
}

/// Guards formulas and replaces control characters other than tabs and line ends with U+FFFD.
std::string harmless(std::string_view field, bool isTsv) {
  const std::string text = guardFormulas(field, isTsv ? kTsvDividers : kCsvDividers);
  std::string out;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = findOther(text, at, kNoControl);
    out.append(text, at, end - at);
    at = end < text.size() ? end + appendHarmless(out, text, end) : end;
  }
  return out;
}

void appendCsv(std::string& out, std::string_view field) {
  const bool outerBlank = !field.empty() && (field.front() == ' ' || field.back() == ' ');
  if (!outerBlank && findOther(field, 0, kUnquoted) == field.size()) {
    out += field;
    return;
  }
  out += '"';
  for (std::size_t at; (at = field.find('"')) != field.npos; field.remove_prefix(at + 1))
    out.append(field, 0, at + 1) += '"';
  out.append(field) += '"';
}

void appendTsv(std::string& out, std::string_view field) {
  for (const char c : field) {
    constexpr std::string_view kEscaped = "\t\n\r\\";
    const std::size_t at = kEscaped.find(c);
    if (at != kEscaped.npos) out += '\\';
    out += at != kEscaped.npos ? "tnr\\"[at] : c;
  }
}

}  // namespace

void RowWriter::add(std::string_view field) {
  if (!isEmpty_) out_ += isTsv_ ? '\t' : ',';
  isEmpty_ = false;
  if (field.empty()) return;  // as most are
  const bool outerBlank = field.front() == ' ' || field.back() == ' ';
  if (!outerBlank && findOther(field, 0, kUnchanged) == field.size() && !looksLikeFormula(field)) {
    out_ += field;
    return;
  }
  std::string guarded;
  if (!isHarmless(field, isTsv_)) field = guarded = harmless(field, isTsv_);
  isTsv_ ? appendTsv(out_, field) : appendCsv(out_, field);
}

void RowWriter::end() {
  out_ += isTsv_ ? "\n" : "\r\n";
  isEmpty_ = true;
}

std::string separatedRow(Form form, const std::vector<std::string>& fields) {
  std::string text;
  RowWriter row(form, text);
  for (const std::string& field : fields) row.add(field);
  row.end();
  return text;
}

}  // namespace tessaron::tool
