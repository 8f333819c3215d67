#include "support/sort_form.h"

#include <gtest/gtest.h>

#include <set>

#include "support/text.h"

namespace tessaron {
namespace {

TEST(SortForm, FollowsTheRulesOfEachLanguage) {
  const struct {
    const char16_t* language;
    std::u16string_view text, expected;
  } names[] = {
      {u"nl", u"Vincent van Gogh", u"Gogh, Vincent van"},
      {u"en", u"Vincent van Gogh", u"van Gogh, Vincent"},
      {u"de", u"Georg von und zu Urff", u"Urff, Georg von und zu"},
      {u"de", u"August am Thym", u"am Thym, August"},
      {u"fr", u"Jean  de La Fontaine ", u"La Fontaine, Jean de"},
      {u"fr", u"Théodore d’Aubigné", u"Aubigné, Théodore d’"},
      {u"fr", u"Charles de l'Écluse", u"l'Écluse, Charles de"},
      {u"es", u"Bartolomé de las Casas", u"Casas, Bartolomé de las"},
      {u"es", u"Manuel Las Heras", u"Las Heras, Manuel"},
      {u"it", u"Gabriele D'Annunzio", u"D'Annunzio, Gabriele"},
      {u"pt-BR", u"Martinho da Fonseca", u"Fonseca, Martinho da"},
      {u"Swedish", u"Carl von Linné", u"Linné, Carl von"},
      {u"SVENSKA (Original)", u"Gerard De Geer", u"De Geer, Gerard"},
      {u"ar", u"Badr Shakir al-Sayyab", u"Sayyab, Badr Shakir al-"},
      {u"ar", u"Osama bin Laden", u"bin Laden, Osama"},
      {u"hu", u"Bartók Béla", u"Bartók, Béla"},
      {u"ja", u"村上\u00A0春樹", u"村上, 春樹"},
      {u"zh", u"村上春樹", u"村上春樹"},
      {u"is", u"Björk Guðmundsdóttir", u"Björk Guðmundsdóttir"},
      {u"ms", u"Ahmad bin Hassan", u"Ahmad bin Hassan"},
      {u"en", u"Martin Luther King Jr.", u"King, Martin Luther, Jr."},
      {u"en", u"John Smith (editor) [b. 1950]", u"Smith (editor) [b. 1950], John"},
      {u"en", u"Edward \"Duke\" Ellington", u"Ellington, Edward \"Duke\""},
      {u"en", u"(x) [y]", u"(x) [y]"},
      {u"de", u"von Goethe", u"Goethe, von"},
      {u"fr", u"La Fontaine", u"La Fontaine"},
      {u"en", u"McDonald, Ronald", u"McDonald, Ronald"},
      {u"en", u" Cher", u"Cher"},
      {u"en", u"", u""},
      {u"en", u"  ", u""},
  };
  const std::remove_reference_t<decltype(names[0])> titles[] = {
      {u"fr", u"L’Étranger", u"Étranger, L’"},
      {u"fr", u"le petit prince", u"Petit prince, le"},
      {u"fr", u"Lettres", u"Lettres"},
      {u"de", u"Die Räuber", u"Räuber, Die"},
      {u"en", u"Die Hard", u"Die Hard"},
      {u"en", u"The Good, the Bad", u"Good, the Bad, The"},
      {u"en", u"The Good, the Bad, The", u"The Good, the Bad, The"},
      {u"en", u"An  Officer", u"Officer, An"},
      {u"en", u"Andes", u"Andes"},
      {u"en", u"The ", u"The"},
      {u"en", u"", u""},
      {u"ar", u"al-Kitab", u"Kitab, al-"},
      {u"fr", u"L' Avare", u"L' Avare"},
  };
  for (const auto& row : names)
    EXPECT_EQ(nameSortForm(row.text, rulesOf(*findSortLanguage(row.language))).text, row.expected);
  for (const auto& row : titles)
    EXPECT_EQ(titleSortForm(row.text, rulesOf(*findSortLanguage(row.language))).text, row.expected);
}

TEST(SortForm, TellsWhy) {
  const SortForm form = nameSortForm(u"Ludwig van Beethoven", rulesOf(*findSortLanguage(u"de")));
  EXPECT_EQ(form.steps.size(), 2u);
  for (const std::string& step : form.steps) EXPECT_NE(step.find("AACR2"), step.npos);
  SortRules own;
  own.articles = {{u"Ein", "mine"}};
  EXPECT_EQ(titleSortForm(u"Ein Tag", own).steps,
            std::vector<std::string>{"the article \"Ein\" goes to the end (mine)"});
  EXPECT_FALSE(findSortLanguage(u"Klingon") || findSortLanguage(u"") || findSortLanguage(u"-"));
}

// A list with a wrong separator, or a name that two languages have, would change what others mean.
TEST(SortForm, HasATableWithoutMistakes) {
  for (const SortLanguage& language : sortLanguages()) {
    EXPECT_EQ(findSortLanguage(fromUtf8(language.code)), &language);
    EXPECT_FALSE(language.articleSource.empty() || language.nameSource.empty());
    std::set<std::u16string> particles;
    const SortRules rules = rulesOf(language);
    for (const auto* list : {&rules.kept, &rules.moved})
      for (const SortRules::Entry& entry : *list) {
        EXPECT_TRUE(particles.insert(entry.text).second) << language.code << toUtf8(entry.text);
        EXPECT_EQ(entry.text.find_first_of(u",|;"), entry.text.npos);
        EXPECT_FALSE(entry.text.empty() || entry.text.front() == u' ' || entry.text.back() == u' ');
      }
    std::u16string_view rest = language.names;
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find(u'|'), rest.size());
      EXPECT_EQ(findSortLanguage(rest.substr(0, end)), &language) << language.code;
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
}

}  // namespace
}  // namespace tessaron
