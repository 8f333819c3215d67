#include "platform/text_layout.h"

#include <usp10.h>
#include <utf8proc.h>

#include <string>

#include "platform/types.h"
#include "platform/win32/wide.h"

namespace tessaron {
namespace {

/// Calls `visit` with each code point and the offset at which it ends. Bytes that are not UTF-8
/// count as U+FFFD, each.
template <typename Visit>
void forEachCharacter(std::string_view text, Visit visit) {
  for (std::size_t at = 0; at < text.size();) {
    utf8proc_int32_t c = 0;
    const utf8proc_ssize_t size =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + at,
                         static_cast<utf8proc_ssize_t>(text.size() - at), &c);
    at += size > 0 ? static_cast<std::size_t>(size) : 1;
    visit(size > 0 ? c : 0xFFFD, at);
  }
}

std::vector<std::size_t> characterEnds(std::string_view text) {
  std::vector<std::size_t> ends;
  utf8proc_int32_t before = -1, state = 0;
  forEachCharacter(text, [&](utf8proc_int32_t c, std::size_t end) {
    if (before >= 0 && !utf8proc_grapheme_break_stateful(before, c, &state))
      ends.back() = end;
    else
      ends.push_back(end);
    before = c;
  });
  return ends;
}

/// For each unit of a text, whether a line may begin with it; empty when that cannot be told.
std::vector<bool> lineBegins(const std::u16string& text) {
  std::vector<bool> begins(text.size());
  std::vector<SCRIPT_ITEM> items(text.size() + 2);
  int count = 0;
  if (ScriptItemize(wide(text), static_cast<int>(text.size()), static_cast<int>(items.size() - 1),
                    nullptr, nullptr, items.data(), &count) != S_OK)
    return {};
  std::vector<SCRIPT_LOGATTR> attributes(text.size());
  for (int i = 0; i < count; ++i) {
    const int begin = items[i].iCharPos, size = items[i + 1].iCharPos - begin;
    if (ScriptBreak(wide(text) + begin, size, &items[i].a, attributes.data() + begin) != S_OK)
      return {};
  }
  for (std::size_t i = 1; i < text.size(); ++i) begins[i] = attributes[i].fSoftBreak;
  return begins;
}

std::vector<std::size_t> lineEnds(std::string_view text) {
  std::u16string units;
  forEachCharacter(text, [&](utf8proc_int32_t c, std::size_t) {
    if (c > 0xFFFF) units += static_cast<char16_t>(0xD7C0 + (c >> 10));
    units += static_cast<char16_t>(c > 0xFFFF ? 0xDC00 | (c & 0x3FF) : c);
  });
  const std::vector<bool> begins = lineBegins(units);
  if (begins.empty()) return characterEnds(text);
  std::vector<std::size_t> ends;
  std::size_t unit = 0, last = 0;
  forEachCharacter(text, [&](utf8proc_int32_t c, std::size_t end) {
    if (unit < begins.size() && begins[unit]) ends.push_back(last);
    unit += c > 0xFFFF ? 2 : 1;
    last = end;
  });
  ends.push_back(text.size());
  return ends;
}

}  // namespace

int columnsOf(char32_t character) {
  const auto c = static_cast<utf8proc_int32_t>(character);
  constexpr utf8proc_int32_t kSoftHyphen = 0xAD;  // a format character, but terminals show it
  const utf8proc_category_t category = utf8proc_category(c);
  const bool isJoined = category == UTF8PROC_CATEGORY_MN || category == UTF8PROC_CATEGORY_ME ||
                        category == UTF8PROC_CATEGORY_CF;
  if (isJoined && c != kSoftHyphen) return 0;
  if (c >= 0x1160 && c <= 0x11FF) return 0;  // the vowels and finals that join a Hangul syllable
  return utf8proc_charwidth(c) == 2 ? 2 : 1;
}

std::vector<std::size_t> textBreaks(TextBreak kind, std::string_view text) {
  if (text.empty()) return {};
  return kind == TextBreak::Line ? lineEnds(text) : characterEnds(text);
}

}  // namespace tessaron
