#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

#include "support/text.h"
#include "support/text_internal.h"

namespace tessaron {
namespace {

enum class Script : std::uint8_t {
  None,       // unassigned, for private use, or in no text that is likely here
  Sign,       // punctuation and symbols of any script
  Diacritic,  // combines with the letter before it
  Latin,      // this and all that follow are letters
  Greek,
  Cyrillic,
  Armenian,
  Hebrew,
  Arabic,
  Devanagari,
  Bengali,
  Gurmukhi,
  Gujarati,
  Oriya,
  Tamil,
  Telugu,
  Kannada,
  Malayalam,
  Sinhala,
  Thai,
  Lao,
  Tibetan,
  Myanmar,
  Georgian,
  Ethiopic,
  Khmer,
  Mongolian,
  EastAsian,  // Han, Kana, Bopomofo and Hangul, which stand side by side
};

struct Block {
  char32_t first;
  char32_t last;
  Script script;
};

// From Blocks.txt of the Unicode Character Database, without the scripts that titles are hardly
// ever in. Latin and the diacritics are limited to what current orthographies use.
constexpr Block kBlocks[] = {
    {'A', 'Z', Script::Latin},
    {'a', 'z', Script::Latin},
    {0x00A0, 0x00BF, Script::Sign},
    {0x00C0, 0x00D6, Script::Latin},
    {0x00D7, 0x00D7, Script::Sign},
    {0x00D8, 0x00F6, Script::Latin},
    {0x00F7, 0x00F7, Script::Sign},
    {0x00F8, 0x017F, Script::Latin},
    {0x018F, 0x018F, Script::Latin},  // Azerbaijani
    {0x0192, 0x0192, Script::Latin},
    {0x01A0, 0x01A1, Script::Latin},  // Vietnamese
    {0x01AF, 0x01B0, Script::Latin},
    {0x0218, 0x021B, Script::Latin},  // Romanian
    {0x0259, 0x0259, Script::Latin},  // Azerbaijani
    {0x02BB, 0x02BC, Script::Sign},   // Hawaiian, Breton
    {0x02C6, 0x02C7, Script::Sign},
    {0x02D8, 0x02DD, Script::Sign},
    {0x0300, 0x0304, Script::Diacritic},
    {0x0306, 0x030C, Script::Diacritic},
    {0x031B, 0x031B, Script::Diacritic},
    {0x0323, 0x0328, Script::Diacritic},
    {0x0331, 0x0331, Script::Diacritic},
    {0x0370, 0x03FF, Script::Greek},
    {0x0400, 0x04FF, Script::Cyrillic},
    {0x0531, 0x058F, Script::Armenian},
    {0x0591, 0x05F4, Script::Hebrew},
    {0x0600, 0x06FF, Script::Arabic},
    {0x0750, 0x077F, Script::Arabic},
    {0x0900, 0x097F, Script::Devanagari},
    {0x0980, 0x09FF, Script::Bengali},
    {0x0A00, 0x0A7F, Script::Gurmukhi},
    {0x0A80, 0x0AFF, Script::Gujarati},
    {0x0B00, 0x0B7F, Script::Oriya},
    {0x0B80, 0x0BFF, Script::Tamil},
    {0x0C00, 0x0C7F, Script::Telugu},
    {0x0C80, 0x0CFF, Script::Kannada},
    {0x0D00, 0x0D7F, Script::Malayalam},
    {0x0D80, 0x0DFF, Script::Sinhala},
    {0x0E00, 0x0E7F, Script::Thai},
    {0x0E80, 0x0EFF, Script::Lao},
    {0x0F00, 0x0FFF, Script::Tibetan},
    {0x1000, 0x109F, Script::Myanmar},
    {0x10A0, 0x10FF, Script::Georgian},
    {0x1100, 0x11FF, Script::EastAsian},
    {0x1200, 0x139F, Script::Ethiopic},
    {0x1780, 0x17FF, Script::Khmer},
    {0x1800, 0x18AF, Script::Mongolian},
    {0x1E00, 0x1EFF, Script::Latin},  // Vietnamese, Welsh
    {0x1F00, 0x1FFF, Script::Greek},
    {0x2000, 0x27BF, Script::Sign},  // general punctuation to dingbats
    {0x2900, 0x2BFF, Script::Sign},
    {0x2E80, 0x2FDF, Script::EastAsian},
    {0x3000, 0x303F, Script::Sign},
    {0x3040, 0x31FF, Script::EastAsian},
    {0x3200, 0x33FF, Script::Sign},
    {0x3400, 0x4DBF, Script::EastAsian},
    {0x4E00, 0x9FFF, Script::EastAsian},
    {0xAC00, 0xD7A3, Script::EastAsian},
    {0xF900, 0xFAFF, Script::EastAsian},
    {0xFB00, 0xFB06, Script::Latin},
    {0xFB1D, 0xFB4F, Script::Hebrew},
    {0xFB50, 0xFDFF, Script::Arabic},
    {0xFE00, 0xFE4F, Script::Sign},
    {0xFE70, 0xFEFE, Script::Arabic},
    {0xFEFF, 0xFF0F, Script::Sign},
    {0xFF10, 0xFFDC, Script::EastAsian},
    {0xFFE0, 0xFFFD, Script::Sign},
    {0x1D400, 0x1D7FF, Script::Sign},
    {0x1F000, 0x1FAFF, Script::Sign},
    {0x20000, 0x3134F, Script::EastAsian},
};
static_assert(std::ranges::is_sorted(kBlocks, {}, &Block::first));

Script scriptOf(char32_t codePoint) {
  const Block* block = std::ranges::lower_bound(kBlocks, codePoint, {}, &Block::last);
  return block != std::end(kBlocks) && block->first <= codePoint ? block->script : Script::None;
}

bool isLetter(Script script) { return script >= Script::Latin; }

// The byte that `unit` is in Latin-1 or Windows-1252; 0 when it is above 0x7F and in neither.
unsigned singleByte(char16_t unit) {
  if (unit < 0x100) return unit;
  const auto found = std::ranges::find(kWindows1252, unit);
  return found == kWindows1252.end() ? 0
                                     : 0x80 + static_cast<unsigned>(found - kWindows1252.begin());
}

// The two cases of the letters that `singleByte` knows.
bool isUpper(char16_t c) {
  return (c >= u'A' && c <= u'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7) || c == 0x160 ||
         c == 0x152 || c == 0x17D || c == 0x178;
}
bool isLower(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= 0xDF && c <= 0xFF && c != 0xF7) || c == 0x161 ||
         c == 0x153 || c == 0x17E || c == 0x192;
}
bool isEitherCase(char16_t c) { return isUpper(c) || isLower(c); }

// Marks that stand directly behind a word, some of them also between two.
constexpr std::u16string_view kJoiners = u"\u2026\u2013\u2014\u00A0\u2019\u2018\u00B4";
constexpr std::u16string_view kApostrophes = u"\u2019\u2018\u00B4";
constexpr std::u16string_view kDashes = u"\u2013\u2014\u00A0";
constexpr std::u16string_view kDaggers = u"\u2020\u2021";
constexpr std::u16string_view kClosing =
    u"\u201D\u201C\u00BB\u00AB\u203A\u2039\u2122\u00AE\u00A9\u00B0\u00AA\u00BA\u00B9\u00B2\u00B3"
    u"\u2022\u00B7";
// Signs of measures and rights, and the blank, which no word of two capitals in ã stands before.
constexpr std::u16string_view kSignsBehindCapitals =
    u"\u00B9\u00B2\u00B3\u00AA\u00BA\u00A9\u00AE\u00A0";

bool contains(std::u16string_view set, char16_t c) { return set.find(c) != set.npos; }

// Whether the `length` units at `at`, which could be the bytes of one UTF-8 sequence, could as well
// be meant as they stand: the last letter of a word and marks behind it, as in CAFÉ’S, Spaß…, là ».
bool readsAsRealText(std::u16string_view text, std::size_t at, std::size_t length) {
  const auto unit = [&](std::size_t i) { return i < text.size() ? text[i] : u' '; };
  const char16_t lead = text[at], before = unit(at - 1), after = unit(at + length);
  const std::u16string_view marks = text.substr(at + 1, length - 1);
  for (const char16_t mark : marks.substr(0, marks.size() - 1))
    if (!contains(kJoiners, mark) && !contains(kClosing, mark)) return false;
  const char16_t last = marks.back();
  if (!contains(kJoiners, last) && !contains(kClosing, last) && !contains(kDaggers, last))
    return false;
  // A capital does not follow a small letter; a small letter follows one capital at most.
  const bool inCapitals = isUpper(before) && (isUpper(unit(at - 2)) || isUpper(after));
  if (isUpper(lead) ? isLower(before) : inCapitals) return false;
  // The leads of Western Europe's letters and signs. Six of the 15 million words in Debian's word
  // lists and dictionaries (36 languages) end in â; words in ã are written IRMÃ in capitals.
  if (lead == 0xC2 || (lead == 0xC3 && !isUpper(before))) return false;
  // OÃ¹ is Où, and not a word of two letters with a sign behind it: IRMÃ is longer, and LÃ… and NÃ”
  // come before what ends a sentence.
  if (lead == 0xC3 && !isUpper(unit(at - 2)) && contains(kSignsBehindCapitals, marks.front()))
    return false;

  if (after == u'\u00D7') return false;
  if (!isEitherCase(after)) return true;
  // È™ and É™ would be the small letters ș and ə, which do not stand amid capitals either.
  if (lead > 0xC5 && isUpper(lead) && isUpper(before)) return true;
  // CAFÉ’S, but not Å’uvres.
  if (contains(kApostrophes, last)) return !isEitherCase(unit(at + length + 1));
  if (lead == 0xC3 || !contains(kJoiners, last)) return false;
  return contains(kDashes, last) ||
         std::ranges::all_of(marks, [](char16_t mark) { return contains(kJoiners, mark); });
}

// Counts the multi-byte UTF-8 sequences in a text whose units stand for bytes; 0 when it cannot be
// UTF-8. Correct text mostly ends this at its first unit above 0x7F.
std::size_t countSequences(std::u16string_view text) {
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size();) {
    if (text[at] < 0x80) {
      ++at;
      continue;
    }
    const std::size_t length = sequenceLength(singleByte(text[at]));
    if (length == 1 || length > text.size() - at) return 0;
    for (const char16_t unit : text.substr(at + 1, length - 1))
      if ((singleByte(unit) & 0xC0) != 0x80) return 0;
    at += length;
    ++count;
  }
  return count;
}

char32_t codePointAt(std::u16string_view text, std::size_t at) {
  if (at >= text.size()) return 0;
  const char32_t unit = text[at];
  return (unit & 0xFC00) == 0xD800 ? 0x10000 + ((unit & 0x3FF) << 10) + (text[at + 1] & 0x3FFu)
                                   : unit;
}

// Whether what the sequence at `at` of `text` stands for, at `to` of `decoded`, is more plausible
// than the sequence itself.
bool isProof(std::u16string_view text, std::size_t at, std::size_t length,
             std::u16string_view decoded, std::size_t to) {
  const std::size_t units = length == 4 ? 2 : 1;
  const Script script = scriptOf(codePointAt(decoded, to));
  if (script == Script::None || readsAsRealText(text, at, length)) return false;
  if (script == Script::Sign) return true;

  const bool isPair = to >= 2 && (decoded[to - 1] & 0xFC00) == 0xDC00;
  const Script before =
      to == 0 ? Script::None : scriptOf(codePointAt(decoded, to - (isPair ? 2 : 1)));
  const Script after = scriptOf(codePointAt(decoded, to + units));
  if (script == Script::Diacritic) return isLetter(before);
  if (before == script || after == script) return true;
  // A letter amid those of another script is an accident. One by itself can be one where the lead
  // is a sign of measures, as in 2×½ and Ø½.
  return !isLetter(before) && !isLetter(after) && text[at] != 0xD7 && text[at] != 0xD8;
}

// Takes every unit for a byte and decodes the bytes as UTF-8. False, and `text` untouched, when
// that is not possible or proven by no sequence.
bool decodeOnceMore(std::u16string& text) {
  if (countSequences(text) == 0) return false;
  std::string bytes;
  bytes.reserve(text.size());
  for (const char16_t unit : text) bytes += static_cast<char>(singleByte(unit));

  for (std::size_t at = 0; at < bytes.size();) {
    bool wellFormed = false;
    nextUtf8(bytes, at, &wellFormed);
    if (!wellFormed) return false;
  }
  std::u16string decoded = fromUtf8(bytes);
  bool proven = false;
  for (std::size_t at = 0, to = 0; at < text.size() && !proven;) {
    const std::size_t length = sequenceLength(static_cast<unsigned char>(bytes[at]));
    proven = length > 1 && isProof(text, at, length, decoded, to);
    at += length;
    to += length == 4 ? 2 : 1;
  }
  if (proven) text = std::move(decoded);
  return proven;
}

}  // namespace
}  // namespace tessaron

bool fixunicode(std::u16string& text) {
  bool changed = false;
  while (tessaron::decodeOnceMore(text)) changed = true;  // each round makes it shorter
  return changed;
}
