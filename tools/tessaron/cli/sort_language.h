#pragma once
// The language whose rules give sort forms, as the command line names it.

#include <functional>
#include <string>

#include "records/record.h"
#include "support/sort_form.h"

namespace CLI {
class App;
}

namespace tessaron::tool {

/// The language of that code or name. Fails with kUsage when it has no rules.
const SortLanguage& sortLanguage(const std::string& name);

/// Adds --sort-language CODE|auto.
void addSortLanguageOption(CLI::App& verb, std::string& language);

/// What gives a record its sort forms: by the library's rule for an empty language, by that of each
/// record's own language for "auto". Fails as `sortLanguage` does.
std::function<void(CRecord&)> sortFormsBy(const std::string& language);

}  // namespace tessaron::tool
