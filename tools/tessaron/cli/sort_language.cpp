#include "cli/sort_language.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <vector>

#include "cli/failures.h"
#include "settings/collation.h"
#include "settings/language_sort_forms.h"
#include "support/text.h"

namespace tessaron::tool {

const SortLanguage& sortLanguage(const std::string& name) {
  if (const SortLanguage* language = findSortLanguage(fromUtf8(name))) return *language;
  std::vector<std::string> codes;
  for (const SortLanguage& each : sortLanguages()) codes.emplace_back(each.code);
  throw Failure{kUsage,
                {},
                fmt::format("the sort rules of \"{}\" are not known; there are {}", name,
                            CLI::detail::join(codes, ", "))};
}

void addSortLanguageOption(CLI::App& verb, std::string& language) {
  verb.add_option("--sort-language", language,
                  "Sort forms by the rules of this language, or with auto of each item's own (see "
                  "sortform); names keep their case then")
      ->type_name("CODE|auto");
}

std::function<void(CRecord&)> sortFormsBy(const std::string& language) {
  if (language.empty()) return CCollationSystem::ApplyToRecord;
  if (language == "auto")
    return [](CRecord& record) { applySortForms(record, languageOf(record)); };
  return [rules = &sortLanguage(language)](CRecord& record) { applySortForms(record, rules); };
}

}  // namespace tessaron::tool
