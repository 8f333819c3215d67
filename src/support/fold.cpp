#include "support/fold.h"

#include <cstdint>
#include <vector>

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

std::u16string foldBySystem(std::u16string_view text) {
  std::u16string folded;
  for (const char16_t unit : decomposed(text)) {
    if (isMark(unit)) continue;
    const std::u16string_view letters = plainLetters(unit);
    letters.empty() ? folded.push_back(unit) : static_cast<void>(folded.append(letters));
  }
  return composed(folded);
}

// The units that fold by themselves, whatever their neighbors: letters of Latin, Greek and
// Cyrillic, common punctuation, kana. (Those in between are marks and scripts that take some from
// neighbors.)
struct Range {
  char16_t first, last;
};
constexpr Range kFoldedAlone[] = {{0x80, 0x2FF},    {0x370, 0x482},   {0x48A, 0x52F},
                                  {0x1E00, 0x1FFF}, {0x2010, 0x2027}, {0x3001, 0x3003},
                                  {0x3041, 0x3096}, {0x30A1, 0x30FF}};
constexpr std::size_t kTableEnd = 0x3100;

// Han characters and Korean syllables have neither case nor accents.
bool isUnchanged(char16_t unit) {
  return (unit >= 0x4E00 && unit <= 0x9FFF) || (unit >= 0xAC00 && unit <= 0xD7A3);
}

/// What the units of `kFoldedAlone` fold to. Asking the system for each text costs twenty times as
/// much.
class UnitFolds {
 public:
  UnitFolds() : entries_(kTableEnd) {
    for (const auto& [first, last] : kFoldedAlone) {
      for (char16_t unit = first; unit <= last; ++unit) {
        const std::u16string folded = foldBySystem({&unit, 1});
        entries_[unit] = {static_cast<std::uint16_t>(pool_.size()),
                          static_cast<std::uint8_t>(folded.size()), true};
        pool_ += folded;
      }
    }
  }

  /// False when the unit may depend on its neighbors.
  bool append(std::u16string& out, char16_t unit) const {
    if (unit >= entries_.size() || !entries_[unit].isKnown) return false;
    out.append(pool_, entries_[unit].begin, entries_[unit].size);
    return true;
  }

 private:
  struct Entry {
    std::uint16_t begin = 0;
    std::uint8_t size = 0;
    bool isKnown = false;
  };
  std::vector<Entry> entries_;
  std::u16string pool_;
};

}  // namespace

void appendFolded(std::u16string& out, std::u16string_view text) {
  static const UnitFolds folds;
  const std::size_t start = out.size();
  for (const char16_t unit : text) {
    if (isAscii(unit)) {
      out += lowerCase(unit);
    } else if (isUnchanged(unit)) {
      out += unit;
    } else if (!folds.append(out, unit)) {
      out.resize(start);
      out += foldBySystem(text);
      return;
    }
  }
}

std::u16string foldText(std::u16string_view text) {
  std::u16string folded;
  folded.reserve(text.size());
  appendFolded(folded, text);
  return folded;
}

}  // namespace tessaron
