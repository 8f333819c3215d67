#pragma once
// Sort forms of titles and names by the cataloging rules of their language. All of it may be used
// by any thread.

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tessaron_export.h"

namespace tessaron {

/// Where a name as it is written has the family name.
enum class NameOrder {
  FamilyLast,
  FamilyFirst,
  AsWritten,  ///< people are sorted by what they are called first
};

/// How a language sorts: a row of a table. Lists are separated by '|'.
struct SortLanguage {
  std::string_view code;      ///< of ISO 639-1
  std::u16string_view names;  ///< of the language, in small letters, and its other codes
  NameOrder order;
  std::u16string_view articles;  ///< at the start of titles
  std::u16string_view kept;      ///< particles that stay in front of the family name
  std::u16string_view moved;     ///< particles that go behind the given names
  std::string_view articleSource;
  std::string_view nameSource;
};

/// The languages that are known, by their codes in alphabetical order.
TESSARON_API std::span<const SortLanguage> sortLanguages();

/// The language with that code or name, whatever its case and accents; a region behind the code
/// ("pt-BR") and a remark behind the name ("English (Published)") do not count. Null when it is not
/// known.
TESSARON_API const SortLanguage* findSortLanguage(std::u16string_view name);

/// The rules for sort forms: those of a language, or one's own.
struct SortRules {
  /// What forms a part of a text, and where that is said.
  struct Entry {
    std::u16string text;
    std::string_view source;  ///< valid for ever
  };
  NameOrder order = NameOrder::FamilyLast;
  std::string_view nameSource = "the last word is the family name";
  std::vector<Entry> articles, kept, moved;
};

/// The rules of a language.
TESSARON_API SortRules rulesOf(const SortLanguage& language);

/// A sort form, and how it came about: a clause for each step.
struct SortForm {
  std::u16string text;
  std::vector<std::string> steps;
};

/// "Le Petit Prince" becomes "Petit Prince, Le": moves an initial article behind a comma to the end
/// and capitalizes what is behind it. A title that is nothing but an article, or ends with one
/// behind a comma, stays. Case does not count for articles; they stay as they are written.
TESSARON_API SortForm titleSortForm(std::u16string_view title, const SortRules& rules);

/// "Ludwig van Beethoven" becomes "Beethoven, Ludwig van", or "Van Gogh, Vincent" where the
/// particle stays with the name. The longest particles in front of the family name count. What
/// begins with punctuation stays behind the family name; "Jr." and the like go to the end. A name
/// with a comma stays. No letter changes its case.
TESSARON_API SortForm nameSortForm(std::u16string_view name, const SortRules& rules);

}  // namespace tessaron
