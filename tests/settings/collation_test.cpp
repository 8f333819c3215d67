#include "settings/collation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "settings/config.h"
#include "support/allocations.h"

namespace {

/// Opens what only derived classes may call.
struct Collation : CCollationSystem {
  using CCollationSystem::ConvertCases;
  using CCollationSystem::IsSpaceChar;
  using CCollationSystem::IsSpecialChar;
};

struct Option {
  explicit Option(std::int32_t option) { CCollationSystem::m_nOption = option; }
  ~Option() { CCollationSystem::m_nOption = -1; }
};

TEST(CCollationSystem, CapitalizesWords) {
  const struct {
    std::u16string text, expected;
  } rows[] = {
      {u"", u""},
      {u"mcDONALD o'BRIEN", u"Mcdonald O'brien"},
      {u"a  b", u"A  b"},  // the second space is the word's first unit
      // clang-format off
      {u"a   b", u"A   B"}, {u" ab", u" ab"}, {u"ab ", u"Ab "}, {u"x\u00A0y\tz", u"X\u00A0Y\tz"},
      {u"ÉMILE ørsted IÏ ßA", u"Émile Ørsted Iï ßa"},
      // clang-format on
      {u"\xD801\xDC28 \xD801", u"\xD801\xDC28 \xD801"},  // unit by unit: no pair is looked at
  };
  for (const auto& row : rows) {
    std::u16string text = row.text;
    EXPECT_EQ(Collation::ConvertCases(text), 0);
    EXPECT_EQ(text, row.expected);
  }
}

TEST(CCollationSystem, KnowsSpacesAndPunctuation) {
  std::u16string spaces, special;
  for (char32_t unit = 0; unit < 0x10000; ++unit) {
    if (Collation::IsSpaceChar(static_cast<char16_t>(unit))) spaces += static_cast<char16_t>(unit);
    if (Collation::IsSpecialChar(static_cast<char16_t>(unit)))
      special += static_cast<char16_t>(unit);
  }
  EXPECT_EQ(spaces, u" \u00A0");
  EXPECT_EQ(special, u"!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~");
}

TEST(CCollationSystem, TurnsNamesAndTitlesIntoTheirSortForms) {
  const auto name = CCollationSystem::ConvertName, title = CCollationSystem::ConvertTitle;
  const struct {
    int (*convert)(std::u16string&);
    std::int32_t option;
    std::u16string text, expected;
  } rows[] = {
      // clang-format off
      {name, 0, u"john smith", u"Smith, John"}, {name, 2, u"john smith", u"Smith, John"},
      {name, 1, u"john smith", u"John Smith"}, {name, 3, u"john smith", u"john smith"},
      {name, -1, u"john smith", u"john smith"}, {name, 0, u"smith, john", u"Smith, John"},
      {name, 0, u"JOHN RONALD REUEL tolkien", u"Tolkien, John Ronald Reuel"},
      {name, 0, u"john smith (editor)", u"Smith (editor), John"},
      {name, 0, u"john\u00A0smith", u"Smith, John"}, {name, 0, u"SMITH", u"Smith"},
      {name, 2, u"x", u"X"}, {name, 0, u"", u""}, {name, 0, u"john ", u"John "},
      {name, 0, u" john", u" john"}, {name, 0, u"a b", u"B, A"}, {name, 0, u"a (b) [c]", u"A (b) [c]"},
      {title, 0, u"the matrix", u"Matrix, The"}, {title, 3, u"THE matrix", u"Matrix, The"},
      {title, 1, u"the matrix", u"the matrix"}, {title, 2, u"the matrix", u"the matrix"},
      {title, -1, u"the matrix", u"the matrix"}, {title, 0, u"a beautiful mind", u"Beautiful mind, A"},
      {title, 0, u"Theatre", u"Theatre"}, {title, 0, u"The ", u"The "}, {title, 0, u"A", u"A"},
      {title, 3, u"A ", u"A "}, {title, 0, u"", u""}, {title, 0, u"The  End", u" End, The"},
      {title, 0, u"An Officer", u"An Officer"}, {title, 0, u"A Place, The", u"A Place, The"},
      {title, 0, u"the élite", u"Élite, The"}, {title, 0, u"The\u00A0End", u"The\u00A0End"},
      // clang-format on
  };
  for (const auto& row : rows) {
    const Option option(row.option);
    std::u16string text = row.text;
    const bool isTurned = row.expected.find(u',') != text.npos && text.find(u',') == text.npos;
    EXPECT_EQ(row.convert(text), isTurned ? 1 : 0);
    EXPECT_EQ(text, row.expected);
    EXPECT_EQ(row.convert(text), 0);
    EXPECT_EQ(text, row.expected) << "a second time";
  }
  const Option option(0);
  std::vector<std::u16string> names = {u"anna berg", u"cher"};
  EXPECT_EQ(CCollationSystem::ConvertNames(names), 0);
  EXPECT_EQ(names, (std::vector<std::u16string>{u"Berg, Anna", u"Cher"}));
}

TEST(CCollationSystem, ConvertsARecordsPeopleAndTitle) {
  const Option after(-1);
  const CRecord::Strings given = {u"jo doe"}, converted = {u"Doe, Jo"};
  const auto people = {&CRecord::actors, &CRecord::artists, &CRecord::authors, &CRecord::directors,
                       &CRecord::translators};
  for (const int option : {0, 3}) {  // the setting as it is now
    CRecord record;
    record.Title = record.OriginalTitle = u"The End";
    for (const auto list : people) record.*list = given;
    record.formats = given;
    _Config.CollationOption = option;
    CCollationSystem::ApplyToRecord(record);
    EXPECT_EQ(CCollationSystem::m_nOption, option);
    for (const auto list : people) EXPECT_EQ(record.*list, option == 0 ? converted : given);
    EXPECT_EQ(record.Title, u"End, The");
    EXPECT_EQ(record.OriginalTitle, u"The End");
    EXPECT_EQ(record.formats, given);
  }
  _Config.CollationOption = 0;
}

TEST(CCollationSystem, ConvertsInPlace) {
  const Option option(0);
  std::u16string name = u"john ronald reuel tolkien of oxford";
  name.reserve(name.size() + 1);
  const std::size_t before = allocatedBytes();
  CCollationSystem::ConvertName(name);
  EXPECT_EQ(allocatedBytes(), before);
  EXPECT_EQ(name, u"Oxford, John Ronald Reuel Tolkien Of");
}

int sign(int value) { return (value > 0) - (value < 0); }

int compare(const std::u16string& a, const std::u16string& b) {
  const int result = CCollationSystem::CompareStringW(a.c_str(), b.c_str(), 0);
  EXPECT_EQ(sign(CCollationSystem::CompareStringW(a.c_str(), b.c_str(), 1)), sign(result));
  return sign(result);
}

TEST(CCollationSystem, ComparesDigitsByValueWithoutRegardToCase) {
  const struct {
    std::u16string a, b;
    int expected;
    // clang-format off
  } rows[] = {
      {u"", u"", 0}, {u"", u"a", -1}, {u"a", u"A", 0}, {u"Part 9", u"part 10", -1}, {u"a2b", u"a10a", -1},
      {u"a", u"a1", -1}, {u"B", u"a", 1}, {u"abc", u"abd", -1}};
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(compare(row.a, row.b), row.expected);
    EXPECT_EQ(compare(row.b, row.a), -row.expected);
  }
  EXPECT_EQ(CCollationSystem::CompareStringW(nullptr, u"", 0), 0);
}

}  // namespace
