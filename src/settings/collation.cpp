#include "settings/collation.h"

#include <algorithm>
#include <string_view>

#include "platform/text.h"
#include "settings/config.h"

using tessaron::lowerCase;
using tessaron::upperCase;

namespace {

constexpr std::u16string_view kArticles[] = {u"The ", u"A "};
constexpr std::u16string_view kSeparator = u", ";

bool isInSortForm(const std::u16string& text) { return text.find(u',') != text.npos; }

}  // namespace

CCollationSystem::CCollationSystem() = default;
CCollationSystem::CCollationSystem(const CCollationSystem&) = default;
CCollationSystem& CCollationSystem::operator=(const CCollationSystem&) = default;
CCollationSystem::~CCollationSystem() = default;

std::int32_t CCollationSystem::m_nOption = -1;

int CCollationSystem::IsSpaceChar(char16_t unit) { return unit == u' ' || unit == u'\u00A0'; }

int CCollationSystem::IsSpecialChar(char16_t unit) {
  return (unit >= u'!' && unit <= u'/') || (unit >= u':' && unit <= u'@') ||
         (unit >= u'[' && unit <= u'`') || (unit >= u'{' && unit <= u'~');
}

int CCollationSystem::StringBeginWithSpecialChar(const std::u16string& text) {
  return !text.empty() && IsSpecialChar(text.front());
}

// QUIRK: of two spaces in a row the second counts as the first unit of a word, and the word behind
// it stays small: "a  b" becomes "A  b". Kept: stored names compare equal to what this makes.
int CCollationSystem::ConvertCases(std::u16string& text) {
  bool capitalNext = true;
  for (char16_t& unit : text) {
    if (capitalNext) {
      unit = upperCase(unit);
      capitalNext = false;
    } else {
      capitalNext = IsSpaceChar(unit) != 0;
      unit = lowerCase(unit);
    }
  }
  return 0;
}

int CCollationSystem::ConvertName(std::u16string& name) {
  if (m_nOption < 0 || m_nOption > 2) return 0;
  ConvertCases(name);
  if (m_nOption == 1 || name.size() < 2 || isInSortForm(name)) return 0;
  // Neither the first nor the last unit parts a name.
  std::size_t split = name.size() - 2;
  while (split > 0 && (!IsSpaceChar(name[split]) || IsSpecialChar(name[split + 1]))) --split;
  if (split == 0) return 0;
  const std::size_t tail = name.size() - split - 1;
  std::rotate(name.begin(), name.end() - static_cast<std::ptrdiff_t>(tail), name.end());
  name.pop_back();  // the space
  name.insert(tail, kSeparator);
  return 1;
}

int CCollationSystem::ConvertNames(std::vector<std::u16string>& names) {
  int result = 0;
  for (std::u16string& name : names) result = ConvertName(name);
  return result;
}

int CCollationSystem::ConvertTitle(std::u16string& title) {
  if (m_nOption != 0 && m_nOption != 3) return 0;
  if (isInSortForm(title)) return 0;
  for (const std::u16string_view article : kArticles) {
    if (title.size() <= article.size()) continue;
    if (!tessaron::equalIgnoringCase(std::u16string_view(title).substr(0, article.size()), article))
      continue;
    title.erase(0, article.size());
    title.front() = upperCase(title.front());
    title.append(kSeparator).append(article).pop_back();
    return 1;
  }
  return 0;
}

int CCollationSystem::CompareStringW(const char16_t* a, const char16_t* b, int /*ignoreCase*/) {
  return tessaron::compareLogically(a, b);
}

void CCollationSystem::ApplyToRecord(CRecord& record) {
  m_nOption = _Config.CollationOption;
  for (CRecord::Strings* names :
       {&record.actors, &record.artists, &record.authors, &record.directors, &record.translators})
    ConvertNames(*names);
  ConvertTitle(record.Title);
}
