#include "records/record_cells.h"

#include <gtest/gtest.h>

#include <set>

#include "records/product_number.h"
#include "support/ascii.h"
#include "support/dos_date.h"
#include "support/record_samples.h"
#include "support/text.h"

namespace tessaron {
namespace {

const SYSTEMTIME kNow{2024, 6, 1, 10, 12, 0, 0, 0};

std::string cell(const CRecord& record, RecordColumn column) {
  std::string text;
  appendCell(record, column, kNow, text);
  return text;
}

TEST(RecordColumns, AreFoundByTheirNamesInAnyCase) {
  std::set<std::string> names;
  for (std::size_t i = 0; i < recordColumns().size(); ++i) {
    const auto column = static_cast<RecordColumn>(i);
    const std::string own = recordColumns()[i];
    const std::string shorter(shortName(column));
    for (const std::string& name : {own, shorter, lowerLetters(own)})
      EXPECT_EQ(findColumn(name), column) << name;
    EXPECT_TRUE(names.insert(lowerLetters(own)).second) << own;
    EXPECT_TRUE(shorter == own || names.insert(shorter).second) << shorter << " is another's";
  }
  EXPECT_FALSE(findColumn(""));
  EXPECT_EQ(findColumn("until"), recordColumn("status.end"));
  EXPECT_EQ(valueKind(*findColumn("until")), ValueKind::Date);
  EXPECT_EQ(valueKind(*findColumn("price")), ValueKind::Price);
}

TEST(RecordCells, AreReadAsTheyAreWritten) {
  for (std::uint32_t seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    CRecord record = randomRecord(seed);
    if (seed % 2) record.StatusEndDate = toDosDate(2024, 6, 11);
    for (std::u16string& rating : record.reviewRatings) rating.assign(1, u'4');
    CRecord copy;
    for (std::size_t i = 0; i < recordColumns().size(); ++i) {
      const auto column = static_cast<RecordColumn>(i);
      const std::string& name = recordColumns()[i];
      if (name == "status.text" || name == "status.due") continue;
      const std::u16string text = fromUtf8(cell(record, column));
      EXPECT_EQ(setCell(copy, column, text, CellCheck::AnyText), "") << name;
    }
    for (std::size_t i = 0; i < recordColumns().size(); ++i) {
      const auto column = static_cast<RecordColumn>(i);
      EXPECT_EQ(cell(copy, column), cell(record, column)) << recordColumns()[i];
    }
  }
}

TEST(RecordCells, TellWhyTheyCannotBeTaken) {
  struct Row {
    std::string_view column;
    std::u16string_view text;
    std::string_view cell;  // what is there afterwards; of an error, a part of its text
    bool isError = false;
  };
  constexpr bool kError = true;
  constexpr Row kRows[] = {
      {"author", u" Ann ;; Ben;", "Ann; Ben"},
      {"author", u"", ""},
      {"added", u"2024-02-29", "2024-02-29"},
      {"added", u"2023-02-29", "no date", kError},
      {"added", u"1979-12-31", "no date", kError},
      {"released", u"1999", "1999"},
      {"released", u"1963-02-28", "1963-02-28"},
      {"released", u"1963-13", "no date", kError},
      {"released", u"soon", "no date", kError},
      {"pages", u"320 p.", "320 p."},
      {"pages", u"many", "no number", kError},
      {"price", u"12,99 EUR", "12,99 EUR"},
      {"price", u"free", "no price", kError},
      {"icon", u"-3", "-3"},
      {"icon", u"3x", "no number", kError},
      {"who", u"Mo", "no status", kError},
      {"status", u"rented out", "Rented Out"},
      {"status", u"eaten", "no status", kError},
      {"status.value", u"1", "1"},
      {"status.due", u"1", "made of the other", kError},
      {"discs", u"a; b\nc", "a; b\nc"},
      {"custom", u"shelf: 3; lent by: Mo", "shelf: 3; lent by: Mo"},
      {"custom", u"shelf", "name: value", kError},
      {"custom", u"a:1;b:2;c:3;d:4;e:5;f:6;g:7;h:8", "room for 7", kError},
      {"reviewSummaries", u"fine; or not", "fine; or not"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.column);
    CRecord record;
    record.authors = {u"before"};
    const RecordColumn column = findColumn(row.column).value();
    const std::string before = cell(record, column);
    const std::string error = setCell(record, column, row.text, CellCheck::Typed);
    EXPECT_EQ(!error.empty(), row.isError) << error;
    EXPECT_TRUE(error.find(row.isError ? row.cell : "") != error.npos) << error;
    EXPECT_EQ(cell(record, column), row.isError ? before : row.cell);
    EXPECT_EQ(record.hasAuthors, column == findColumn("author") && !row.text.empty());
  }
}

TEST(RecordCells, ADifferentStatusDropsPersonAndDates) {
  CRecord record;
  const auto set = [&](std::string_view name, std::u16string_view text) {
    return setCell(record, *findColumn(name), text, CellCheck::Typed);
  };
  EXPECT_EQ(set("status", u"lent"), "");
  EXPECT_EQ(set("who", u"Mo"), "");
  EXPECT_EQ(set("until", u"2024-06-11"), "");
  EXPECT_EQ(set("status", u"lent"), "");
  EXPECT_EQ(record.StatusTarget, u"Mo");
  EXPECT_EQ(record.StatusEndDate, toDosDate(2024, 6, 11));
  EXPECT_EQ(set("status", u"rented"), "");
  EXPECT_EQ(record.StatusTarget, u"");
  EXPECT_EQ(set("status", u""), "");
  EXPECT_TRUE(!record.hasStatus && record.StatusEndDate == 0);
}

TEST(ProductNumber, IsThatOfEveryFormWithARightCheckDigit) {
  constexpr std::pair<std::u16string_view, std::u16string_view> kRows[] = {
      {u"9780306406157", u"9780306406157"},
      {u"978-0-306-40615-7", u"9780306406157"},
      {u"0-306-40615-2", u"9780306406157"},
      {u"0306406152", u"9780306406157"},
      {u"080442957X", u"9780804429573"},
      {u"080442957x", u"9780804429573"},
      {u"712345678904", u"0712345678904"},
      {u"4006381333931", u"4006381333931"},
      {u"9780306406158", u""},
      {u"0306406153", u""},
      {u"X804429570", u""},
      {u"036000291453", u""},
      {u"97803064061570", u""},
      {u"978030640615a", u""},
      {u"", u""},
      {u"B00005N5PF", u""},
  };
  for (const auto& [text, number] : kRows)
    EXPECT_EQ(productNumber(text).value_or(u""), number) << toUtf8(text);
}

}  // namespace
}  // namespace tessaron
