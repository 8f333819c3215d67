#include "catalogue/query.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "catalogue/item_merge.h"
#include "catalogue/item_order.h"
#include "records/item_stream.h"
#include "support/dos_date.h"
#include "support/record_samples.h"
#include "support/text.h"

namespace {

using tessaron::ItemOrder;
using tessaron::Query;
using tessaron::QueryError;
using tessaron::toDosDate;

const SYSTEMTIME kNow{2024, 2, 4, 29, 12, 0, 0, 0};  // a leap day

CRecord item(std::u16string asin, std::u16string title, std::u16string group) {
  CRecord record;
  record.ASIN = std::move(asin);
  record.Title = std::move(title);
  record.ProductGroup = std::move(group);
  return record;
}

CRecord lent(CRecord record, std::int32_t status, std::u16string who, std::uint16_t until) {
  record.hasStatus = true;
  record.status = status;
  record.StatusTarget = std::move(who);
  record.StatusEndDate = until;
  return record;
}

std::vector<CRecord> items() {
  CRecord a = item(u"A", u"Left Hand of Darkness, The", u"Book");
  a.authors = {u"Le Guin, Ursula K."};
  a.ReleaseDate = u"1969-03-01";
  a.NumberOfPages = u"1,304 pages";
  a.ListPrice = u"$12.99";
  a.AverageRating = u"4.5 out of 5";
  a.DateAdded = toDosDate(2024, 1, 31);
  a.Notes = u"signed";
  a = lent(std::move(a), 0, u"Mira Öz", toDosDate(2024, 3, 5));

  CRecord b = item(u"B", u"Größenwahn: 2001 — »12\" mix«", u"Music");
  b.artists = {u"Ångström", u"Łódź Trio"};
  b.discs = {{u"Intro"}, {u"Ouvertüre", u"Straße"}};
  b.ReleaseDate = u"September 2001";
  b.ListPrice = u"€49,00";
  b.AverageRating = u"3";
  b.DateAdded = toDosDate(2024, 2, 29);
  b.customFieldNames[1] = u"Mein Regal";
  b.customFieldValues[1] = u"B-3, oben";
  b.customFieldNames[2] = u"Schön";
  b.customFieldValues[2] = u"ja";

  CRecord c = item(u"C", u"ソラリス", u"DVD");
  c.directors = {u"Tarkovsky, Andrei"};
  c.authors = {u"Lem"};
  c.TheatricalReleaseDate = u"1972";
  c.ListPrice = u"$5";
  c = lent(std::move(c), 2, u"", toDosDate(2024, 2, 28));
  CRecord d = item(u"D", u"A - B", u"");
  d = lent(std::move(d), 99, u"", 0);  // no status has this number
  return {a, b, c, d};
}

struct Row {
  const char* query;
  const char* expected;  // the ASINs found
};

TEST(Query, FindsItems) {
  const Row rows[] = {
      // Words anywhere, without regard to case and accents
      {"", "ABCD"},
      {"  \t", "ABCD"},
      {"DARKNESS", "A"},
      {"grossenwahn", "B"},
      {"Angstrom lodz", "B"},
      {"STRASSE", "B"},
      {"oben", "B"},
      {"oz", "A"},
      {"signed", "A"},
      {"ソラリス", "C"},
      {"book", ""},
      {"darkness introspection", ""},
      {"introouv", ""},
      // Phrases, quotation marks, alternatives, negation
      {"\"hand of dark\"", "A"},
      {"\"of hand\"", ""},
      {"2001", "B"},
      {"12\"", "B"},
      {"\"12\"\" mix\"", "B"},
      {"\"a - b\"", "D"},
      {"\"-\"", "BD"},
      {"lem,signed", "AC"},
      {"-lem,signed", "BD"},
      {"-lem -signed group:music", "B"},
      // Texts of fields
      {"author:guin,lem", "AC"},
      {"AUTHORS:guin", "A"},
      {"author=lem", "C"},
      {"author=le", ""},
      {"people:tark,angstrom", "BC"},
      {"track=intro,artist:xyz", "B"},
      {"custom:regal", "B"},
      {"custom.schon:ja", "B"},
      {"custom.schön=j", ""},
      {"group=", "D"},
      {"-group=", "ABC"},
      {"group=,dvd", "CD"},
      {"who:oz", "A"},
      {"has:author", "AC"},
      {"-has:status", "B"},
      {"has:file,author", "AC"},
      {"missing:file", ""},
      // Statuses as a whole
      {"status:lent", "A"},
      {"status:rented", ""},
      {"status=Rented_OUT", "C"},
      {"status:none", "B"},
      {"-status:none,lent", "CD"},
      {"status:\"rented out\",lent", "AC"},
      {"status=,lent", "AB"},
      // Numbers
      {"pages:1304", "A"},
      {"pages=1000..", "A"},
      {"rating:..4", "B"},
      {"rating:3..4.5", "AB"},
      {"-rating:..3", "ACD"},
      {"status.value:0", "A"},
      {"year:1969..1972", "AC"},
      {"year:2001", "B"},
      {"year=", "D"},
      // Prices
      {"price:..12.99", "AC"},
      {"price:5,49", "BC"},
      {"price:\"12,50..\"", "AB"},
      {"price:$12..", "A"},
      {"price:..60EUR", "B"},
      // Dates
      {"released:1969", "A"},
      {"released:1969-03", "A"},
      {"released:1969-04..", "B"},
      {"premiere:1972-01-01", "C"},
      {"added:2024-01..2024-02", "AB"},
      {"added:..2024-01", "A"},
      {"added:today", "B"},
      {"added:-4w..", "B"},
      {"added:-1m..", "AB"},
      {"added:-29d..yesterday", "A"},
      {"until:..tomorrow", "C"},
      {"due:..7d", "AC"},
      {"due:..today", "C"},
      {"due:2024-03-05", "A"},
      {"due=", "BD"},
      {"due:..+1y -group:book", "C"},
  };
  const std::vector<CRecord> records = items();
  for (const Row& row : rows) {
    QueryError error;
    const auto query = Query::parse(row.query, kNow, error);
    ASSERT_TRUE(query) << row.query << ": " << error.message;
    const auto again = Query::parse(query->text(), kNow, error);
    ASSERT_TRUE(again) << query->text();
    EXPECT_EQ(again->text(), query->text()) << row.query;
    std::string found, foundAgain;
    for (const CRecord& record : records) {
      if (query->matches(record)) found += tessaron::toUtf8(record.ASIN);
      if (again->matches(record)) foundAgain += tessaron::toUtf8(record.ASIN);
    }
    EXPECT_EQ(found, row.expected) << row.query;
    EXPECT_EQ(foundAgain, row.expected) << query->text();
  }
}

TEST(Query, TellsWhatIsWrongAndWhere) {
  const struct {
    const char* query;
    std::size_t place;
    const char* message;
  } rows[] = {
      {"a rating", 2, ""},  // none
      {"a ratng:3", 2, "is no field"},
      {"Wars: Episode", 0, "is no field"},
      {"custom.:x", 0, "is no field"},
      {"a -", 2, "nothing follows the minus"},
      {"- a", 0, "nothing follows the minus"},
      {"a,", 2, "nothing follows the comma"},
      {"a,,b", 2, "in front of the comma"},
      {",b", 0, "in front of the comma"},
      {"title:", 6, "\"title=\" finds items without"},
      {"title:\"\"", 6, "is empty"},
      {"\"\"", 0, "is empty"},
      {"a \"b c", 2, "closing quotation mark is missing"},
      {"\"b c\"d", 5, "a blank or a comma"},
      {"\u0301", 0, "but accents"},
      {"missing:author", 8, "write missing:file"},
      {"has:authr", 4, "is no field"},
      {"has=author", 3, "with a colon"},
      {"status:lnt", 7, "\"lnt\" is no status; there are none, lent"},
      {"pages:many", 6, "\"many\" is no number"},
      {"pages:0x10", 6, "is no number"},
      {"pages:nan", 6, "is no number"},
      {"pages:1e999", 6, "is no number"},
      {"pages:..", 6, "at least one end"},
      {"pages:5..3", 6, "empty range"},
      {"price:$1..€5", 6, "two currencies"},
      {"price:-5", 6, "is no price"},
      {"added:2023-02-29", 6, "is no date"},
      {"added:2023-13", 6, "is no date"},
      {"added:12345d", 6, "is no date"},
      {"due:7x", 4, "is no date"},
      {"due:soon,x", 4, "\"soon\" is no date"},
  };
  for (const auto& row : rows) {
    QueryError error;
    const bool isQuery = Query::parse(row.query, kNow, error).has_value();
    EXPECT_EQ(isQuery, *row.message == '\0') << row.query;
    if (isQuery) continue;
    EXPECT_NE(error.message.find(row.message), std::string::npos) << row.query << error.message;
    EXPECT_EQ(error.place, row.place) << row.query;
  }
}

TEST(ItemOrder, SortsByValueWithMissingOnesLast) {
  const Row rows[] = {
      {"title", "DBAC"},  {"-title", "CABD"},       {"price", "CABD"},  {"-price", "BACD"},
      {"year", "ACBD"},   {"added", "ABDC"},        {"-added", "BADC"}, {"status", "ACDB"},
      {"rating", "BADC"}, {"group,title", "ACBD"},  {"author", "ACDB"}, {"due", "CADB"},
      {"people", "BACD"}, {"custom.schön", "BDAC"},
  };
  for (const Row& row : rows) {
    std::string unknown;
    const auto order = ItemOrder::parse(row.query, unknown);
    ASSERT_TRUE(order) << row.query;
    std::vector<CRecord> records = items();
    std::ranges::stable_sort(records, [&](const CRecord& left, const CRecord& right) {
      return order->isBefore(order->keyOf(left, kNow), order->keyOf(right, kNow));
    });
    std::string sorted;
    for (const CRecord& record : records) sorted += tessaron::toUtf8(record.ASIN);
    EXPECT_EQ(sorted, row.expected) << row.query;
  }
  std::string unknown;
  EXPECT_FALSE(ItemOrder::parse("title,-nme", unknown));
  EXPECT_EQ(unknown, "nme");
}

// What the table of fields says of details is what the reader leaves out.
TEST(ItemField, KnowsTheDetails) {
  for (std::uint32_t seed = 0; seed < 40; ++seed) {
    const std::string text =
        "<PriceTracker><Items>" + tessaron::itemText(tessaron::randomRecord(seed));
    tessaron::ItemStream stream(text);
    ASSERT_TRUE(stream.next());
    CRecord brief, whole;
    brief.fullDetail = false;
    stream.read(brief);
    stream.read(whole);
    for (const std::string& name : tessaron::recordColumns()) {
      if (name == "NumberOfDiscs") continue;  // is counted where an item does not give it
      const tessaron::RecordColumn column = tessaron::recordColumn(name);
      std::string briefCell, wholeCell;
      appendCell(brief, column, kNow, briefCell);
      appendCell(whole, column, kNow, wholeCell);
      EXPECT_EQ(briefCell, isDetail(column) ? "" : wholeCell) << name;
    }
  }
}

}  // namespace
