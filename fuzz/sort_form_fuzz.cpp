// Converts the input to sort forms by the rules of the language that its first byte chooses.

#include <algorithm>
#include <string>

#include "fuzz.h"
#include "support/sort_form.h"
#include "support/text.h"

namespace {

using tessaron::SortForm;

// The letters, in an order of their own: what a sort form must keep.
std::u16string lettersOf(std::u16string text) {
  std::erase_if(text,
                [](char16_t unit) { return unit == u',' || unit == u' ' || unit == u'\u00A0'; });
  std::sort(text.begin(), text.end());
  return text;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::u16string text = utf82wchar(asText(data + 1, size - 1));
  if (const tessaron::SortLanguage* found = tessaron::findSortLanguage(text))
    CHECK(tessaron::findSortLanguage(utf82wchar(std::string(found->code))) == found);
  const auto languages = tessaron::sortLanguages();
  const tessaron::SortRules rules = tessaron::rulesOf(languages[data[0] % languages.size()]);
  const SortForm title = tessaron::titleSortForm(text, rules);
  CHECK(tessaron::titleSortForm(title.text, rules).text == title.text && !title.steps.empty());
  const SortForm name = tessaron::nameSortForm(text, rules);
  CHECK(tessaron::nameSortForm(name.text, rules).text == name.text && !name.steps.empty());
  CHECK(lettersOf(name.text) == lettersOf(text));
  return 0;
}
