#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "catalogue/item_finder.h"
#include "catalogue/item_form.h"
#include "catalogue/item_merge.h"
#include "support/text.h"

using tessaron::FormError;
using tessaron::formText;
using tessaron::ItemFinder;
using tessaron::ItemStream;
using tessaron::readForm;
using tessaron::toUtf8;

TEST(ItemFinder, TakesTheStrongestMatch) {
  const std::string collection =
      "<P><Items><Item><ASIN>316148410X</ASIN><ItemAttributes><Title>Dune</Title>"
      "</ItemAttributes></Item><Item><ASIN>B2</ASIN><ItemAttributes><Title>Dune Messiah, The"
      "</Title><EAN>4006381333931</EAN><UPC>036000291452</UPC></ItemAttributes></Item>"
      "<Item><ASIN>b2</ASIN><ItemAttributes><Title>\u00C9lan 1984: "
      "D\u00FCnen</Title></ItemAttributes>"
      "</Item><Item><ItemAttributes><Title>\u661F\u3092\u7DE8\u3080\u732B</Title>"
      "<EAN>9780261102217</EAN><ISBN>0261102214</ISBN></ItemAttributes></Item>"
      "<Item><ASIN>B2</ASIN><ItemAttributes><Title>Dune again</Title></ItemAttributes></Item>"
      "</Items><Details><Asin>B5</Asin><ProductName>Old Theory</ProductName>"
      "<Upc>0 36000 29145 2</Upc></Details></P>";
  const struct {
    std::u16string name;
    std::string keys;
  } rows[] = {
      {u"B2", "B2"},                         // exact, and the first of two
      {u"b5", "B5"},                         // in other case
      {u"978-3-16-148410-0", "316148410X"},  // the shop's key of a book is its ISBN
      {u"3-16-148410-x", "316148410X"},
      {u"4 006381 333931", "B2"},
      {u"0-261-10221-4", "?"},      // an item without a key, once
      {u"036000291452", "B2 B5"},   // two have that number
      {u"9780261102218", ""},       // a wrong check digit
      {u"dune", "316148410X"},      // the whole title goes before its words
      {u"The Dune Messiah", "B2"},  // in any order
      {u"dune mess", "B2"},         // beginnings of words
      {u"une", ""},                 // no other parts of words
      {u"elan dunen", "b2"},        // accents do not count
      {u"1984", "b2"},
      {u"\u732B", "?"},             // words that no blanks separate
      {u"du", "316148410X B2 b2"},  // each key once
      {u"old theory", "B5"},
      {u"the", "B2"},  // whole words go before beginnings
      {u"th", "B2 B5"},
      {u":-", ""},
  };
  std::vector<std::u16string> names;
  for (const auto& row : rows) names.push_back(row.name);
  ItemFinder finder(names, ItemFinder::By::Everything);
  ItemStream items{std::string_view(collection)};
  while (items.next()) finder.see(items);
  ASSERT_FALSE(items.error());
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::string keys;
    for (const auto& candidate : finder.result(i).candidates)
      keys += (keys.empty() ? "" : " ") +
              (candidate.asin.empty() ? std::string("?") : toUtf8(candidate.asin));
    EXPECT_EQ(keys, rows[i].keys) << toUtf8(names[i]);
  }
}

namespace {

CRecord sampleItem() {
  CRecord record;
  record.ASIN = u"A1";
  record.Title = u"Title: # |";
  record.actors = {u"A; B", u"", u"C"};
  record.discs = {{u"One", u"[2] Two"}, {}, {u"Three"}};
  record.Notes = u"a\n\n  b\n";
  record.description = u"|";
  record.Publisher = u" P ";
  record.hasStatus = true;
  record.StatusTarget = u"Bo";
  record.StatusBeginDate = 0x5321;
  record.customFieldNames[2] = u"Shelf";
  record.customFieldValues[2] = u"C 4";
  record.customFieldNames[3] = u"a:b";
  record.customFieldValues[3] = u"kept";
  for (const std::size_t slot : {4u, 5u}) {
    record.customFieldNames[slot] = u"Twice";
    record.customFieldValues[slot] = slot == 4 ? u"1" : u"2";
  }
  record.postProcess();
  return record;
}

// The text with `from` replaced by `to`, once.
std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, text.npos) << from;
  return text.replace(at, from.size(), to);
}

}  // namespace

TEST(ItemForm, ChangesWhatWasChanged) {
  const CRecord known = sampleItem();
  const std::string form = formText(known);
  const struct {
    std::string from, to;
    void (*change)(CRecord&);
  } rows[] = {
      {"# Change", "\xEF\xBB\xBF# Change", [](CRecord&) {}},
      {"actor: C\n", "Actors:C\r\nactor: D; E\r\n",
       [](CRecord& r) {
         r.actors = {u"A; B", u"C", u"D; E"};
       }},
      {"actor: A; B\nactor: \nactor: C\n", "", [](CRecord& r) { r.actors.clear(); }},
      {"track: [1] [2] Two", "track: Two", [](CRecord& r) { r.discs[0][1] = u"Two"; }},
      {"track: [3] Three", "track: [2] Three",
       [](CRecord& r) {
         r.discs = {{u"One", u"[2] Two"}, {u"Three"}};
       }},
      {"  a\n\n    b\n", "  a\n   \n\tb\n\n", [](CRecord& r) { r.Notes = u"a\n \nb"; }},
      {"description: |\n  |\n", "description: x\n", [](CRecord& r) { r.description = u"x"; }},
      {"status: Lent", "status: borrowed", [](CRecord& r) { r.status = 1; }},
      {"custom.Shelf: C 4", "custom.Shelf: D\ncustom.New: =",
       [](CRecord& r) {
         r.customFieldValues[2] = u"D";
         r.customFieldNames[0] = u"New", r.customFieldValues[0] = u"=";
       }},
      {"custom.Twice: 1\n", "",
       [](CRecord& r) {
         r.customFieldValues[4] = u"2";
         r.customFieldNames[5].clear(), r.customFieldValues[5].clear();
       }},
      {"custom.Shelf: C 4\n", "pages: 12\n",
       [](CRecord& r) {
         r.customFieldNames[2].clear(), r.customFieldValues[2].clear(), r.NumberOfPages = u"12";
       }},
  };
  for (const auto& row : rows) {
    CRecord expected = known;
    row.change(expected);
    expected.postProcess();
    CRecord record = known;
    EXPECT_TRUE(readForm(form, replaced(form, row.from, row.to), record).empty()) << row.from;
    EXPECT_EQ(tessaron::itemText(record), tessaron::itemText(expected)) << row.from;
  }
}

TEST(ItemForm, TellsErrorsWithTheirLines) {
  const std::string form = formText(sampleItem());
  const std::size_t lines = static_cast<std::size_t>(std::ranges::count(form, '\n'));
  const struct {
    std::string more;
    std::string reason;
    std::size_t line = 1;  // of those added
  } rows[] = {
      {"published: soon", "no date"},
      {"\nadded: 2023-02-29", "no date", 2},
      {"pages: many", "no number"},
      {"price: dear", "no price"},
      {"publischer: P", "did you mean Publisher?"},
      {"Regal: P", "custom.Regal"},
      {"Title: Other", "one value only"},
      {"custom.Twice: 3", "one value only"},
      {"who", "field: value"},
      {" who: Bo", "field: value"},
      {"track: [x] A", "number of a disc"},
      {"status.text: Lent", "made of"},
      {"reviewSummaries: x", "reviews"},
      {"customFields: x", "custom.NAME"},
      {"note: |\n  more\nuntil: 1999-01-01", "before it begins", 3},
  };
  for (const auto& row : rows) {
    CRecord record = sampleItem();
    const std::string old = replaced(form, "note: |\n  a\n\n    b\n\n", "\n\n\n\n\n");
    const std::vector<FormError> errors =
        readForm(form, (row.line == 3 ? old : form) + row.more, record);
    ASSERT_EQ(errors.size(), 1u) << row.more;
    EXPECT_THAT(errors[0].reason, testing::HasSubstr(row.reason));
    EXPECT_EQ(errors[0].line, lines + row.line) << row.more;
  }
}
