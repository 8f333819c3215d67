#include "settings/language_sort_forms.h"

#include <set>

#include "settings/collation.h"
#include "settings/config.h"

namespace tessaron {

const SortLanguage* languageOf(const CRecord& record) {
  std::set<const SortLanguage*> known;
  for (const std::u16string& name : record.languages) {
    const SortLanguage* language = findSortLanguage(name);
    if (language && name.ends_with(u"(Published)")) return language;
    if (language) known.insert(language);
  }
  return known.size() == 1 ? *known.begin() : nullptr;
}

void applySortForms(CRecord& record, const SortLanguage* language) {
  const int option = _Config.CollationOption;
  if (!language || option == 1) return CCollationSystem::ApplyToRecord(record);
  const SortRules rules = rulesOf(*language);
  if (option == 0 || option == 2) {
    for (CRecord::Strings* names :
         {&record.actors, &record.artists, &record.authors, &record.directors, &record.translators})
      for (std::u16string& name : *names) name = nameSortForm(name, rules).text;
  }
  if (option == 0 || option == 3) record.Title = titleSortForm(record.Title, rules).text;
}

}  // namespace tessaron
