#include "support/text.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "platform/text.h"

namespace tessaron {
namespace {

constexpr char16_t kReplacement = u'\uFFFD';

// What Windows-1252 has at 0x80 to 0x9F; its five holes are the control characters of Latin-1.
constexpr std::array<char16_t, 32> kWindows1252 = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

constexpr bool isHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool isLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

// How many bytes a sequence with this lead byte has; 1 for what leads none.
std::size_t sequenceLength(unsigned char lead) {
  if (lead < 0xC2 || lead > 0xF4) return 1;
  return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

// Writes one or two units and returns where the next one goes. A character has at most as many
// units in UTF-16 as it has bytes in UTF-8.
char16_t* writeUtf16(char16_t* to, char32_t codePoint) {
  if (codePoint < 0x10000) {
    *to++ = static_cast<char16_t>(codePoint);
  } else {
    *to++ = static_cast<char16_t>(0xD7C0 + (codePoint >> 10));
    *to++ = static_cast<char16_t>(0xDC00 | (codePoint & 0x3FF));
  }
  return to;
}

// The byte that `unit` is in Latin-1 or Windows-1252; -1 when it is in neither.
int singleByte(char16_t unit) {
  if (unit < 0x100) return unit;
  const auto found = std::find(kWindows1252.begin(), kWindows1252.end(), unit);
  return found == kWindows1252.end() ? -1 : 0x80 + static_cast<int>(found - kWindows1252.begin());
}

// The two cases of letters, among the characters that `singleByte` knows.
bool isUpper(char16_t c) {
  return (c >= u'A' && c <= u'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7) || c == 0x160 ||
         c == 0x152 || c == 0x17D || c == 0x178;
}
bool isLower(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= 0xDF && c <= 0xFF && c != 0xF7) || c == 0x161 ||
         c == 0x153 || c == 0x17E || c == 0x192;
}

// Marks that stand directly behind a word: closing quotes, dashes, ellipsis, guillemet, signs of
// rights, no-break space.
bool closesWord(char16_t c) {
  constexpr std::u16string_view kMarks =
      u"\u2019\u201D\u201C\u2026\u2013\u2014\u2122\u00BB\u00AE\u00A9\u00A0";
  return kMarks.find(c) != kMarks.npos;
}

// Whether the `length` characters at `at`, which could be the bytes of one UTF-8 sequence, could as
// well be meant as they stand: the last letter of a word and marks behind it, as in CAFÉ’S or
// Spaß….
bool readsAsRealText(std::u16string_view text, std::size_t at, std::size_t length) {
  const char16_t lead = text[at];
  const char16_t before = at > 0 ? text[at - 1] : u' ';
  const char16_t after = at + length < text.size() ? text[at + length] : u' ';
  const std::u16string_view marks = text.substr(at + 1, length - 1);
  // A C1 control character is never what was meant, but neither does it prove another meaning.
  if (lead == 0xC2 && singleByte(marks[0]) < 0xA0) return true;
  if (!std::all_of(marks.begin(), marks.end(), closesWord)) return false;
  if (lead == 0xC2 || lead == 0xC3) {
    // The two leads of all accented Latin letters: rare as the end of a word in capitals only.
    return isUpper(before) && (marks[0] == 0x2019 || (!isUpper(after) && !isLower(after)));
  }
  if (isUpper(lead)) return !isLower(before) && !isLower(after);
  return (isUpper(before) || isLower(before) || lead == 0xD7) && !isLower(after);
}

// Takes every character for a byte and decodes the bytes as UTF-8. False, and `text` untouched,
// when that is not possible or not proven to be what the text needs.
bool decodeOnceMore(std::u16string& text) {
  std::string bytes;
  bytes.reserve(text.size());
  bool candidate = false;
  for (const char16_t unit : text) {
    const int byte = singleByte(unit);
    if (byte < 0) return false;
    candidate = candidate || byte >= 0xC2;
    bytes += static_cast<char>(byte);
  }
  if (!candidate) return false;

  std::u16string decoded(bytes.size(), u'\0');
  char16_t* to = decoded.data();
  bool proven = false;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t from = at;
    bool wellFormed = false;
    to = writeUtf16(to, nextUtf8(bytes, at, &wellFormed));
    if (!wellFormed) return false;
    if (at - from > 1 && !readsAsRealText(text, from, at - from)) proven = true;
  }
  if (!proven) return false;
  decoded.resize(static_cast<std::size_t>(to - decoded.data()));
  text = std::move(decoded);
  return true;
}

}  // namespace

char32_t nextUtf8(std::string_view text, std::size_t& at, bool* wellFormed) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
  const unsigned char lead = byte(0);
  const std::size_t length = sequenceLength(lead);
  bool good = lead < 0x80;
  char32_t codePoint = lead;
  if (length > 1 && length <= text.size() - at) {
    codePoint = lead & (0x7Fu >> length);
    good = true;
    for (std::size_t i = 1; i < length; ++i) {
      good = good && (byte(i) & 0xC0) == 0x80;
      codePoint = codePoint << 6 | (byte(i) & 0x3F);
    }
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    good = good && codePoint >= kSmallest[length] && codePoint <= 0x10FFFF &&
           (codePoint & 0x1FF800) != 0xD800;
  }
  if (wellFormed) *wellFormed = good;
  if (!good) {
    ++at;
    return lead < 0xA0 ? kWindows1252[lead - 0x80] : lead;
  }
  at += length;
  return codePoint;
}

void appendUtf8(std::string& out, char32_t codePoint) {
  if (codePoint > 0x10FFFF || (codePoint & 0x1FF800) == 0xD800) codePoint = kReplacement;
  if (codePoint < 0x80) {
    out += static_cast<char>(codePoint);
  } else if (codePoint < 0x800) {
    out += static_cast<char>(0xC0 | codePoint >> 6);
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
  } else if (codePoint < 0x10000) {
    out += static_cast<char>(0xE0 | codePoint >> 12);
    out += static_cast<char>(0x80 | (codePoint >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | codePoint >> 18);
    out += static_cast<char>(0x80 | (codePoint >> 12 & 0x3F));
    out += static_cast<char>(0x80 | (codePoint >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
  }
}

std::u16string fromUtf8(std::string_view text) {
  std::u16string out(text.size(), u'\0');
  char16_t* to = out.data();
  for (std::size_t at = 0; at < text.size();) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x80) {
      *to++ = byte;
      ++at;
    } else {
      to = writeUtf16(to, nextUtf8(text, at));
    }
  }
  out.resize(static_cast<std::size_t>(to - out.data()));
  return out;
}

std::string toUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (isHighSurrogate(unit) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
      appendUtf8(out, 0x10000u + ((unit & 0x3FFu) << 10) + (text[++i] & 0x3FFu));
    } else {
      appendUtf8(out, unit);
    }
  }
  return out;
}

}  // namespace tessaron

std::u16string char2wchar(std::string text) { return tessaron::fromCodePage(text); }
std::string wchar2char(std::u16string text) { return tessaron::toCodePage(text); }
std::string wchar2utf8(std::u16string text) { return tessaron::toUtf8(text); }
std::u16string utf82wchar(std::string text) { return tessaron::fromUtf8(text); }

bool fixunicode(std::u16string& text) {
  bool changed = false;
  while (tessaron::decodeOnceMore(text)) changed = true;  // each round makes it shorter
  return changed;
}
