#include "output/csv.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "cli/options.h"

namespace tessaron::tool {
namespace {

using ByteSet = std::array<bool, 256>;

constexpr ByteSet allBytesBut(std::string_view excluded) {
  ByteSet set{};
  for (std::size_t byte = 0; byte < set.size(); ++byte)
    set[byte] = excluded.find(static_cast<char>(byte)) == excluded.npos;
  return set;
}

constexpr ByteSet kUnquoted = allBytesBut("\",;\t\r\n");  // in CSV

/// All bytes but control characters, the first byte of those above U+007F, and `excluded`.
constexpr ByteSet bytesWithout(std::string_view excluded) {
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

/// Whether the text is a plain number (sign, digits, point), which a spreadsheet reads as such.
bool isNumber(std::string_view text) {
  bool digits = false;
  bool point = false;
  for (std::size_t i = text[0] == '+' || text[0] == '-' ? 1 : 0; i < text.size(); ++i) {
    const bool digit = std::isdigit(static_cast<unsigned char>(text[i])) != 0;
    if (!digit && (text[i] != '.' || point)) return false;
    digits = digits || digit;
    point = point || !digit;
  }
  return digits;
}

bool looksLikeFormula(std::string_view text) {
  if (text.empty()) return false;
  const char first = text[0];
  if (first == '=' || first == '@' || first == '\t' || first == '\r' || first == '\n') return true;
  if (first == '+' || first == '-') return !isNumber(text);
  if (first != '\xEF') return false;
  for (const std::string_view wide : {"＝", "＋", "－", "＠"})  // accepted by some spreadsheets
    if (text.starts_with(wide)) return true;
  return false;
}

/// The characters at which spreadsheets may split a field: in many locales they split CSV at
/// semicolons and respect quotation marks only at the start of such a cell; some split
/// tab-separated rows at commas and semicolons too.
struct Dividers {
  std::string_view bytes;
  ByteSet others;  ///< those that neither divide nor are control characters
};
constexpr Dividers kCsvDividers = {";\t\r\n", bytesWithout(";")};
constexpr Dividers kTsvDividers = {",;", bytesWithout(",;")};

/// Whether a cell that starts with `rest` and ends at a divider is a formula. Ignores leading
/// quotation marks, which the spreadsheet may have removed.
bool beginsFormula(std::string_view rest, std::string_view dividers) {
  rest.remove_prefix(std::min(rest.find_first_not_of('"'), rest.size()));
  const std::string_view cell = rest.substr(0, rest.find_first_of(dividers));
  const bool isEscaped = cell.find_first_of("\t\r\n") == 0;  // as in tab-separated rows
  return cell.size() > 1 && !isEscaped && looksLikeFormula(cell);
}

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

/// The field with an apostrophe before each formula, at its start and after each divider, and
/// without control characters.
std::string harmless(std::string_view field, const Dividers& dividers) {
  std::string out = looksLikeFormula(field) ? "'" : "";
  bool isBehindDivider = false;  // only blanks since the divider
  for (std::size_t at = 0; at < field.size();) {
    if (!isBehindDivider) {
      const std::size_t end = findOther(field, at, dividers.others);
      out += field.substr(at, end - at);
      at = end;
      if (at == field.size()) break;
    } else if (field[at] != ' ' && beginsFormula(field.substr(at), dividers.bytes)) {
      out += '\'';
    }
    const bool isDivider = dividers.bytes.find(field[at]) != dividers.bytes.npos;
    isBehindDivider = isDivider || (isBehindDivider && field[at] == ' ');
    at += appendHarmless(out, field, at);
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
  const bool outerBlank = !field.empty() && (field.front() == ' ' || field.back() == ' ');
  if (!outerBlank && findOther(field, 0, kUnchanged) == field.size() && !looksLikeFormula(field)) {
    out_ += field;
    return;
  }
  const std::string text = harmless(field, isTsv_ ? kTsvDividers : kCsvDividers);
  isTsv_ ? appendTsv(out_, text) : appendCsv(out_, text);
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
