#include "records/due.h"

#include <cmath>

#include "support/dos_date.h"

namespace tessaron {

std::optional<int> daysLeft(const CRecord& record, const SYSTEMTIME& now) {
  SYSTEMTIME end{};
  if (!record.hasStatus || record.status < 0 || record.status > 3 ||
      !DosDateTimeToSystemTime(record.StatusEndDate, &end))
    return std::nullopt;
  return static_cast<int>(dayCount(end) - std::floor(dayCount(now)));
}

std::string dueMark(const CRecord& record, const SYSTEMTIME& now) {
  const int state = dueStateAt(record, now);
  if (state == 0) return {};
  if (state == 2) return "due soon";
  return daysLeft(record, now).value_or(0) < 0 ? "overdue" : "due";
}

}  // namespace tessaron
