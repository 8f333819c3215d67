#include "catalogue/query.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "catalogue/item_merge.h"
#include "catalogue/item_order.h"
#include "records/item_stream.h"
#include "support/files.h"
#include "support/record_samples.h"
#include "support/text.h"

namespace {

using tessaron::ItemOrder;
using tessaron::Query;
using tessaron::QueryError;

const SYSTEMTIME kNow{2024, 2, 4, 29, 12, 0, 0, 0};  // a leap day

std::string sample(const std::string& name) {
  std::string text;
  EXPECT_TRUE(tessaron::readFile(tessaron::fromUtf8(TESSARON_SAMPLES "/" + name), text));
  return text;
}

std::vector<CRecord> items() {
  static const std::string text = sample("queried.xml");
  std::vector<CRecord> records;
  for (tessaron::ItemStream stream(text); stream.next();) stream.read(records.emplace_back());
  return records;
}

// The rows of queries.txt that begin with a word: what follows it, split at tabs into so many
// parts.
std::vector<std::vector<std::string>> rowsOf(const std::string& word, std::size_t parts) {
  std::istringstream lines(sample("queries.txt"));
  std::vector<std::vector<std::string>> rows;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(word + '\t')) continue;
    std::istringstream rest(line.substr(word.size() + 1));
    std::vector<std::string>& row = rows.emplace_back(parts);
    for (std::size_t i = 0; i < parts; ++i) std::getline(rest, row[i], i + 1 < parts ? '\t' : '\n');
  }
  EXPECT_GT(rows.size(), 20u);
  return rows;
}

TEST(Query, FindsItems) {
  const std::vector<CRecord> records = items();
  for (const std::vector<std::string>& row : rowsOf("found", 2)) {
    QueryError error;
    const auto query = Query::parse(row[1], kNow, error);
    ASSERT_TRUE(query) << row[1] << ": " << error.message;
    const auto again = Query::parse(query->text(), kNow, error);
    ASSERT_TRUE(again) << query->text();
    EXPECT_EQ(again->text(), query->text()) << row[1];
    std::string found, foundAgain;
    for (const CRecord& record : records) {
      if (query->matches(record)) found += tessaron::toUtf8(record.ASIN);
      if (again->matches(record)) foundAgain += tessaron::toUtf8(record.ASIN);
    }
    EXPECT_EQ(found, row[0]) << row[1];
    EXPECT_EQ(foundAgain, row[0]) << query->text();
  }
}

TEST(Query, TellsWhatIsWrongAndWhere) {
  for (const std::vector<std::string>& row : rowsOf("wrong", 3)) {
    QueryError error;
    EXPECT_FALSE(Query::parse(row[2], kNow, error)) << row[2];
    EXPECT_NE(error.message.find(row[1]), std::string::npos) << row[2] << error.message;
    EXPECT_EQ(std::to_string(error.place), row[0]) << row[2];
  }
}

// Pages cannot look for files.
TEST(Query, LooksForFiles) {
  QueryError error;
  const auto query = Query::parse("missing:file", kNow, error);
  ASSERT_TRUE(query) << error.message;
  EXPECT_TRUE(
      std::ranges::none_of(items(), [&](const auto& each) { return query->matches(each); }));
  EXPECT_FALSE(Query::parse("missing:author", kNow, error));
  EXPECT_EQ(error.place, 8u);
}

TEST(ItemOrder, SortsByValueWithMissingOnesLast) {
  const struct {
    const char* query;
    const char* expected;  // the ASINs in order
  } rows[] = {
      {"title", "DBAC"},  {"-title", "CABD"},       {"price", "CABD"},  {"-price", "BACD"},
      {"year", "ACBD"},   {"added", "ABDC"},        {"-added", "BADC"}, {"status", "ACDB"},
      {"rating", "BADC"}, {"group,title", "ACBD"},  {"author", "ACDB"}, {"due", "CADB"},
      {"people", "BACD"}, {"custom.schön", "BDAC"},
  };
  for (const auto& row : rows) {
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
