#include "csv.h"

#include <cctype>

namespace tessaron::tool {
namespace {

/// Whether a spreadsheet would read the text as the number that it spells: a sign, digits, a point.
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
  for (const std::string_view wide : {"＝", "＋", "－", "＠"})  // some spreadsheets take these, too
    if (text.starts_with(wide)) return true;
  return false;
}

}  // namespace

std::string csvField(std::string_view text) {
  std::string field = looksLikeFormula(text) ? "'" : "";
  bool quote = !text.empty() && (text.front() == ' ' || text.back() == ' ');
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    const bool layout = byte == '\t' || byte == '\r' || byte == '\n';
    if ((byte < 0x20 && !layout) || byte == 0x7F) {
      field += "\uFFFD";
    } else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {
      field += "\uFFFD";
      ++i;
    } else {
      if (byte == '"') field += '"';
      field += text[i];
      quote = quote || layout || byte == '"' || byte == ',';
    }
  }
  return quote ? '"' + field + '"' : field;
}

std::string csvRow(const std::vector<std::string>& fields) {
  std::string row;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i > 0) row += ',';
    row += csvField(fields[i]);
  }
  return row + "\r\n";
}

}  // namespace tessaron::tool
