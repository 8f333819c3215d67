#include "support/formulas.h"

#include <algorithm>
#include <cstdint>

namespace tessaron {
namespace {

// Whether the text is a plain number (sign, digits, point), which a spreadsheet reads as such.
bool isNumber(std::string_view text) {
  bool digits = false;
  bool point = false;
  for (std::size_t i = text[0] == '+' || text[0] == '-' ? 1 : 0; i < text.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (!digit && (text[i] != '.' || point)) return false;
    digits = digits || digit;
    point = point || !digit;
  }
  return digits;
}

// Whether a cell that starts with `rest` and ends at a divider is a formula. Ignores leading
// quotation marks, which the spreadsheet may have removed.
bool beginsFormula(std::string_view rest, std::string_view dividers) {
  rest.remove_prefix(std::min(rest.find_first_not_of('"'), rest.size()));
  const std::string_view cell = rest.substr(0, rest.find_first_of(dividers));
  const bool isEscaped = cell.find_first_of("\t\r\n") == 0;  // as in tab-separated rows
  return cell.size() > 1 && !isEscaped && looksLikeFormula(cell);
}

// A set of characters below U+0040, which the dividers are.
class DividerSet {
 public:
  explicit DividerSet(std::string_view dividers) {
    for (const char c : dividers) bits_ |= std::uint64_t{1} << c;
  }
  bool contains(char c) const {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 64 && (bits_ >> byte & 1) != 0;
  }

 private:
  std::uint64_t bits_ = 0;
};

// Copies the text and calls `visit(at, out)` at each place where a cell begins behind a divider;
// the character there is left out when it returns true.
template <typename Visit>
void copyCells(std::string_view text, std::size_t from, std::string_view dividers, std::string& out,
               Visit visit) {
  const DividerSet set(dividers);
  std::size_t copied = from;
  for (std::size_t at = from; at < text.size();) {
    if (!set.contains(text[at++])) continue;
    while (at < text.size() && text[at] == ' ') ++at;
    if (at == text.size()) break;
    out.append(text, copied, at - copied);
    copied = visit(at, out) ? at + 1 : at;
  }
  out.append(text, copied);
}

}  // namespace

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

std::string guardFormulas(std::string_view text, std::string_view dividers) {
  std::string out = looksLikeFormula(text) ? "'" : "";
  copyCells(text, 0, dividers, out, [&](std::size_t at, std::string& to) {
    if (beginsFormula(text.substr(at), dividers)) to += '\'';
    return false;
  });
  return out;
}

std::string unguardFormulas(std::string_view text, std::string_view dividers) {
  std::string out;
  const bool isGuarded = text.starts_with('\'') && looksLikeFormula(text.substr(1));
  copyCells(text, isGuarded ? 1 : 0, dividers, out, [&](std::size_t at, std::string&) {
    return text[at] == '\'' && beginsFormula(text.substr(at + 1), dividers);
  });
  return out;
}

}  // namespace tessaron
