#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/types.h"
#include "tessaron_export.h"

namespace tessaron {

/// Widens `bytes` through the system's ANSI code page (on Linux: the character set of the user's
/// locale, UTF-8 where the locale names none). Bytes without a meaning become U+FFFD.
std::u16string fromCodePage(std::string_view bytes);

/// Narrows `text` into the system's ANSI code page. Characters that it lacks become '?'.
std::string toCodePage(std::u16string_view text);

/// Decodes a text from a character set block by block. Used by one thread at a time.
class CharsetDecoder {
 public:
  /// A decoder of the character set with the IANA name `name`, in any case; null when the system
  /// does not know the name.
  static std::unique_ptr<CharsetDecoder> open(std::string_view name);
  virtual ~CharsetDecoder() = default;
  /// Appends the characters of the next block to `out`. Bytes without a meaning become U+FFFD. A
  /// character that is cut at the end of a block is completed by the next one; `isLast` tells that
  /// there is none.
  virtual void decode(std::string_view bytes, bool isLast, std::u16string& out) = 0;
};

/// Whether two texts are the same when each UTF-16 unit counts as its capital; no language's rules.
bool equalIgnoringCase(std::u16string_view left, std::u16string_view right);

/// The capital (or small letter) of a unit, whatever the language; the unit itself where there is
/// none, and for surrogates.
char16_t systemUpperCase(char16_t unit);
char16_t systemLowerCase(char16_t unit);

/// As these, without asking the system about ASCII.
inline char16_t upperCase(char16_t unit) {
  if (unit >= 0x80) return systemUpperCase(unit);
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
}
inline char16_t lowerCase(char16_t unit) {
  if (unit >= 0x80) return systemLowerCase(unit);
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 0x20) : unit;
}

/// The text in small letters, with compatibility forms replaced by what they stand for, and letters
/// with marks taken apart into letter and marks; the rules of no language.
std::u16string decomposed(std::u16string_view text);

/// The text with letters and their marks put together.
std::u16string composed(std::u16string_view text);

/// Compares two texts, each up to its NUL, by the rules of the user's language, without regard to
/// case, and runs of digits by their value. Negative, zero or positive; a strict weak order for any
/// texts. Null counts as empty.
TESSARON_API int compareLogically(const char16_t* left, const char16_t* right);

/// Makes `compareLogically` follow a language (a tag of BCP 47, which may name one of several
/// orders: "de-u-co-phonebk") in the place of the user's, for the rest of the process. False, and
/// nothing changes, when the system has no such order. No other thread may compare meanwhile.
TESSARON_API bool compareIn(std::string_view language);

/// Formats the date part of `date` as the user's locale writes short dates, with the year in full.
/// Empty when the date does not exist.
std::u16string shortDate(const SYSTEMTIME& date);

}  // namespace tessaron
