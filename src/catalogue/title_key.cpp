#include "catalogue/title_key.h"

#include <algorithm>
#include <set>
#include <vector>

#include "support/fold.h"
#include "support/sort_form.h"

namespace tessaron {
namespace {

using Words = std::vector<std::u16string>;

// Letters and digits: all but ASCII's and the general punctuation, spaces, and signs.
bool isWordPart(char16_t unit) {
  if (unit < 0x80)
    return (unit >= u'0' && unit <= u'9') || (unit >= u'a' && unit <= u'z') ||
           (unit >= u'A' && unit <= u'Z');
  const bool isLatinSign = unit < 0xC0 && unit != 0xAA && unit != 0xB5 && unit != 0xBA;
  return !isLatinSign && unit != 0xD7 && unit != 0xF7 && !(unit >= 0x2000 && unit <= 0x206F) &&
         !(unit >= 0x3000 && unit <= 0x3003) && !(unit >= 0x3008 && unit <= 0x301F) &&
         unit != 0x30FB && unit != 0x05BE && unit != 0x05F3 && unit != 0x060C;
}

Words wordsOf(std::u16string_view folded) {
  Words words;
  bool isInWord = false;
  for (const char16_t unit : folded) {
    if (!isWordPart(unit)) {
      isInWord = false;
      continue;
    }
    if (!isInWord) words.emplace_back();
    words.back() += unit;
    isInWord = true;
  }
  return words;
}

std::u16string joined(const Words& words) {
  std::u16string text;
  for (const std::u16string& word : words) (text += text.empty() ? u"" : u" ") += word;
  return text;
}

// The articles of all languages: of a title nobody says in which one it is.
bool isArticle(const Words& words) {
  static const std::set<std::u16string> articles = [] {
    std::set<std::u16string> all;
    for (const SortLanguage& language : sortLanguages())
      for (const SortRules::Entry& article : rulesOf(language).articles)
        all.insert(joined(wordsOf(foldText(article.text))));
    return all;
  }();
  return articles.contains(joined(words));
}

}  // namespace

std::u16string wordsKey(std::u16string_view text) {
  Words words = wordsOf(foldText(text));
  std::sort(words.begin(), words.end());
  return joined(words);
}

std::u16string titleKey(std::u16string_view title) {
  const std::u16string folded = foldText(title);
  const std::size_t comma = folded.rfind(u',');
  if (comma != folded.npos && isArticle(wordsOf(std::u16string_view(folded).substr(comma))))
    return joined(wordsOf(std::u16string_view(folded).substr(0, comma)));
  Words words = wordsOf(folded);
  if (words.size() > 1 && isArticle({words.front()})) words.erase(words.begin());
  return joined(words);
}

}  // namespace tessaron
