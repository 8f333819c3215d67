#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "records/record.h"
#include "tessaron_export.h"

/// Turns people's names and titles into their sort forms, and compares texts for sorting. Has
/// static members only. Conversions change the given string in place, unit by unit. Several threads
/// may convert and compare at once as long as none changes `m_nOption`, which ApplyToRecord does.
class TESSARON_API CCollationSystem {
 public:
  /// Which conversions run:
  ///   0  names: case, then surname first;                      titles: article to the end
  ///   1  names: case only;                                     titles: as they are
  ///   2  names: as 0, the order only from two units on;        titles: as they are
  ///   3  names: as they are;                                   titles: as 0, from two units on
  /// Any other value: nothing. It is -1 until ApplyToRecord sets it.
  static std::int32_t m_nOption;

  CCollationSystem();
  CCollationSystem(const CCollationSystem&);
  CCollationSystem& operator=(const CCollationSystem&);
  ~CCollationSystem();

  /// "john smith" becomes "Smith, John". Every word gets a capital and small letters. The last word
  /// that does not begin with punctuation goes to the front, with all behind it, unless there is a
  /// comma. Returns 1 when the name was reordered, else 0, also when its case was changed.
  static int ConvertName(std::u16string& name);

  /// Applies ConvertName to each name in order. Returns the result of the last one, 0 when there is
  /// none.
  static int ConvertNames(std::vector<std::u16string>& names);

  /// "The Matrix" becomes "Matrix, The". Knows the articles "The" and "A", whatever their case;
  /// leaves titles with a comma alone. Returns 1 when an article was moved, else 0.
  static int ConvertTitle(std::u16string& title);

  /// Compares as the user sorts: digits by their value, without regard to case. Negative, zero or
  /// positive. The order of any texts is a strict weak one.
  // QUIRK: `ignoreCase` is not looked at. A comparison by case was for systems without the logical
  // one. Kept: callers hand it over.
  static int CompareStringW(const char16_t* a, const char16_t* b, int ignoreCase);

  /// Takes `m_nOption` from the setting CollationOption, then converts the record's actors,
  /// artists, authors, directors and translators as names, and its title.
  static void ApplyToRecord(CRecord& record);

 protected:
  /// Nonzero for a space and a no-break space, and for nothing else.
  static int IsSpaceChar(char16_t unit);
  /// Nonzero for the printable punctuation of ASCII.
  static int IsSpecialChar(char16_t unit);
  /// 0 for an empty text.
  static int StringBeginWithSpecialChar(const std::u16string& text);
  /// Capitalizes every word. Always 0.
  static int ConvertCases(std::u16string& text);
};
