#pragma once

#include <string>
#include <string_view>

#include "platform/types.h"

namespace tessaron {

/// Widens `bytes` through the system's ANSI code page (on Linux: the character set of the user's
/// locale, UTF-8 where the locale names none). Bytes without a meaning become U+FFFD.
std::u16string fromCodePage(std::string_view bytes);

/// Narrows `text` into the system's ANSI code page. Characters that it lacks become '?'.
std::string toCodePage(std::u16string_view text);

/// Whether two texts are the same when each UTF-16 unit counts as its capital; no language's rules.
bool equalIgnoringCase(std::u16string_view left, std::u16string_view right);

/// Formats the date part of `date` as the user's locale writes short dates, with the year in full.
/// Empty when the date does not exist.
std::u16string shortDate(const SYSTEMTIME& date);

}  // namespace tessaron
