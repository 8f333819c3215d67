#include "support/fold.h"

#include <algorithm>

#include "platform/text.h"

namespace tessaron {
namespace {

// Letters that no system takes apart, because their strokes are no marks of their own.
std::u16string_view plainLetters(char16_t letter) {
  switch (letter) {
    case u'ß':
      return u"ss";
    case u'æ':
      return u"ae";
    case u'œ':
      return u"oe";
    case u'ø':
      return u"o";
    case u'đ':
    case u'ð':
      return u"d";
    case u'ł':
      return u"l";
    case u'ħ':
      return u"h";
    case u'ŧ':
      return u"t";
    case u'þ':
      return u"th";
    case u'ı':
      return u"i";
    default:
      return {};
  }
}

bool isAscii(char16_t unit) { return unit < 0x80; }

// Accents, and the points of Hebrew and Arabic. Vowel signs of other scripts are no marks, nor are
// those that make another letter of a kana.
bool isMark(char16_t unit) {
  return (unit >= 0x0300 && unit <= 0x036F) || (unit >= 0x0591 && unit <= 0x05C7) ||
         (unit >= 0x064B && unit <= 0x065F) || unit == 0x0670 ||
         (unit >= 0x1DC0 && unit <= 0x1DFF) || (unit >= 0x20D0 && unit <= 0x20F0);
}

}  // namespace

std::u16string foldText(std::u16string_view text) {
  std::u16string folded;
  if (std::ranges::all_of(text, isAscii)) {
    folded.assign(text);
    std::ranges::transform(folded, folded.begin(), lowerCase);
    return folded;
  }
  for (const char16_t unit : decomposed(text)) {
    if (isMark(unit)) continue;
    const std::u16string_view letters = plainLetters(unit);
    letters.empty() ? folded.push_back(unit) : static_cast<void>(folded.append(letters));
  }
  return composed(folded);
}

}  // namespace tessaron
