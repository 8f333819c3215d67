#include <chrono>
#include <string_view>

#include "platform/system.h"
#include "records/record.h"
#include "support/dos_date.h"
#include "support/string_table.h"

namespace {

constexpr std::uint32_t kStatusNames = 3000;
constexpr std::uint32_t kStatusSentences = 3051;
constexpr std::uint32_t kFrom = 4101, kTo = 4102, kOn = 4103;
constexpr std::uint32_t kShortSentence = 8510;
constexpr std::size_t kSentenceLimit = 64;  // characters
constexpr std::int32_t kLastDated = 3, kLastNamed = 6, kLast = 7;

// Puts `value` in place of the sentence's "%s" and cuts the whole to 64 characters.
std::u16string fill(std::u16string_view sentence, std::u16string_view value) {
  std::u16string text(sentence);
  if (const std::size_t at = text.find(u"%s"); at != text.npos) text.replace(at, 2, value);
  if (text.size() > kSentenceLimit) {
    const bool splitsPair = (text[kSentenceLimit] & 0xFC00) == 0xDC00;
    text.resize(kSentenceLimit - (splitsPair ? 1 : 0));
  }
  return text;
}

std::u16string dated(std::uint32_t word, const std::u16string& date) {
  std::u16string text(1, u' ');
  text += tessaron::stringAt(word);
  text += u' ';
  return text + date;
}

}  // namespace

bool CRecord::getStatusString(std::u16string& out) {
  out = tessaron::statusText(*this);
  return true;
}

int CRecord::getDueStates() { return tessaron::dueStateAt(*this, tessaron::utcNow()); }

bool CRecord::getDigestString(std::u16string& out) {
  out = Title + u" / " + ProductGroup + u" / " + (Publisher.empty() ? Studio : Publisher);
  return true;
}

namespace tessaron {

std::u16string_view statusLabel(std::int32_t status) {
  if (status < 0 || status > kLast) return {};
  return stringAt(kStatusNames + static_cast<std::uint32_t>(status));
}

std::u16string statusText(const CRecord& record) {
  const std::int32_t status = record.status;
  if (!record.hasStatus || status < 0 || status > kLast) return {};
  const std::u16string_view sentence =
      stringAt(kStatusSentences + static_cast<std::uint32_t>(status));
  if (status > kLastNamed) return std::u16string(sentence);
  const std::u16string begin = DosDateTimeToString(record.StatusBeginDate);
  if (status > kLastDated && !begin.empty())
    return fill(sentence, record.StatusTarget) + dated(kOn, begin);
  const std::u16string end = DosDateTimeToString(record.StatusEndDate);
  if (status <= kLastDated && !begin.empty() && !end.empty())
    return fill(sentence, record.StatusTarget) + dated(kFrom, begin) + dated(kTo, end);
  return fill(stringAt(kShortSentence), statusLabel(status));
}

int dueStateAt(const CRecord& record, const SYSTEMTIME& now) {
  SYSTEMTIME end{};
  if (!record.hasStatus || record.status < 0 || record.status > kLastDated ||
      !DosDateTimeToSystemTime(record.StatusEndDate, &end)) {
    return 0;
  }
  const double days = dayCount(end) - dayCount(now);
  return days < 1.0 ? 1 : days <= 2.0 ? 2 : 0;
}

}  // namespace tessaron
