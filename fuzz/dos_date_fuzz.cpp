#include "fuzz.h"
#include "support/dos_date.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 6) return 0;
  const auto date = static_cast<std::uint16_t>(data[0] | data[1] << 8);
  SYSTEMTIME time{};
  const bool exists = DosDateTimeToSystemTime(date, &time);
  CHECK(DosDateTimeToString(date).empty() == !exists);
  CHECK(!exists || tessaron::toDosDate(time.wYear, time.wMonth, time.wDay) == date);

  const std::string iso = tessaron::isoDate(date);
  CHECK(iso.empty() == !exists && (!exists || tessaron::parseIsoDate(iso) == date));
  if (const std::uint16_t given = tessaron::parseIsoDate(asText(data, size)))
    CHECK(tessaron::isoDate(given) == asText(data, size));
  if (exists) {
    SYSTEMTIME later = time;
    later.wHour = 12;
    CHECK(tessaron::dayCount(later) == tessaron::dayCount(time) + 0.5);
  }

  const int year = 1970 + data[2] + data[3], month = static_cast<signed char>(data[4]);
  const int day = static_cast<signed char>(data[5]);
  if (const std::uint16_t word = tessaron::toDosDate(year, month, day)) {
    CHECK(DosDateTimeToSystemTime(word, &time));
    CHECK(time.wYear == year && time.wMonth == month && time.wDay == day);
  }
  return 0;
}
