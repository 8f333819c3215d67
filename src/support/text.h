#pragma once

#include <string>
#include <string_view>

#include "tessaron_export.h"

/// Widens bytes of the system's ANSI code page; bytes without a meaning become U+FFFD.
TESSARON_API std::u16string char2wchar(std::string text);

/// Narrows into the system's ANSI code page; characters that it lacks become '?'.
TESSARON_API std::string wchar2char(std::u16string text);

/// UTF-16 to UTF-8, exact for all of Unicode. A surrogate without its partner becomes U+FFFD.
TESSARON_API std::string wchar2utf8(std::u16string text);

/// UTF-8 to UTF-16, exact for all of Unicode. A byte that belongs to no well-formed sequence is
/// taken as Windows-1252, so that text of the wrong encoding stays legible. Never fails.
TESSARON_API std::u16string utf82wchar(std::string text);

/// Repairs text that was decoded from UTF-8 once too often (or several times), through Latin-1 or
/// Windows-1252: "GrÃ¶ÃŸe" becomes "Größe". In doubt the text stays as it is: every unit must stand
/// for a byte, the bytes must be well-formed UTF-8, and at least one sequence must be proof. That
/// is one that does not read as the end of a word with closing marks ("CAFÉ…", "là »") and decodes
/// into a common sign, or into a letter of the script around it. Wrongly decoded text that reads as
/// real text throughout ("PERÃ’" for "PERÒ") stays. Idempotent. Returns true when it changed
/// something.
TESSARON_API bool fixunicode(std::u16string& text);

namespace tessaron {

/// `utf82wchar` and `wchar2utf8` without the copy that their signatures ask for.
TESSARON_API std::u16string fromUtf8(std::string_view text);
TESSARON_API std::string toUtf8(std::u16string_view text);

/// Appends the UTF-8 form of `codePoint`; what is no character (a surrogate, above U+10FFFF)
/// becomes U+FFFD.
TESSARON_API void appendUtf8(std::string& out, char32_t codePoint);

/// Decodes the UTF-8 sequence at `text[at]` and moves `at` behind it. A byte that begins no
/// well-formed sequence is taken alone, as Windows-1252. `at` must be below the size.
/// `wellFormed`, when given, tells whether it was a sequence.
TESSARON_API char32_t nextUtf8(std::string_view text, std::size_t& at, bool* wellFormed = nullptr);

/// The first byte of `text` that belongs to no well-formed UTF-8 sequence; npos when there is none.
TESSARON_API std::size_t findIllFormed(std::string_view text);

/// How many characters a well-formed UTF-8 text has: its bytes but those that continue a sequence.
TESSARON_API std::size_t countCharacters(std::string_view text);

}  // namespace tessaron
