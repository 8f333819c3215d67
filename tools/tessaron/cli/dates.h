#pragma once

#include <cstdint>
#include <string_view>

namespace tessaron::tool {

/// The MS-DOS date that "2024-05-31", "today", "tomorrow" or "+14d" (days from today) means, today
/// being `today`. Fails with kUsage when it is no date, or none from 1980 to 2107.
std::uint16_t parseDate(std::string_view text, std::uint16_t today);

/// Today where the user is.
std::uint16_t localToday();

}  // namespace tessaron::tool
