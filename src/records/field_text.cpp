#include "records/field_text.h"

#include <algorithm>

namespace tessaron {
namespace {

constexpr std::u16string_view kBlanks = u" \t\r\n";

bool isBlank(char16_t unit) {
  return unit == u' ' || unit == u'\t' || unit == u'\r' || unit == u'\n';
}

bool isDropped(std::u16string_view blank, TextRule rule) {
  return rule == TextRule::Value || blank.find_first_of(u"\r\n") != blank.npos;
}

}  // namespace

std::u16string_view trimmed(std::u16string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);  // npos + 1 is 0
}

Indentation indentationOf(std::u16string_view text, TextRule rule) {
  if (text.empty() || !(isBlank(text.front()) || isBlank(text.back()))) return {};
  Indentation blank;
  const std::u16string_view behind = text.substr(text.find_last_not_of(kBlanks) + 1);
  if (isDropped(behind, rule)) blank.behind = behind.size();
  text.remove_suffix(blank.behind);
  const std::size_t before = std::min(text.find_first_not_of(kBlanks), text.size());
  if (isDropped(text.substr(0, before), rule)) blank.before = before;
  return blank;
}

}  // namespace tessaron
