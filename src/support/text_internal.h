#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace tessaron {

/// Windows-1252 at 0x80 to 0x9F; its five unassigned bytes are the control characters of Latin-1.
inline constexpr std::array<char16_t, 32> kWindows1252 = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

/// The length of the UTF-8 sequence that this byte begins; 1 when it begins none.
constexpr std::size_t sequenceLength(unsigned lead) {
  if (lead < 0xC2 || lead > 0xF4) return 1;
  return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

/// Writes the UTF-16 form of a code point, or of a text in UTF-8, as `fromUtf8` decodes it, and
/// returns where the next unit goes. A character has at most as many units as it has bytes in
/// UTF-8.
char16_t* writeUtf16(char16_t* to, char32_t codePoint);
char16_t* writeUtf16(char16_t* to, std::string_view text);

}  // namespace tessaron
