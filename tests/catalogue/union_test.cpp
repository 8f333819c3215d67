#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "catalogue/duplicates.h"
#include "catalogue/item_merge.h"
#include "catalogue/item_union.h"
#include "catalogue/merge_collections.h"
#include "catalogue/title_key.h"
#include "support/edited_collection.h"
#include "support/record_samples.h"

namespace tessaron {
namespace {

std::string collectionOf(const std::string& items, const std::string& head = {}) {
  return head + "<R><Items>" + items + "</Items></R>";
}

std::string item(const std::string& asin, const std::string& title, const std::string& more = {}) {
  return "<Item><ASIN>" + asin + "</ASIN><ItemAttributes><Title>" + title + "</Title>" + more +
         "</ItemAttributes></Item>";
}

// "field: ours/theirs" of each conflict, with what was taken.
std::string wordsOf(const std::vector<FieldConflict>& conflicts) {
  std::string words;
  for (const FieldConflict& each : conflicts)
    words += each.field + ": " + each.ours + '/' + each.theirs +
             (each.taken == Side::None   ? "?"
              : each.taken == Side::Ours ? "<"
                                         : ">");
  return words;
}

// The text of `collection` after an edit; empty when it was not accepted.
std::string edited(const std::string& collection, ItemEdit& edit) {
  const std::unique_ptr<File> file = memoryFile(collection);
  ItemStream items(*file);
  std::string out;
  const EditEnd end = editItems(items, edit, [&](std::string_view text) {
    out += text;
    return true;
  });
  return end == EditEnd::Stopped ? "" : out;
}

// Moves the custom fields that are in use to the front, and makes their names differ.
void compactFields(CRecord& record) {
  const CRecord::Strings names = record.customFieldNames, values = record.customFieldValues;
  const std::size_t count = names.size();
  record.customFieldNames.assign(count, {});
  record.customFieldValues.assign(count, {});
  record.customFieldFlags.assign(count, false);
  std::size_t slot = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (names[i].empty() && values[i].empty()) continue;
    record.customFieldNames[slot] = names[i];
    if (!names[i].empty()) record.customFieldNames[slot] += static_cast<char16_t>(u'0' + i);
    record.customFieldValues[slot] = values[i];
    record.customFieldFlags[slot++] = !names[i].empty();
  }
}

TEST(TitleKey, IsTheSameHoweverATitleIsWritten) {
  const struct {
    std::u16string_view title, key;
  } titles[] = {
      {u"The Matrix", u"matrix"},
      {u"MATRIX, the", u"matrix"},
      {u"L’Étranger", u"etranger"},
      {u"Etranger, L'", u"etranger"},
      {u"Die Räuber.", u"rauber"},
      {u"The", u"the"},
      {u"I, Robot: (a novel)", u"robot a novel"},
      {u"Place in the Sun, A", u"place in the sun"},
      {u"海辺・のカフカ", u"海辺 のカフカ"},
      {u"?!", u""},
  };
  for (const auto& row : titles) EXPECT_EQ(titleKey(row.title), row.key);
  EXPECT_EQ(wordsKey(u"Smith, Jöhn"), wordsKey(u"JOHN SMITH"));
  EXPECT_NE(wordsKey(u"John Smith"), wordsKey(u"John Smithson"));
}

TEST(ItemUnion, KeepsWhatOnlyOneHasAndTellsConflicts) {
  constexpr Side kOurs = Side::Ours, kTheirs = Side::Theirs, kNone = Side::None;
  const auto status = [](int begin, const char* target = "M") {
    return "<StatusTarget>" + std::string(target) + "</StatusTarget><StatusBeginDate>" +
           std::to_string(begin) + "</StatusBeginDate>";
  };
  const auto fields = [](const std::string& entries) {
    return "<CustomFields>" + entries + "</CustomFields>";
  };
  const std::string shelf = "<CustomField name='Shelf' value='1'/>";
  const struct {
    std::string ours, theirs;  // behind "<Item"
    UnionRule rule;
    std::string expected, conflicts;
  } rows[] = {
      {"><ASIN>A</ASIN>",
       " icon='2' status='0'><ASIN>A</ASIN><Notes>n</Notes>" + status(13089),
       {},
       "icon=2|status.value=0|status.name=Lent|status.target=M|status.begin=2005-09-01|"
       "status.text=This item is Lent.|status.due=0|ASIN=A|Notes=n",
       ""},
      {" status='0'><ASIN>A</ASIN><StatusTarget>M</StatusTarget>",
       " status='0'><ASIN>A</ASIN>" + status(13089),
       {},
       "status.value=0|status.name=Lent|status.target=M|status.begin=2005-09-01|"
       "status.text=This item is Lent.|status.due=0|ASIN=A",
       ""},
      {"><ASIN>A</ASIN><Notes>n</Notes>",
       "><ASIN>A</ASIN><Notes>m</Notes>",
       {},
       "ASIN=A|Notes=n",
       "Notes: n/m?"},
      {"><ASIN>A</ASIN><Notes>n</Notes>",
       "><ASIN>A</ASIN><Notes>m</Notes>",
       {kTheirs},
       "ASIN=A|Notes=m",
       "Notes: n/m>"},
      {" status='7'><ASIN>A</ASIN>" + status(13090),
       " status='5'><ASIN>A</ASIN>" + status(13089),
       {kTheirs, true},
       "status.value=7|status.name=Favorite|status.target=M|status.begin=2005-09-02|"
       "status.text=This item is my favorite|status.due=0|ASIN=A",
       "status: Favorite, M, from 2005-09-02/Sold Out, M, from 2005-09-01<"},
      {"><ASIN>A</ASIN>" + fields(shelf),
       "><ASIN>A</ASIN>" + fields(shelf + "<CustomField name='B' value='2'/>"),
       {},
       "ASIN=A|customFields=Shelf: 1; B: 2",
       ""},
      {"><ASIN>A</ASIN>" + fields(shelf),
       "><ASIN>A</ASIN>" + fields("<CustomField name='Shelf' value='2'/>"),
       {kOurs},
       "ASIN=A|customFields=Shelf: 1",
       "customFields.Shelf: 1/2<"},
      {"><ASIN>A</ASIN>" +
           fields("<CustomField value='1'/><CustomField value='2'/><CustomField value='3'/>"
                  "<CustomField value='4'/><CustomField value='5'/><CustomField "
                  "value='6'/><CustomField value='7'/>"),
       "><ASIN>A</ASIN>" + fields("<CustomField value='7'/><CustomField name='B' value='8'/>"),
       {kTheirs},
       "ASIN=A|customFields=: 1; : 2; : 3; : 4; : 5; : 6; : 7",
       "customFields.B: /8?"},
      // Product data of the shop: ours counts, and what it lacks is taken.
      {"><ASIN>A</ASIN><ItemAttributes><Title>T</Title></ItemAttributes>",
       "><ASIN>A</ASIN><ItemAttributes><Title>U</Title><Author>P</Author></ItemAttributes>",
       {},
       "ASIN=A|Title=T|authors=P",
       ""},
      // What was entered by hand counts; an ASIN takes the place of a made key.
      {"><ASIN>item-y194kay73y6b</ASIN><ItemAttributes><Title>The T</Title></ItemAttributes>",
       "><ASIN>A</ASIN><ItemAttributes><Title>U</Title></ItemAttributes>",
       {},
       "ASIN=A|Title=The T",
       ""},
      {"><ASIN>A</ASIN><ItemAttributes><Author>P Q</Author><Title>The T</Title></ItemAttributes>",
       "><ASIN>item-y194kay73y6b</ASIN><ItemAttributes><Author>Q, "
       "P</Author><Title>U</Title></ItemAttributes>",
       {kNone},
       "ASIN=A|Title=The T|authors=P Q",
       "Title: The T/U?"},
  };
  for (const auto& row : rows) {
    const std::string ours = "<Item" + row.ours + "</Item>";
    const ItemUnion both = uniteItems(ours, "<Item" + row.theirs + "</Item>", row.rule);
    EXPECT_EQ(fieldsOf(recordOf(both.text ? *both.text : ours)), row.expected);
    EXPECT_EQ(wordsOf(both.conflicts), row.conflicts);
    EXPECT_EQ(both.isSettled(), row.conflicts.find('?') == std::string::npos);
    EXPECT_FALSE(both.text &&
                 uniteItems(*both.text, "<Item" + row.theirs + "</Item>", row.rule).text);
  }
}

TEST(ItemUnion, TakesEveryFieldOfARecord) {
  for (std::uint32_t seed = 0; seed < 50; ++seed) {
    CRecord record = asReadBack(randomRecord(seed));
    compactFields(record);
    const ItemUnion both = uniteItems("<Item/>", itemText(record), {});
    ASSERT_EQ(wordsOf(both.conflicts), "");
    ASSERT_EQ(everythingOf(recordOf(both.text.value_or("<Item/>"))), everythingOf(record)) << seed;
  }
}

TEST(ItemUnion, UnitesTheExtension) {
  const struct {
    std::string ours, theirs;
    Side preferred;
    std::string expected, conflicts;
  } rows[] = {
      {"<Item/>", "<Tessaron><L><E/></L></Tessaron>", Side::None,
       "<Item><Tessaron><L><E/></L></Tessaron></Item>", ""},
      {"<Item><Tessaron><L><E a='1'/></L></Tessaron></Item>",
       "<Tessaron n='3'><L><E a='1'/><E a='2'/></L><M/></Tessaron>", Side::None,
       "<Item><Tessaron n='3'><L><E a='1'/><E a='2'/></L><M/></Tessaron></Item>", ""},
      {"<Item><Tessaron n='2'><C>1</C></Tessaron></Item>", "<Tessaron n='3'><C>2</C></Tessaron>",
       Side::Theirs, "<Item><Tessaron n='3'><C>2</C></Tessaron></Item>",
       "Tessaron.n: 2/3>Tessaron.C: 1/2>"},
      {"<Item><Tessaron><C>1</C></Tessaron></Item>", "<Tessaron><C>2</C></Tessaron>", Side::None,
       "", "Tessaron.C: 1/2?"},
  };
  for (const auto& row : rows) {
    const ItemUnion both = uniteItems(row.ours, "<Item>" + row.theirs + "</Item>", {row.preferred});
    EXPECT_EQ(both.text.value_or(""), row.expected);
    EXPECT_EQ(wordsOf(both.conflicts), row.conflicts);
  }
}

TEST(MergeCollections, PairsEachItemOnceByItsAsinElseByItsProductNumber) {
  const std::string isbn = "<ISBN>316148410X</ISBN>", ean = "<EAN>9783161484100</EAN>";
  const struct {
    std::string ours, theirs, expected;  // the ASINs, of items that changed with "+"
  } rows[] = {
      {item("A", "T"), item("A", "U") + item("B", "V"), "A B"},
      {item("A", "T", ean), item("B", "T", isbn), "A+"},
      {item("A", "T", ean) + item("B", "T", ean), item("B", "T") + item("C", "T", isbn), "A+ B"},
      {item("A", "T"), item("A", "T") + item("A", "T"), "A A"},
      {item("A", "T") + item("", "Keyless"), item("", "KEYLESS"), "A "},
      {"", "", ""},
  };
  for (const auto& row : rows) {
    std::string ours = collectionOf(row.ours);
    for (int pass = 0; pass < 2; ++pass) {  // the second changes nothing
      MergeCollections merge({}, [](const ItemConflicts&) { FAIL(); });
      EXPECT_FALSE(merge.readOurs(memoryFile(ours)));
      EXPECT_FALSE(merge.readTheirs(memoryFile(collectionOf(row.theirs))));
      const std::string merged = edited(ours, merge);
      EditedCollection result;
      EXPECT_FALSE(result.parse(merged));
      std::string asins;
      for (const CRecord& record : result.records()) {
        if (&record != &result.records().front()) asins += ' ';
        asins.append(record.ASIN.begin(), record.ASIN.end());
        if (!record.ISBN.empty() && !record.EAN.empty()) asins += '+';
      }
      EXPECT_EQ(asins, row.expected);
      EXPECT_TRUE(pass == 0 || merged == ours);
      ours = merged;
    }
  }
}

TEST(MergeCollections, TakesOverOtherDialectsAndEncodingsAndRefusesWhatChangedMeanwhile) {
  const std::string ours = collectionOf(item("A", "T"));
  const std::string older =
      "<?xml version='1.0' encoding='ISO-8859-1'?><R><Details x='1'><Asin>B</Asin>"
      "<ProductName>\xC4</ProductName><Own/></Details></R>";
  MergeCollections merge({}, {});
  EXPECT_FALSE(merge.readOurs(memoryFile(ours)));
  EXPECT_FALSE(merge.readTheirs(memoryFile(older)));
  const std::string merged = edited(ours, merge);
  EXPECT_NE(merged.find("<Own/>"), merged.npos);
  EditedCollection result;
  EXPECT_FALSE(result.parse(merged));
  ASSERT_EQ(result.records().size(), 2u);
  EXPECT_EQ(fieldsOf(result.records()[1]), "ASIN=B|Title=Ä");

  MergeCollections late({}, {});
  EXPECT_FALSE(late.readOurs(memoryFile(ours)));
  EXPECT_FALSE(late.readTheirs(memoryFile(older)));
  EXPECT_EQ(edited(collectionOf(item("A", "U")), late), "");
  EXPECT_TRUE(late.isOutdated());
}

TEST(Duplicates, AreFoundAndJoined) {
  const auto by = [](const std::string& author, const std::string& more = {}) {
    return "<Author>" + author + "</Author>" + more;
  };
  const std::string one = "<EAN>9783161484100</EAN>", two = "<EAN>4006381333931</EAN>";
  const std::string note = "<CustomFields><CustomField name='a' value='1'/></CustomFields>";
  const std::string shelf = "<CustomFields><CustomField name='a' value='2'/></CustomFields>";
  const auto with = [](std::string text, const std::string& more) {
    return text.insert(text.size() - std::string("</Item>").size(), more);
  };
  const struct {
    std::string items;
    std::string pairs;   // "first second reason" each
    std::string joined;  // the ASINs that stay
  } rows[] = {
      {item("A", "T") + item("B", "T"), "", "AB"},
      {item("A", "T") + item("A", "U"), "01k", "A"},
      {item("A", "T", one) + item("B", "U", "<ISBN>3-16-148410-X</ISBN>"), "01n", "A"},
      {item("A", "The T", by("P Q")) + item("B", "T, The", by("R") + by("Q, P")), "01t", "A"},
      {item("A", "T", by("P", one)) + item("B", "T", by("P", two)), "01e", "AB"},
      {item("A", "T", by("P")) + item("B", "T", by("P", "<ProductGroup>DVD</ProductGroup>")), "",
       "AB"},
      // The second gets the first's number, so that the third is another edition then.
      {item("A", "T", by("P")) + item("B", "T", by("P", one)) + item("C", "T", by("P", two)),
       "01t02t", "AC"},
      // By way of the second, the third belongs to the first.
      {item("A", "T", one) + item("B", "U", by("P", one)) + item("C", "U", by("P")), "01n12t", "A"},
      {with(item("A", "T", one), note) + with(item("B", "T", one), shelf) + item("C", "U", one),
       "01n02n", "AB"},
  };
  for (const auto& row : rows) {
    const std::string text = collectionOf(row.items);
    Duplicates duplicates;
    EXPECT_FALSE(duplicates.find(memoryFile(text)));
    std::string pairs;
    for (const DuplicatePair& pair : duplicates.pairs()) {
      pairs += std::to_string(pair.first) + std::to_string(pair.second);
      pairs += pair.isContrary ? 'e' : "knt"[static_cast<std::size_t>(pair.reason)];
    }
    EXPECT_EQ(pairs, row.pairs);
    JoinDuplicates join(duplicates, {}, [](const ItemConflicts&) {});
    EditedCollection result;
    EXPECT_FALSE(result.parse(edited(text, join)));
    std::string asins;
    for (const CRecord& record : result.records()) asins += static_cast<char>(record.ASIN.at(0));
    EXPECT_EQ(asins, row.joined) << row.items;
  }
}

}  // namespace
}  // namespace tessaron
