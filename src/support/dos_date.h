#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/types.h"
#include "tessaron_export.h"

// The MS-DOS date word: bits 15 to 9 the year minus 1980, 8 to 5 the month, 4 to 0 the day. Zero is
// no date.

/// The date as the user's locale writes short dates; empty for no date and for one that does not
/// exist, such as a 31st of February.
TESSARON_API std::u16string DosDateTimeToString(const std::uint16_t& date);

/// Fills `out` with the date at 00:00. False, and `out` untouched, for no date, for one that does
/// not exist, and for a null `out`.
TESSARON_API bool DosDateTimeToSystemTime(const std::uint16_t& date, SYSTEMTIME* out);

namespace tessaron {

/// The date word of a date; 0 when it does not exist or lies outside 1980 to 2107.
TESSARON_API std::uint16_t toDosDate(int year, int month, int day);

/// The date as "2024-05-31"; empty for no date and for one that does not exist.
TESSARON_API std::string isoDate(std::uint16_t date);

/// The date word of a date written "2024-05-31"; 0 when the text is no date from 1980 to 2107.
TESSARON_API std::uint16_t parseIsoDate(std::string_view text);

/// Days from 1970-01-01 to the date of `time`, and the part of the day that has passed.
TESSARON_API double dayCount(const SYSTEMTIME& time);

}  // namespace tessaron
