#include "records/due.h"

#include <cmath>

#include "support/ascii.h"
#include "support/dos_date.h"
#include "support/text.h"

namespace tessaron {

namespace {

std::string typedName(std::string_view name) {
  std::string typed = lowerLetters(name);
  for (char& c : typed)
    if (c == ' ' || c == '_') c = '-';
  return typed;
}

}  // namespace

std::string typedStatusName(std::int32_t status) { return typedName(toUtf8(statusLabel(status))); }

std::optional<std::int32_t> statusNamed(std::string_view name) {
  for (std::int32_t status = 0; status < kStatusCount; ++status)
    if (typedStatusName(status) == typedName(name)) return status;
  return std::nullopt;
}

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
