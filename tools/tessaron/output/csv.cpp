#include "output/csv.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "cli/options.h"

namespace tessaron::tool {
namespace {

using ByteSet = std::array<bool, 256>;

/// All bytes but control characters, the first byte of those above U+007F, and `excluded`.
constexpr ByteSet bytesWithout(std::string_view excluded) {
  ByteSet set{};
  for (std::size_t byte = 0x20; byte < set.size(); ++byte)
    set[byte] =
        byte != 0x7F && byte != 0xC2 && excluded.find(static_cast<char>(byte)) == excluded.npos;
  return set;
}

/// Whether all bytes of the text are in the set.
bool consistsOf(std::string_view text, const ByteSet& set) {
  bool all = true;
  for (const char c : text) all &= set[static_cast<unsigned char>(c)];
  return all;
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
  if (std::string_view("=@\t\r\n").find(text[0]) != std::string_view::npos) return true;
  if (text[0] == '+' || text[0] == '-') return !isNumber(text);
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

/// Puts an apostrophe before each formula: at the start of the text and after each divider.
std::string withoutFormulas(std::string_view text, std::string_view dividers) {
  std::string out = looksLikeFormula(text) ? "'" : "";
  bool isBehindDivider = false;  // only blanks since the divider
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isBehindDivider && text[i] != ' ' && beginsFormula(text.substr(i), dividers)) out += '\'';
    const bool isDivider = dividers.find(text[i]) != dividers.npos;
    isBehindDivider = isDivider || (isBehindDivider && text[i] == ' ');
    out += text[i];
  }
  return out;
}

/// Guards formulas and replaces control characters other than tabs and line ends with U+FFFD.
std::string harmless(std::string_view field, const Dividers& dividers) {
  if (consistsOf(field, dividers.others))
    return std::string(looksLikeFormula(field) ? "'" : "").append(field);
  const std::string text = withoutFormulas(field, dividers.bytes);
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    const bool layout = byte == '\t' || byte == '\r' || byte == '\n';
    const bool c1 = byte == 0xC2 && next >= 0x80 && next < 0xA0;
    if ((byte < 0x20 && !layout) || byte == 0x7F || c1)
      out += "\uFFFD";
    else
      out += text[i];
    if (c1) ++i;
  }
  return out;
}

void appendCsv(std::string& out, std::string_view field) {
  const bool outerBlank = !field.empty() && (field.front() == ' ' || field.back() == ' ');
  if (!outerBlank && field.find_first_of("\",;\t\r\n") == field.npos) {
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
  if (!outerBlank && consistsOf(field, kUnchanged) && !looksLikeFormula(field)) {
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
