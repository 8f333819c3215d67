#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <random>
#include <regex>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "catalogue/item_merge.h"
#include "records/record_fields.h"
#include "records/record_set.h"
#include "support/edited_collection.h"
#include "support/record_samples.h"
#include "support/test_file.h"
#include "support/text.h"
#include "support/xml/xml.h"

using namespace std::string_literals;
using Collection = tessaron::EditedCollection;
using tessaron::ImportCounts;
using tessaron::itemText;
using tessaron::recordOf;
using tessaron::RecoveredText;
using tessaron::XmlError;

namespace {

Collection parsed(const std::string& text) {
  Collection collection;
  EXPECT_FALSE(collection.parse(text)) << text;
  return collection;
}

// A set reads the same records. What is written for a record holds all that makes two equal.
void expectSameInASet(const Collection& collection) {
  CRecordSet set;
  set.fromString(collection.text());
  ASSERT_EQ(set.records.size(), collection.records().size());
  for (std::size_t i = 0; i < set.records.size(); ++i)
    ASSERT_EQ(itemText(set.records[i]), itemText(collection.records()[i]));
}

// One of the two readings of a text with alternatives: "a{b|c}" is "ab" or "ac".
std::string reading(const std::string& text, bool second) {
  static const std::regex kAlternatives("\\{([^|}]*)\\|([^}]*)\\}");
  return std::regex_replace(text, kAlternatives, second ? "$2" : "$1");
}

}  // namespace

TEST(Collection, EditsOnlyWhatChangedInAnItem) {
  const struct {
    const char* what;
    std::string text;  // what stands in an "Item", before and after
    std::function<void(CRecord&)> change;
  } edits[] = {
      {"inserts with the indent of the neighbour",
       ">\r\n\t<ASIN><![CDATA[1]]></ASIN>{|\r\n\t<Notes>a&lt;b</Notes>\r\n\t"
       "<DateAdded>2</DateAdded>}\r\n",
       [](CRecord& r) { r.hasNotes = true, r.Notes = u"a<b", r.DateAdded = 2; }},
      {"changes texts between comments and beside CDATA",
       "><ASIN>&#49;</ASIN><Notes a='b'>{<!--c-->o<![CDATA[l]]>d|new<!--c-->}<x/></Notes>",
       [](CRecord& r) { r.Notes = u"new"; }},
      {"empties what holds more than a text, cuts the rest",
       ">\n <Notes a='b'>{n|}</Notes>{\n <StatusTarget>t</StatusTarget>|}\n",
       [](CRecord& r) { r.hasNotes = false, r.StatusTarget.clear(); }},
      {"fills empty elements in their place",
       "><Notes{ />|>n</Notes>}<ItemAttributes{/>|><Binding>b</Binding><Title>t</Title>"
       "</ItemAttributes>}<ASIN>{|1}</ASIN>",
       [](CRecord& r) {
         r.ASIN = u"1", r.hasNotes = true, r.Notes = u"n", r.Binding = u"b", r.Title = u"t";
       }},
      {"writes the number of discs where it was read",
       "><ItemAttributes><NumberOfItems>9</NumberOfItems><NumberOfDiscs>{1|3}</NumberOfDiscs>"
       "</ItemAttributes>",
       [](CRecord& r) { r.NumberOfDiscs = u"3"; }},
      {"keeps the languages that stay in the service's shape",
       "><ItemAttributes><Languages><Language><Name>A</Name><Type>x</Type></Language><Language>"
       "<Name>{B</Name><Type>y</Type>|C (z)</Name>}</Language></Languages></ItemAttributes>",
       [](CRecord& r) { r.languages[1] = u"C (z)"; }},
      {"joins reviews in the service's shape",
       "><EditorialReviews>{<EditorialReview><Source>S</Source></EditorialReview>|} "
       "<EditorialReview>{A <Source>T</Source>|new}<Link/></EditorialReview></EditorialReviews>",
       [](CRecord& r) { r.description = u"new"; }},
      {"touches single entries of lists",
       "><ItemAttributes>\n<Actor>A</Actor>\n<!--x--><Actor a=''>{B|X</Actor><Actor>Y}</Actor>"
       "\n<Title>T</Title>\n<Actor>&#67;</Actor>{<Author a=''>D</Author>|}"
       "{\n<Artist>A</Artist>|}\n<Artist>B</Artist>{|\n<Director>B</Director>}\n"
       "<Director>C</Director>{|\n<Director>C</Director>}"
       "{<Format/>|}<Format>F</Format>{<Format a=''/>|<Format>G</Format>}</ItemAttributes>",
       [](CRecord& r) {
         r.actors = {u"A", u"X", u"Y", u"C"}, r.hasAuthors = false, r.artists = {u"B"};
         r.directors = {u"B", u"C", u"C"}, r.formats = {u"F", u"G"};
       }},
      {"leaves further offers, a price's other parts and folders alone",
       "><Offers><Offer><OfferListing>{|<Availability>now</Availability>}<Price><x/>"
       "<FormattedPrice>${5|6}</FormattedPrice></Price></OfferListing></Offer><Offer/></Offers>"
       "<Tessaron><Folders><Folder/></Folders></Tessaron>",
       [](CRecord& r) { r.offerListing.Price = u"$6", r.offerListing.Availability = u"now"; }},
      {"writes its offer in front of one that is not read",
       "><Offers>{|<Offer><OfferListing><OfferListingId>o</OfferListingId><Price />"
       "</OfferListing></Offer>}<TotalOffers/><Offer/></Offers>",
       [](CRecord& r) { r.offerListing.OfferListingId = u"o"; }},
      {"writes the further offers that a record brings",
       "><Offers><Offer x=''/>{<Offer><y/></Offer>|<Offer><Seller><Location /><SellerId>s"
       "</SellerId></Seller><OfferAttributes /><OfferListing><Price /></OfferListing></Offer>}"
       "</Offers>",
       [](CRecord& r) { r.offers.resize(1), r.offers[0].SellerId = u"s"; }},
      {"fills slots by position",
       "><CustomFields><CustomField value='{v|&quot;}' x='y' name='n'/>{|<CustomField name=\"\" "
       "value=\"\" /><CustomField name=\"m\" value=\"\" />}</CustomFields>",
       [](CRecord& r) { r.customFieldValues[0] = u"\"", r.customFieldNames[2] = u"m"; }},
      {"tells reviews and discs from each other",
       "><CustomerReviews><Review>{<Date/>|}<Rating>5</Rating><Content>{A|C}</Content></Review>"
       "<Review><Date/><Rating>{5|4}</Rating><Content>B</Content></Review></CustomerReviews>"
       "<Tracks><Disc n='1'><Track>A</Track><Track n='2'>{B|C}</Track></Disc></Tracks>",
       [](CRecord& r) {
         r.reviewContents[0] = u"C", r.reviewRatings[1] = u"4", r.discs[0][1] = u"C";
       }},
      {"replaces an address that stands in an attribute",
       "{ url='u'|}><ASIN>1</ASIN>{|<DetailPageURL>v</DetailPageURL>}",
       [](CRecord& r) { r.DetailPageURL = u"v"; }},
      {"writes a value that was derived from one that changes",
       "><ItemAttributes>{|<Binding>A</Binding>}<ProductGroup>{A|B}</ProductGroup>"
       "</ItemAttributes>",
       [](CRecord& r) { r.ProductGroup = u"B"; }},
      {"copes with containers that stand twice",
       "><ItemAttributes>{<Actor>A</Actor>|}<x/></ItemAttributes><ItemAttributes{/>|>"
       "<Actor>B</Actor></ItemAttributes>}<Offers><Offer{/>|><OfferListing><Availability>2"
       "</Availability><Price /></OfferListing></Offer>}<Offer><OfferListing><Availability>1"
       "</Availability></OfferListing></Offer></Offers>",
       [](CRecord& r) { r.actors = {u"B"}, r.offerListing.Availability = u"2"; }},
      {"leaves indented values alone, unless they change",
       ">\n<ASIN>\n 1\n</ASIN>\n<Notes>{\n n\n|m}</Notes>\n<ItemAttributes>\n<Title>\n T\n</Title>"
       "\n</ItemAttributes>\n",
       [](CRecord& r) { r.Notes = u"m"; }},
      {"sets and removes attributes among others", "{ icon='1'| status=\"3\"} x = \"y\" z=0>",
       [](CRecord& r) { r.hasIcon = false, r.hasStatus = true, r.status = 3; }},
      {"keeps attributes apart", " {icon=\"1\"|}status=\"2\">",
       [](CRecord& r) { r.hasIcon = false; }},
  };
  for (const auto& edit : edits) {
    SCOPED_TRACE(edit.what);
    const std::string text = "\xEF\xBB\xBF<!--c--><R>\n<x/><Items>\n  <Item/>\n  <Item" +
                             edit.text + "</Item>\n  <Item/></Items></R>\n<!--c-->";
    Collection collection = parsed(reading(text, false));
    CRecord record = collection.records().at(1);
    EXPECT_FALSE(collection.update(1, record));
    EXPECT_EQ(collection.text(), reading(text, false));
    edit.change(record);
    EXPECT_TRUE(collection.update(1, record));
    EXPECT_EQ(collection.text(), reading(text, true));
    record.offers.clear();  // these are not read back
    EXPECT_EQ(itemText(collection.records()[1]), itemText(record));
    expectSameInASet(collection);
  }
}

namespace {

// Random records, edits and items of unusual shape.
class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}

  std::size_t below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine_);
  }
  bool oneIn(std::size_t chances) { return below(chances) == 0; }

  // Takes some of its fields from a random record.
  void change(CRecord& record) {
    CRecord other = tessaron::asReadBack(tessaron::randomRecord(engine_()));
    other.offers.clear();
    other.folders.clear();
    const auto take = [&](auto... members) { ((record.*members = other.*members), ...); };
    for (const tessaron::Field& field : tessaron::kFields) {
      if (field.name.starts_with("review") || !oneIn(9)) continue;
      std::visit(
          [&](auto member) {
            if constexpr (std::is_member_pointer_v<decltype(member)>) {
              if (member) take(member);
            }
          },
          field.member);
    }
    if (oneIn(4)) take(&CRecord::hasIcon, &CRecord::icon, &CRecord::customFieldNames);
    if (oneIn(4)) take(&CRecord::hasStatus, &CRecord::status, &CRecord::customFieldValues);
    if (oneIn(4))
      take(&CRecord::reviewRatings, &CRecord::reviewSummaries, &CRecord::reviewContents);
    record.postProcess();
  }

  // Puts foreign attributes, elements and comments into an item, all but in the entries of lists;
  // and, when `disorder` is set, shuffles its elements and has some twice.
  void disturb(TiXmlElement& element, bool disorder, std::vector<std::string>& marks) {
    static const std::set<std::string> kEntries = {
        "Actor",           "Artist",      "Author",   "Director", "Format", "Translator",
        "Feature",         "Review",      "Platform", "Language", "Disc",   "Track",
        "EditorialReview", "CustomField", "Loan",     "File"};
    std::vector<TiXmlElement*> children;
    for (TiXmlElement* c = element.FirstChildElement(); c; c = c->NextSiblingElement()) {
      if (!kEntries.count(c->ValueStr())) children.push_back(c);
    }
    for (TiXmlElement* child : children) {
      if (disorder && oneIn(8)) {
        std::unique_ptr<TiXmlNode> copy(child->Clone());
        if (oneIn(2)) element.RemoveChild(child);
        child = element.InsertEndChild(*copy)->ToElement();
      }
      disturb(*child, disorder, marks);
    }
    if (!oneIn(4)) return;
    marks.push_back("mark" + std::to_string(marks.size()) + "_");
    if (oneIn(3)) {
      element.SetAttribute(marks.back(), "");
    } else if (oneIn(2)) {
      element.LinkEndChild(new TiXmlComment(marks.back().c_str()));
    } else {
      element.LinkEndChild(new TiXmlElement(marks.back()));
    }
  }

 private:
  std::mt19937 engine_;
};

}  // namespace

TEST(Collection, LosesNothingInRandomEdits) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    SCOPED_TRACE(seed);
    Dice dice(seed);
    std::string text = "<R><Items>";
    std::vector<std::string> marks;
    for (int i = 0; i < 4; ++i) {
      CRecord record;
      for (int n = 0; n < 3; ++n) dice.change(record);
      TiXmlElement item("Item");
      record.composeItemNode(&item);
      dice.disturb(item, seed % 2 == 1, marks);
      text += "<!--" + std::to_string(i) + "-->";
      tessaron::printXml(item, text);
    }
    Collection collection = parsed(text + "<!--4--></Items></R>");
    for (int n = 0; n < 5; ++n) {
      const std::string before = collection.text();
      const std::size_t index = dice.below(4);
      CRecord record = collection.records().at(index);
      dice.change(record);
      collection.update(index, record);

      const std::string after = collection.text();
      const std::string from = "<!--" + std::to_string(index) + "-->";
      const std::string to = "<!--" + std::to_string(index + 1) + "-->";
      ASSERT_EQ(after.substr(0, after.find(from)), before.substr(0, before.find(from)));
      ASSERT_EQ(after.substr(after.find(to)), before.substr(before.find(to)));
      for (const std::string& mark : marks) {
        ASSERT_NE(after.find(mark), after.npos) << mark << " gone from " << before;
      }
      expectSameInASet(collection);
      ASSERT_EQ(itemText(collection.records()[index]), itemText(recordOf(itemText(record))));
    }
  }
}

namespace {

// A file of which a read gives a few bytes at most.
class SlowFile : public TestFile {
 public:
  SlowFile(std::string content, std::size_t most) : TestFile(std::move(content)), most_(most) {}
  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    return TestFile::read(buffer.first(std::min(buffer.size(), most_)));
  }

 private:
  std::size_t most_;
};

}  // namespace

TEST(ItemStream, DecodesBlockByBlock) {
  const auto wide = [](std::u16string text, bool little) {
    std::string bytes;
    for (const char16_t unit : text)
      (bytes += static_cast<char>(little ? unit : unit >> 8)) +=
          static_cast<char>(little ? unit >> 8 : unit);
    return bytes;
  };
  const std::u16string utf16 =
      u"<?xml encoding='UTF-16'?>\n<R><Details><Notes>日😀</Notes></Details>\n</R>";
  const std::string notes = "<R><Details><Notes>";
  const struct {
    std::string text;
    std::u16string notes;
    std::size_t line, column;  // of the first bad bytes, or of the error
  } rows[] = {
      {wide(utf16, true), u"日😀", 0, 0},
      {"\xFE\xFF" + wide(utf16, false), u"日😀", 0, 0},
      {wide(utf16, true) + "x", u"日😀", 3, 5},
      {wide(u"<R><Details><Notes>a\xD83D"
            u"b</Notes></Details></R>",
            false),
       u"a\uFFFDb", 1, 21},
      {"<?xml encoding='Shift_JIS'?>" + notes + "\x93\xFA\x83\x5C</Notes></Details></R>", u"日ソ",
       0, 0},
      {"<?xml encoding='Shift_JIS'?><R>\x93\xFA<Details><Notes>\x83\x5C\x81 </Notes></Details></R>",
       u"ソ\uFFFD ", 1, 50},
      {"<?xml encoding='KOI8-R'?>" + notes + "\xF0</Notes></Details></x>", u"П", 1, 64},
      {"\xEF\xBB\xBF<R>\n <\u00C4>&#x;</\u00C4></R>", u"", 2, 5},
      {"\xEF\xBB\xBF<?xml encoding='GBK'?>" + notes + "é</Notes></Details></x>", u"é", 1, 61},
  };
  for (const auto& row : rows) {
    for (const std::size_t most : {1, 3, 1000}) {
      SlowFile file(row.text, most);
      tessaron::ItemStream items(file);
      CRecord record;
      while (items.next()) items.read(record);
      EXPECT_EQ(record.Notes, row.notes) << row.text;
      const XmlError& error = items.error() ? items.error() : items.badCharacter();
      EXPECT_EQ(std::pair(error.line, error.column), std::pair(row.line, row.column)) << row.text;
    }
  }
}

TEST(ItemStream, TellsWhetherATextCanHoldItems) {
  const std::pair<const char*, bool> rows[] = {
      {"<x/>", false},
      {"<x><y/></x>", false},
      {"<PriceTracker><x></x></PriceTracker>", true},
      {"<ProductInfo/>", true},
      {"<x><Items></Items></x>", true},
      {"<x><Items/></x>", true},
      {"<x><Details/></x>", true},
  };
  for (const auto& [text, can] : rows) {
    tessaron::ItemStream items{std::string_view(text)};
    while (items.next()) continue;
    EXPECT_EQ(items.canHoldItems(), can) << text;
  }
}

TEST(Collection, TakesNothingFromFaultyTexts) {
  const std::string sound = "<R><Items><Item><ASIN>1</ASIN></Item></Items></R>";
  Collection collection = parsed(sound);
  for (const std::string text :
       {"", "<!--x-->", "<?xml encoding='EUC-JP'?><R>\xA4</R>", "<?xml encoding='no'?><R/>",
        "<R><Items><Item></Items></R>", "<R/>x"}) {
    ImportCounts counts;
    EXPECT_TRUE(collection.parse(text));
    EXPECT_TRUE(collection.import(text, 1, counts));
    EXPECT_EQ(counts.read, 0u);
    EXPECT_EQ(collection.text(), sound);
    EXPECT_EQ(collection.records().size(), 1u);
  }
}

TEST(Collection, AddsBehindAllOthersAndRemoves) {
  CRecord record;
  record.ASIN = u"new";
  const std::string rows[] = {
      // before and after, with @ for each of two new items
      "<R{/>|><Items>@@</Items></R>}",
      "<R a='/'{\n/>|><Items>@@</Items></R>}<!--c-->",
      "<R>{|<Items>@@</Items>}\n</R >",
      "<R><Items b='c'{ />|>@@</Items>}<x/></R>",
      "<R><Items/><Items>{|@@}\n</Items></R>",
      "<R>\n <Items>\n  <Item/>{|\n  @\n  @}\n </Items>\n</R>",
      "<R><Items><Item/></Items><Details/>{|<Items>@@</Items>}</R>",
      "<R><Items><Item/><!--c-->{|@@}</Items><x><Items/></x></R>",
      "<?xml encoding='{ISO-8859-1|UTF-8}'?>\n<R a='{\xE9\xC3\xA9|éÃ©}'{/>|><Items>@@</Items></R>}",
      "<R>{\xE9|é}<Items><Item>{\xE9\xC3\xA9|éé}</Item>{|@@}</Items></R>",
      "\xEF\xBB\xBF<?xml encoding='{GBK|UTF-8}'?><R>é<Items><Item/>{|@@}</Items></R>",
      "{\xFE\xFF\0<\0?\0x\0m\0l\0 \0e\0n\0c\0o\0d\0i\0n\0g\0=\0'\0U\0'\0?\0>\0<\0R\0/\0>|"
      "<?xml encoding='UTF-8'?><R><Items>@@</Items></R>}"s,
  };
  for (const std::string& row : rows) {
    SCOPED_TRACE(row);
    const std::string expected =
        std::regex_replace(reading(row, true), std::regex("@"), itemText(record));
    Collection collection = parsed(reading(row, false));
    collection.add(record);
    const std::size_t first = collection.find(u"new");
    const std::string one = collection.text();
    collection.add(record);
    EXPECT_EQ(collection.text(), expected);
    expectSameInASet(collection);
    EXPECT_EQ(collection.find(u"new"), first);
    collection.remove(first);
    EXPECT_EQ(collection.text(), one);
    collection.remove(first);
    EXPECT_EQ(collection.find(u"new"), Collection::npos);
    collection.add(record);
    expectSameInASet(collection);
    EXPECT_EQ(collection.text(), one);
  }
  Collection collection =
      parsed("<R>\n<Items>\n <Item/>\n <!--a--> <Item/><Item/> </Items><Details/></R>");
  for (const std::size_t index : {3, 1, 1, 0}) collection.remove(index);
  EXPECT_EQ(collection.text(), "<R>\n<Items>\n <!--a--> </Items></R>");
}

TEST(Collection, TurnsAnEditedItemOfTheOlderDialectIntoOneOfTheCurrent) {
  Collection collection = parsed(
      "<R>\n<Details url='u' x='y'>\n<Asin>1</Asin><ProductName>A &amp; B</ProductName>"
      "<OurPrice>5</OurPrice><Starring><Actor>S</Actor></Starring><!--c--><Notes><!--n--></Notes>"
      "<Tracks><Track>T</Track></Tracks><Reviews><AvgCustomerRating>4</AvgCustomerRating>"
      "<CustomerReview><Comment>C</Comment><Date>d</Date></CustomerReview></Reviews>"
      "<Tessaron><Folders><Folder/></Folders></Tessaron></Details>\n<Details/></R>");
  CRecord record = collection.records()[0];
  record.hasNotes = true;
  record.Notes = u"n";
  EXPECT_TRUE(collection.update(0, record));
  EXPECT_FALSE(collection.update(0, record));
  EXPECT_EQ(itemText(collection.records()[0]), itemText(record));
  expectSameInASet(collection);
  const std::string text = collection.text();
  EXPECT_TRUE(text.starts_with("<R>\n<Items><Item url='u' x='y'>")) << text;
  EXPECT_TRUE(text.ends_with("</Item></Items>\n<Details/></R>")) << text;
  for (const char* kept :
       {"<OurPrice>5</OurPrice>", "<!--c-->", "<Notes>n<!--n--></Notes>",
        "<Folders><Folder/></Folders>", "<Review><Content>C</Content><Date>d</Date></Review>"}) {
    EXPECT_NE(text.find(kept), text.npos) << kept << " in " << text;
  }
}

TEST(Collection, ImportsProductDataAndKeepsTheUsers) {
  // An item with the user's own fields and a title.
  const auto item = [](const std::string& title) {
    return "<R><Items><Item icon='1' status='0'><ASIN>1</ASIN><Notes>N</Notes><StatusTarget>P"
           "</StatusTarget><DateAdded>7</DateAdded><StatusBeginDate>8</StatusBeginDate>"
           "<StatusEndDate>9</StatusEndDate><ItemAttributes><Binding>B</Binding>" +
           title +
           "</ItemAttributes><CustomFields><CustomField name='c' value='v'/></CustomFields>"
           "<Tessaron><Folders><Folder/></Folders></Tessaron></Item>";
  };
  const std::string fresh =
      "<Item><ASIN>1</ASIN><Notes>other</Notes><ItemAttributes><Binding>B</Binding><Title>new"
      "</Title></ItemAttributes></Item>";
  const std::string two =
      "<Details><Asin>2</Asin><ProductName>two</ProductName><Catalog>D</Catalog></Details></S>";
  Collection collection = parsed(item("<ISBN>i</ISBN><Title>old</Title>") + "</Items></R>");
  ImportCounts counts;
  EXPECT_FALSE(collection.import(
      "<S><Request><Errors/></Request><Items><Request/><Item><ItemAttributes><Title>no ASIN</Title>"
      "</ItemAttributes></Item>" +
          fresh +
          "</Items><Items><Item status='2'><ASIN>2</ASIN><DateAdded>3</DateAdded></Item></Items>" +
          two,
      77, counts));
  EXPECT_EQ((std::array{counts.read, counts.added, counts.updated, counts.skipped}),
            (std::array<std::size_t, 4>{4, 1, 2, 0}));
  ASSERT_EQ(counts.rejected.size(), 1u);
  EXPECT_EQ(counts.rejected[0].item, 1u);
  EXPECT_EQ(counts.rejected[0].title, u"no ASIN");
  ASSERT_EQ(collection.records().size(), 2u);
  EXPECT_EQ(collection.records()[1].Title, u"two");
  EXPECT_EQ(collection.records()[1].DateAdded, 77);
  const std::string text = collection.text();
  EXPECT_TRUE(text.starts_with(item("<Title>new</Title>") + "<Item status=\"2\">")) << text;

  EXPECT_FALSE(collection.import("<S><Items>" + fresh + "</Items>" + two, 78, counts));
  EXPECT_EQ(counts.skipped, 2u);
  EXPECT_EQ(collection.text(), text);
}

namespace {

// A collection with much in its items that damage can make run on into the next one. The first
// `older` items are of the older dialect.
std::string shelf(std::size_t count, std::size_t older, const std::string& encoding,
                  std::vector<std::string>& items) {
  std::string text = "<?xml version=\"1.0\"" + encoding + "?>\n<R a=\"b\"><!-- mine -->";
  for (std::size_t i = 0; i < count; ++i) {
    if (i == older) text += "<Items>\n";
    const std::string id = std::to_string(i), tag = i < older ? "Details" : "Item";
    const std::string key = i < older ? "Asin>" : "ASIN>";
    items.push_back('<' + tag + " icon=\"1\" shelf='" + id + "'><" + key + 'A' + id + "</" + key +
                    "<!-- n --><Notes><![CDATA[ <Item> ]]>it's \"n\"</Notes>"
                    "<Items><Item><ASIN>no</ASIN></Item></Items></" +
                    tag + '>');
    text += items.back() + "\n<!-- <Item/> -->";
  }
  return text + (older < count ? "</Items></R>" : "</R>");
}

// Overwrites, deletes or inserts some bytes, or inserts a tag, mostly in front of another.
void damage(std::string& text, Dice& dice) {
  static const std::string kBytes("<>/!-[]\"'=&#;x \n\xFF\0Item", 22);
  static const char* const kTags[] = {"<Item>",     "</Item>", "<Items>", "</Items>", "<Details>",
                                      "</Details>", "<R>",     "</R>",    "<x>"};
  std::size_t at = dice.below(text.size()), gone = dice.oneIn(3) ? 0 : dice.below(9);
  std::string fresh;
  if (dice.oneIn(3)) {
    if (!dice.oneIn(4)) at = std::min(text.find('<', at), text.size());
    fresh = kTags[dice.below(std::size(kTags))];
    gone = 0;
  } else if (!dice.oneIn(3)) {
    for (std::size_t n = dice.below(9); n > 0; --n) fresh += kBytes[dice.below(kBytes.size())];
  }
  text.replace(at, gone, fresh);
}

}  // namespace

TEST(Recover, LosesNoWholeItemInRandomDamage) {
  for (unsigned seed = 0; seed < 2000; ++seed) {
    SCOPED_TRACE(seed);
    Dice dice(seed);
    std::vector<std::string> items;
    static const char* const kEncodings[] = {"", " encoding=\"UTF-8\"", " encoding='Shift_JIS'"};
    std::string text = shelf(6, dice.below(7), kEncodings[dice.below(3)], items);
    for (std::size_t n = 1 + dice.below(3); n > 0; --n) damage(text, dice);
    const RecoveredText recovery = tessaron::recoverText(text);
    const Collection saved = parsed(recovery.text);
    ASSERT_EQ(saved.records().size(), recovery.items);
    for (std::size_t i = 0; i < items.size(); ++i) {
      const bool intact = text.find(items[i]) != text.npos;
      const std::size_t index = saved.find(utf82wchar("A" + std::to_string(i)));
      ASSERT_TRUE(!intact || index != Collection::npos) << i << " of\n"
                                                        << testing::PrintToString(text);
    }
    for (const tessaron::Recovery::Fault& found : recovery.faults) {
      ASSERT_LE(found.error.offset, 3 * text.size());  // of the text as UTF-8
      ASSERT_LE(found.itemsBehind, recovery.items);
    }
  }
}

TEST(Recover, TellsEveryFaultAndGoesOn) {
  const std::string head =
      "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?><PriceTracker>\n";
  const struct {
    std::string text;                                // damaged and recovered
    std::vector<std::array<std::size_t, 3>> faults;  // line, column, items behind
  } rows[] = {
      {"<R><Items/></R>\n", {}},
      {"<R a='b'>\n<Details/><Items><Item>1</Item>{<!--|</Items></R>}", {{2, 36, 0}}},
      {"<R a='b'>\n<Details/>{<It|</R>}", {{2, 14, 0}}},
      {"<R>{|\n}<Items>{<Item>\n1</Itxm>|}<Item>2</Item>\n{<Item a></Item>|}<Item>3</Item></Items>"
       "</R>",
       {{2, 2, 2}, {3, 8, 1}}},
      {"<R>{|\n}<Items>{<Item>1|}<Item>2</Item><!--c--><Item>3</Item></Items></R>", {{1, 18, 2}}},
      {"<R>{|\n}<Items>{<Item><!--1</Item>|}<Item>2</Item><!--c--><Item>3</Item></Items></R>",
       {{1, 17, 2}}},
      {"{x<R>|" + head + "}<Details/><x><Items><Item/></Items></x><Details/>{</R>|</PriceTracker>}",
       {{1, 1, 2}}},
      {"<?xml encoding='UTF-{\b|8}'?><R><Items><Item>1</Item></Items></R>", {{1, 17, 1}}},
      {"<?xml encoding='{no|UTF-8}'?><R>\xE9<Items><Item/></Items></R>", {{1, 17, 1}}},
      {"<?xml" + std::string(71680, ' ') + "encoding='{no|UTF-8}'?><R><Items><Item/></Items></R>",
       {{1, 71696, 1}}},
      {"{<?xml encoding='no'?><R>\xF0\xD2\xC9<Items><Item/></Items></R>|" + Collection().text() +
           '}',
       {{1, 17, 0}}},
      {"<?xml encoding='{Shift_JIS|UTF-8}'?><R><Items><Item>1</Item>\n{<Item>\x81 </Item>|}<Item>3"
       "</Item>\n{<Item>\xFF</Item>|}<Item>5</Item></Items>{<!--\x81 -->|}</R>",
       {{2, 7, 2}, {3, 7, 1}, {3, 41, 0}}},
      {"{<?xml?><Details><R>|" + head +
           "}<Items><Item>1</Item><Item>2</Item></Items>{</R>|</PriceTracker>}",
       {{1, 27, 2}}},
      {"{<?x<Details>ml?><R>|" + head + "}<Items><Item>1</Item></Items>{</R>|</PriceTracker>}",
       {{1, 1, 1}, {1, 27, 1}}},
  };
  for (const auto& [text, faults] : rows) {
    const RecoveredText recovery = tessaron::recoverText(reading(text, false));
    EXPECT_EQ(recovery.text, reading(text, true));
    std::vector<std::array<std::size_t, 3>> found;
    for (const auto& [error, behind] : recovery.faults)
      found.push_back({error.line, error.column, behind});
    EXPECT_EQ(found, faults) << text;
  }
}

// What is longer than the window that the text is read through.
TEST(Recover, ReadsLongTokens) {
  const std::string x(std::size_t{3} << 20, 'x'), item = "<Item><ASIN>1</ASIN></Item>";
  std::string references;
  while (references.size() < x.size()) references += "&#65;&amp;";
  const struct {
    std::string part;   // behind the first of two items
    std::size_t items;  // that are saved
    std::size_t faults;
  } rows[] = {
      {"<!--" + x + "-->", 2, 0},
      {"<!--" + x, 2, 1},
      {"<!--" + item + x + "<!---->", 3, 1},
      {"<!--\0"s + x + "-->", 2, 1},
      {"<Item><![CDATA[" + x + "]]></Item>", 3, 0},
      {"<Item>" + references + "</Item>", 3, 0},
      {"<Item>" + references + "&#;" + x + "</Item>", 2, 1},
      {"<Item>&#;" + x + "</Item>", 2, 1},
      {"<Item a='" + x + "'/>", 3, 0},
      {"<Item a='" + x + x + x + x + "'/>", 2, 1},
  };
  for (const auto& row : rows) {
    const std::string text = "<R><Items>" + item + row.part + item + "</Items></R>";
    const RecoveredText recovery = tessaron::recoverText(text);
    EXPECT_EQ(std::pair(recovery.items, recovery.faults.size()), std::pair(row.items, row.faults))
        << row.part.substr(0, 30);
    EXPECT_EQ(recovery.text == text, row.faults == 0);
    EXPECT_EQ(parsed(recovery.text).records().size(), row.items);
  }
}

TEST(Recover, EndsSoonOnTextsThatOnlyBegin) {
  for (const char* part :
       {"<Item>", "<Item><!--", "<Item a='", "<Details><![CDATA[<Item>", "<!--"}) {
    std::string text = "<R><Items>";
    for (int i = 0; i < 1000; ++i) text += part;
    EXPECT_EQ(tessaron::recoverText(text).items, 0u) << part;
    EXPECT_EQ(tessaron::recoverText(text + "]]>-->'").items, 0u) << part;
  }
}
