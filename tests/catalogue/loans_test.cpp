#include "catalogue/loans.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "catalogue/item_merge.h"
#include "support/edited_collection.h"
#include "support/text.h"

namespace tessaron {
namespace {

std::string shown(const CLoan& loan) {
  std::string text = std::to_string(loan.status) + toUtf8(loan.who);
  for (const std::uint16_t date : {loan.begin, loan.end, loan.returned})
    text += '.' + (date == 0 ? std::string() : std::to_string(date & 31));
  return text;
}

// The status, a bar, all other loans: each its status, its person and the days of its dates.
std::string shown(const CRecord& record) {
  std::string text;
  if (record.hasStatus)
    text = shown(
        {record.status, record.StatusTarget, record.StatusBeginDate, record.StatusEndDate, 0});
  text += " |";
  for (const CLoan& loan : record.loans) text += ' ' + shown(loan);
  return text;
}

std::uint16_t day(int number) { return static_cast<std::uint16_t>((44 << 9 | 1 << 5) + number); }

TEST(Loans, BeginAndEnd) {
  const struct {
    const char* steps;  // "+ STATUS WHO BEGIN END" or "- WHO DAY"; "_" for nobody or no date
    std::int32_t copies;
    std::string expected;  // the item in the end, or the error of the last step
  } rows[] = {
      {"+ 0 Mira 1 9", 1, "0Mira.1.9. |"},
      {"+ 0 Mira 1 9 - _ 5", 1, " | 0Mira.1.9.5"},
      {"+ 0 Mira 1 9 - MÍRA 5 + 1 Bo 6 _ - _ 7", 1, " | 0Mira.1.9.5 1Bo.6..7"},
      {"+ 0 Mira 1 9 + 0 Bo 2 5 + 0 Cy 2 _", 3, "0Bo.2.5. | 0Mira.1.9. 0Cy.2.."},
      {"+ 0 Mira 1 9 + 0 Bo 2 5 - Bo 4", 2, "0Mira.1.9. | 0Bo.2.5.4"},
      {"+ 0 Mira 1 9 + 0 Mira 2 5 - Mira 4", 2, "0Mira.1.9. | 0Mira.2.5.4"},
      {"+ 0 Mira 1 9 + 0 Bo 2 5", 1, "it is lent to Mira already"},
      {"+ 0 Mira 1 9 + 2 Bo 2 5 + 0 Cy 1 1", 2,
       "all 2 copies are away: rented out to Bo and lent to Mira"},
      {"+ 1 Mira 1 9 + 0 Bo 2 5", 2, "it is borrowed from Mira already"},
      {"+ 0 Mira 1 9 + 1 Bo 2 5", 2, "it is lent to Mira already"},
      {"+ 0 Mira 9 1", 1, "the loan would end before it begins"},
      {"- _ 5", 1, "it is neither lent nor borrowed"},
      {"+ 0 Mira 3 9 - _ 2", 1, "it would be returned before the loan began"},
      {"+ 0 Mira 1 9 - Bo 5", 1, "it is not with Bo but lent to Mira"},
      {"+ 0 Mira 1 9 + 0 Bo 2 5 - _ 6", 2,
       "it is lent to Bo and lent to Mira; tell who returns it"},
  };
  for (const bool isFavorite : {false, true}) {
    for (const auto& [steps, copies, expected] : rows) {
      SCOPED_TRACE(steps);
      CRecord record;
      record.copies = copies;
      record.hasStatus = isFavorite;
      record.status = isFavorite ? 7 : 0;
      std::string error, kind, who, begin, end;
      const auto date = [](const std::string& text) { return text == "_" ? 0 : day(stoi(text)); };
      const auto person = [&] { return who == "_" ? u"" : fromUtf8(who); };
      std::istringstream stream(steps);
      while (stream >> kind && error.empty()) {
        std::int32_t status = 0;
        if (kind == "+") {
          stream >> status >> who >> begin >> end;
          error = beginLoan(record, {status, person(), static_cast<std::uint16_t>(date(begin)),
                                     static_cast<std::uint16_t>(date(end)), 0});
        } else {
          stream >> who >> end;
          error = endLoan(record, person(), static_cast<std::uint16_t>(date(end)));
        }
      }
      if (!error.empty()) {
        EXPECT_EQ(error, expected);
        continue;
      }
      std::string wanted = expected;  // the other status waits behind the loans, or is back
      if (isFavorite && wanted.starts_with(' '))
        wanted = "7..." + wanted;
      else if (isFavorite)
        wanted += " 7...";
      EXPECT_EQ(shown(record), wanted);
      EXPECT_EQ(shown(recordOf(itemText(record))), wanted);
    }
  }
}

TEST(Loans, StayInAnItemWithAllThatOthersPutThere) {
  EditedCollection collection;
  ASSERT_FALSE(collection.parse(
      "<PriceTracker><Items><Item><ASIN>1</ASIN><Tessaron a=\"b\"><Folders/><Mine>x</Mine><Loans>"
      "<!--c--><Loan x=\"y\" status=\"0\" who=\"&lt;Bo&gt;\" from=\"2024-01-02\" "
      "returned=\"2024-02-30\" "
      "/></Loans></Tessaron></Item></Items></PriceTracker>"));
  EXPECT_EQ(shown(collection.records()[0]), " | 0<Bo>.2..");
  CRecord record = collection.records()[0];
  record.copies = 2;
  ASSERT_EQ(beginLoan(record, {0, u"Mira", day(1), day(9), 0}), "");
  ASSERT_EQ(endLoan(record, u"<bo>", day(4)), "");
  ASSERT_TRUE(collection.update(0, record));
  EXPECT_EQ(shown(collection.records()[0]), "0Mira.1.9. | 0<Bo>.2..4");
  EXPECT_EQ(collection.records()[0].copies, 2);
  for (const char* kept : {" a=\"b\"", " x=\"y\"", "<Mine>x</Mine>", "<!--c-->"})
    EXPECT_NE(collection.text().find(kept), std::string::npos) << kept << collection.text();

  ImportCounts counts;
  ASSERT_FALSE(collection.import(
      "<R><Items><Item><ASIN>1</ASIN><ItemAttributes><Title>t</Title></ItemAttributes></Item>"
      "</Items></R>",
      0, counts));
  EXPECT_EQ(counts.updated, 1u);
  EXPECT_EQ(shown(collection.records()[0]), "0Mira.1.9. | 0<Bo>.2..4") << "an import takes nothing";
}

}  // namespace
}  // namespace tessaron
