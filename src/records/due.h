#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/types.h"
#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

/// Statuses have the numbers 0 to kStatusCount - 1.
inline constexpr std::int32_t kStatusCount = 8;

/// The name of a status as it is typed: "rented-out"; empty for a number that names none.
TESSARON_API std::string typedStatusName(std::int32_t status);

/// The status of that name, whatever the case, with spaces, hyphens or underscores.
TESSARON_API std::optional<std::int32_t> statusNamed(std::string_view name);

/// Days from the date of `now` (UTC) to the date on which the item falls due, negative when that is
/// past. Nothing for an item that does not fall due.
TESSARON_API std::optional<int> daysLeft(const CRecord& record, const SYSTEMTIME& now);

/// "overdue", "due" or "due soon" by `dueStateAt` at the UTC time `now`; else empty.
TESSARON_API std::string dueMark(const CRecord& record, const SYSTEMTIME& now);

}  // namespace tessaron
