#pragma once
// Dates and statuses as the command line takes and gives them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "output/table.h"
#include "records/record.h"

namespace tessaron::tool {

/// "2024-05-31" for an MS-DOS date; empty for none, and for one that does not exist.
std::string isoDate(std::uint16_t date);

/// The MS-DOS date that "2024-05-31", "today", "tomorrow" or "+14d" (days from today) means, today
/// being `today`. Fails with kUsage when it is no date, or none from 1980 to 2107.
std::uint16_t parseDate(std::string_view text, std::uint16_t today);

/// Today where the user is.
std::uint16_t localToday();

inline constexpr int kStatusCount = 8;

/// The name of a status, such as "Rented Out"; empty for a number that names none.
std::string statusName(int status);

/// A status name as it is compared and as messages give it: "Rented Out" as "rented-out".
std::string plainName(std::string_view name);

/// The status that a name means, compared as `plainName`. Fails with kUsage, and the names that
/// there are, for any other.
int parseStatus(std::string_view name);

/// All names as they can be typed, with commas.
std::string statusChoices();

/// The sentence that tells the record's status; empty without one.
std::string statusSentence(const CRecord& record);

/// Days from the date of `now` (UTC) to the date on which the item falls due, negative when that is
/// past. Nothing for an item that does not fall due.
std::optional<int> daysLeft(const CRecord& record, const SYSTEMTIME& now);

/// "overdue", "due" or "due soon" by the library's test at the UTC time `now`; else empty.
std::string dueMark(const CRecord& record, const SYSTEMTIME& now);

/// What the status is (a number when it has no name), whom it concerns and until when, as the
/// columns "Status", "Who" and "Until" of a table; empty without a status.
std::array<Table::Cell, 3> statusCells(const CRecord& record);

/// The mark as a table shows it.
Table::Cell dueCell(std::string mark);

}  // namespace tessaron::tool
