#include "records/record.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "records/due.h"
#include "records/record_set.h"
#include "records/shopping_cart.h"
#include "support/dos_date.h"
#include "support/record_samples.h"
#include "support/text.h"
#include "support/xml/xml.h"

namespace {

using tessaron::fieldsOf;
using tessaron::toDosDate;

std::string item(const std::string& content) {
  return "<Items><Item>" + content + "</Item></Items>";
}
std::string attributes(const std::string& content) {
  return item("<ItemAttributes>" + content + "</ItemAttributes>");
}
std::string details(const std::string& content) {
  return "<Details url='u'>" + content + "</Details>";
}

// The fields that a record reads from what a root element holds; "none" when that is no item.
std::string read(CRecord& record, const std::string& content) {
  return record.fromString("<R>" + content + "</R>") ? fieldsOf(record) : "none";
}
std::string read(const std::string& content) {
  CRecord record;
  return read(record, content);
}

std::string printed(const TiXmlElement& element) {
  std::string out;
  tessaron::printXml(element, out);
  return out;
}

// The item element as the writer prints it.
std::string written(CRecord& record) {
  TiXmlElement item("Item");
  record.composeItemNode(&item);
  return printed(item);
}

TEST(CRecordReader, ReadsFields) {
  const struct {
    std::string content, fields;
  } rows[] = {
      // The first item.
      {"<Q><E/></Q><Items><X/><Item><ASIN>1</ASIN></Item><Item><ASIN>2</ASIN></Item></Items>",
       "ASIN=1"},
      {"<Items/>" + details("<Asin>3</Asin>") + "<Items><Item/></Items>", "ASIN=3|DetailPageURL=u"},
      {"<Item/>", "none"},
      {"<A><Items><Item/></Items></A>", "none"},
      {"<items><Item/></items>", "none"},
      // One of two sources.
      {attributes("<NumberOfItems>2</NumberOfItems>"), "NumberOfDiscs=2"},
      {attributes("<NumberOfItems>2</NumberOfItems><NumberOfDiscs>3</NumberOfDiscs>"),
       "NumberOfDiscs=3"},
      {attributes("<NumberOfItems>2</NumberOfItems><NumberOfDiscs/>"), "NumberOfDiscs=2"},
      {attributes("<ProductGroup>D</ProductGroup>"), "Binding=D|ProductGroup=D"},
      {attributes("<ProductGroup>D</ProductGroup><Binding>B</Binding>"),
       "Binding=B|ProductGroup=D"},
      {"<Items><Item url='a'><DetailPageURL>b</DetailPageURL></Item></Items>", "DetailPageURL=b"},
      {"<Items><Item url=' a'/></Items>", "DetailPageURL=a"},
      {attributes("<Languages><Language><Name>A</Name><Type>T</Type></Language><Language>"
                  "<AudioFormat>F</AudioFormat><Name>B</Name></Language><Language><Name>C</Name>"
                  "<Type>T</Type><AudioFormat>F</AudioFormat></Language></Languages>"),
       "languages=A (T); B (F); C (T)"},
      // Numbers.
      {"<Items><Item icon='7' status='-1'/></Items>", "icon=7|status.value=-1|status.due=0"},
      {"<Items><Item icon='x' status=''/></Items>", ""},
      {"<Items><Item status='8'><StatusBeginDate>33x</StatusBeginDate><StatusEndDate>65602"
       "</StatusEndDate></Item></Items>",
       "status.value=8|status.begin=1980-01-01|status.end=1980-02-02|status.due=0"},
      {item("<DateAdded>none</DateAdded>"), ""},
      // Parts that are missing or unknown, and the shapes of descriptions.
      {item("<LargeImage><X/><URL>l</URL></LargeImage><Tracks><Disc><Track>1</Track></Disc><Disc/>"
            "<Disc><Track>2</Track><Track>3</Track></Disc></Tracks>"),
       "NumberOfDiscs=3|LargeImage=l|discs=1\n\n2; 3"},
      {item("<CustomerReviews><Review><Rating>5</Rating><Summary>s</Summary></Review><Review>"
            "<Content>c</Content></Review></CustomerReviews>"),
       "reviewRatings=5; |reviewSummaries=s; |reviewContents=; c"},
      {item("<Offers><X/><Offer><OfferListing><Availability>a</Availability></OfferListing></Offer>"
            "</Offers>"),
       ""},
      {item("<EditorialReviews><EditorialReview><Source>S</Source><Content>C</Content>"
            "</EditorialReview><EditorialReview>\n <Content>D</Content></EditorialReview>"
            "</EditorialReviews>"),
       "description=<p><b>S </b>C</p>\nD</p>\n"},
      {item("<EditorialReviews><EditorialReview>&lt;p&gt; x</EditorialReview></EditorialReviews>"),
       "description=<p> x"},
      // The older dialect.
      {details("<Asin>1</Asin><ProductName>T</ProductName><Media>CD</Media><NumMedia>2</NumMedia>"
               "<Manufacturer>M</Manufacturer><ImageUrlLarge>u</ImageUrlLarge><Catalog>G</Catalog>"
               "<ListPrice>$1</ListPrice><OurPrice>$2</OurPrice><UsedPrice>$3</UsedPrice>"
               "<ProductDescription>D</ProductDescription><Authors/><Starring><Actor>A</Actor>"
               "<Actor>B</Actor></Starring><Features><Feature>F</Feature></Features><Tracks>"
               "<Track>t1</Track><Track>t2</Track></Tracks><Reviews><AvgCustomerRating>3"
               "</AvgCustomerRating><CustomerReview><Rating>1</Rating><Summary>s</Summary>"
               "<Comment>c</Comment></CustomerReview></Reviews><OfferSummary><TotalNew>9"
               "</TotalNew></OfferSummary>"),
       "ASIN=1|Title=T|NumberOfDiscs=2|Binding=CD|Publisher=M|ProductGroup=G|DetailPageURL=u|"
       "LargeImage=u|description=D|actors=A; B|formats=F|discs=t1; t2|AverageRating=3|"
       "reviewRatings=1|reviewSummaries=s|reviewContents=c|ListPrice=$1|LowestUsedPrice=$3"},
      {details("<Catalog>G</Catalog>"), "ProductGroup=G|DetailPageURL=u"},
  };
  for (const auto& [content, fields] : rows) EXPECT_EQ(read(content), fields) << content;
  for (const std::string xml : {"", "<R/>", "<Items><Item/></Items>"})
    EXPECT_FALSE(CRecord().fromString(xml)) << xml;
}

TEST(CRecordReader, ReadsAttributesUpToACount) {
  CRecord record;
  std::u16string texts[25];
  CRecord::Strings lists[8];
  const struct {
    const char* name;
    unsigned single, list;  // the least count that takes it
  } rows[] = {{"AspectRatio", 1, 99}, {"ESRBAgeRating", 25, 99}, {"Title", 22, 99},
              {"Actor", 99, 1},       {"Platform", 99, 8},       {"title", 99, 99}};
  for (const auto& [name, single, list] : rows) {
    TiXmlElement element(name);
    element.LinkEndChild(new TiXmlText(name));
    EXPECT_FALSE(record.parseItemAttributesSingle(&element, single - 1, texts)) << name;
    EXPECT_FALSE(record.parseItemAttributesMulti(&element, list - 1, lists)) << name;
    EXPECT_EQ(record.parseItemAttributesSingle(&element, single, texts), single < 99) << name;
    EXPECT_EQ(record.parseItemAttributesMulti(&element, list, lists), list < 99) << name;
    EXPECT_TRUE(single == 99 || wchar2utf8(texts[single - 1]) == name) << name;
    EXPECT_TRUE(list == 99 || lists[list - 1] == CRecord::Strings{utf82wchar(name)}) << name;
  }
}

TEST(CRecordReader, SkipsIndentation) {
  // "~" stands for white space without a line break, "^" for an indent.
  const auto spelt = [](std::string text) {
    for (std::size_t at = 0; (at = text.find_first_of("~^", at)) != text.npos;)
      text.replace(at, 1, text[at] == '~' ? " \t" : "\r\n  ");
    return text;
  };
  EXPECT_EQ(read(spelt(item(
                "<ASIN>^A1~</ASIN><DetailPageURL><![CDATA[^h^]]></DetailPageURL><DateAdded>^13089^"
                "</DateAdded><LargeImage><URL>^i^</URL></LargeImage><ItemAttributes><EAN>~E~</EAN>"
                "<ListPrice><FormattedPrice>^$1^</FormattedPrice></ListPrice></ItemAttributes>"
                "<OfferSummary><TotalNew>^3~</TotalNew></OfferSummary><CustomerReviews>"
                "<AverageRating>^4.5^</AverageRating></CustomerReviews>"))),
            "ASIN=A1|DetailPageURL=h|EAN=E|LargeImage=i|AverageRating=4.5|DateAdded=2005-09-01|"
            "ListPrice=$1|TotalNew=3");
  EXPECT_EQ(read(spelt(details("<Asin>^A1^</Asin>"))), "ASIN=A1|DetailPageURL=u");
  const std::pair<const char*, const char*> texts[] = {
      {"^a^b^", "a^b"},
      {"~a~^", "~a"},
      {"~a b~", "~a b~"},
      {"^~<![CDATA[^a]]><!--c-->~^", "a"},
      {"<![CDATA[^]]>^a<![CDATA[~^]]>", "^^a~^"},
  };
  for (const auto& [xml, text] : texts) {
    CRecord record;
    read(record, item("<Notes>" + spelt(xml) + "</Notes>"));
    EXPECT_EQ(record.Notes, utf82wchar(spelt(text))) << xml;
  }
}

TEST(CRecordReader, KeepsFieldsThatAnItemDoesNotGive) {
  CRecord record;
  read(record, item("<ASIN>1</ASIN><DateAdded>33</DateAdded><ItemAttributes><Title>T</Title>"
                    "<NumberOfDiscs>4</NumberOfDiscs><Actor>A</Actor></ItemAttributes>"));
  EXPECT_EQ(read(record, item("<DateAdded/><ItemAttributes><Label>L</Label><NumberOfItems>2"
                              "</NumberOfItems></ItemAttributes>")),
            "ASIN=1|Title=T|NumberOfDiscs=2|actors=A|Label=L|DateAdded=1980-01-01");
}

TEST(CRecordReader, ReadsAllOffersWhenAskedTo) {
  TiXmlDocument document;
  tessaron::parseXml(
      "<Offers><X/><Offer><Seller><SellerId>1</SellerId><Location><State>s</State>"
      "<Country>c</Country></Location></Seller><OfferAttributes><Condition>New</Condition>"
      "</OfferAttributes><OfferListing><Availability>now</Availability></OfferListing></Offer>"
      "<Offer><Seller><Nickname>n</Nickname></Seller></Offer><Offer/></Offers>",
      document);
  CRecord record;
  EXPECT_TRUE(record.parseOffers(document.RootElement(), false, 5));
  EXPECT_EQ(record.offerListing, COfferListing{});  // the first child is no offer
  EXPECT_TRUE(record.parseOffers(document.RootElement(), true, 2));
  ASSERT_EQ(record.offers.size(), 2u);
  EXPECT_EQ(record.offers[0], (COffer{u"1", u"", u"s", u"c", u"New", u"", u"", u"", u"now"}));
  EXPECT_EQ(record.offers[1].Nickname, u"n");
  EXPECT_EQ(record.offerListing.Availability, u"now");
  EXPECT_TRUE(record.parseOffers(document.RootElement(), true, -1));
  EXPECT_EQ(record.offers.size(), 2u);
  EXPECT_FALSE(record.parseLanguages(document.RootElement())) << "another reader's element";
}

TEST(CRecordWriter, WritesWhatItKnowsOfOffers) {
  CRecord record;
  record.offers = {COffer{u"1", u"n", u"s", u"c", u"New", u"note", u"id", u"$1", u"now"}};
  TiXmlElement item("Item");
  record.composeItemNode(&item);
  EXPECT_NE(printed(item).find("<Location><State>s</State><Country>c</Country></Location>"),
            std::string::npos)
      << printed(item);
}

TEST(Status, IsDueForLoansAlone) {
  CRecord record;
  record.hasStatus = true;
  record.StatusEndDate = toDosDate(2024, 6, 11);
  for (record.status = -1; record.status < 9; ++record.status) {
    SCOPED_TRACE(record.status);
    const bool isLoan = record.status >= 0 && record.status < 4;
    EXPECT_EQ(tessaron::daysLeft(record, {2024, 6, 1, 10, 12, 0, 0, 0}).value_or(-9),
              isLoan ? 1 : -9);
    EXPECT_EQ(tessaron::statusLabel(record.status).empty(), record.status < 0 || record.status > 7);
  }
}

// Elements of these names, each with its name as text.
std::string elements(const std::string& names) {
  std::istringstream in(names);
  std::string name, out;
  while (in >> name) out += '<' + name + '>' + name + "</" + name + '>';
  return out;
}

// The frozen format, in both directions.
TEST(CRecordFormat, HoldsEverythingInItsOrder) {
  // The number of discs is written under another name.
  const std::string attributes = elements(
      "AspectRatio AudienceRating Binding DVDLayers DVDSides EAN ISBN Label NumberOfItems "
      "NumberOfPages NumberOfTracks PictureFormat ProductGroup PublicationDate Publisher "
      "RegionCode ReleaseDate RunningTime Studio TheatricalReleaseDate Title UPC OriginalTitle "
      "ESRBAgeRating Actor Artist Author Director Format Translator Feature Platform");
  std::string fields;
  for (const char c : {'1', '2', '3', '4', '5', '6', '7'})
    fields += std::string("<CustomField name=\"") + c + "\" value='&quot;v&quot;' />";
  const std::string text =
      "<Item icon=\"-2\" status=\"9\"><ASIN>A</ASIN><DetailPageURL>u</DetailPageURL>"
      "<Notes>n</Notes><StatusTarget>t</StatusTarget><DateAdded>33</DateAdded><StatusBeginDate>34"
      "</StatusBeginDate><StatusEndDate>35</StatusEndDate><SmallImage><URL>s</URL></SmallImage>"
      "<MediumImage><URL>m</URL></MediumImage><LargeImage><URL>l</URL></LargeImage>"
      "<ItemAttributes>" +
      attributes +
      "<ListPrice><FormattedPrice>$1</FormattedPrice></ListPrice><Languages><Language><Name>L (T)"
      "</Name></Language></Languages></ItemAttributes><EditorialReviews><EditorialReview>&lt;p&gt;d"
      "</EditorialReview></EditorialReviews><OfferSummary><LowestNewPrice><FormattedPrice>$2"
      "</FormattedPrice></LowestNewPrice><LowestUsedPrice><FormattedPrice>$3</FormattedPrice>"
      "</LowestUsedPrice><TotalNew>4</TotalNew><TotalUsed>5</TotalUsed></OfferSummary><Offers>"
      "<Offer><OfferListing><OfferListingId>o</OfferListingId><Availability>a</Availability>"
      "<Price><FormattedPrice>$6</FormattedPrice></Price></OfferListing></Offer></Offers>"
      "<CustomerReviews><AverageRating>4.5</AverageRating><TotalReviews>1</TotalReviews><Review>"
      "<Rating>5</Rating><Summary>S</Summary><Content>C</Content></Review></CustomerReviews>"
      "<Tracks><Disc><Track>1</Track></Disc></Tracks><CustomFields>" +
      fields + "</CustomFields><Tessaron>";
  const std::string document = "<Items>" + text + "<Folders /></Tessaron></Item></Items>";
  CRecord record;
  const std::string before =
      "icon=-2|status.value=9|status.target=t|status.begin=1980-01-02|status.end=1980-01-03|"
      "status.due=0|ASIN=A|Title=Title|";
  EXPECT_TRUE(read(record, document).starts_with(before));
  EXPECT_EQ(written(record), text + "<Folders /></Tessaron></Item>");
  for (const bool& flag : {record.hasActors, record.hasDiscs, record.hasNotes, record.hasUPC})
    EXPECT_TRUE(flag);

  CRecord brief;
  brief.fullDetail = false;
  const std::string fewer = read(brief, document);
  EXPECT_TRUE(fewer.starts_with(before));
  EXPECT_TRUE(fewer.ends_with("platforms=Platform|DateAdded=1980-01-01|Notes=n")) << fewer;

  record.folders.resize(1);
  const std::string folders = "<Folders><Folder ID=\"0\" ParentID=\"-1\" /></Folders>";
  EXPECT_EQ(written(record), text + folders + "</Tessaron></Item>");
  TiXmlElement extra("Tessaron");
  record.composeExtraNode(&extra);
  EXPECT_EQ(printed(extra), "<Tessaron>" + folders + "</Tessaron>");
}

TEST(CRecordFormat, LeavesEmptyTextsOut) {
  CRecord record;
  // Beyond the slots.
  std::string fields = "<CustomFields>";
  for (int i = 0; i < 7; ++i) fields += "<CustomField name=\"\" value=\"\" />";
  EXPECT_EQ(read(record, item(fields + "<CustomField name='8'/></CustomFields>")), "");
  const std::string text = written(record);
  EXPECT_TRUE(
      text.starts_with("<Item><SmallImage /><MediumImage /><LargeImage /><ItemAttributes>"
                       "<ListPrice /><Languages /></ItemAttributes><EditorialReviews />"));
  EXPECT_NE(text.find(fields + "</CustomFields>"), text.npos) << text;
}

TEST(CRecordFormat, RefusesUnreadablePointers) {
  for (const std::uintptr_t address : {std::uintptr_t{0}, std::uintptr_t{64}}) {
    auto* document = reinterpret_cast<TiXmlDocument*>(address);
    auto* element = reinterpret_cast<TiXmlElement*>(address);
    CRecord record;
    EXPECT_FALSE(record.fromXml(document) || record.fromXmlNode(element));
    EXPECT_FALSE(record.toXml(document) || record.toXmlNode(element));
    record.composeItemNode(element);
    EXPECT_FALSE(CRecordSet().fromXml(document) || CShoppingCart().fromXml(document));
  }
}

TEST(CRecordStatus, SaysTheStatusInASentence) {
  const std::uint16_t begin = toDosDate(2024, 1, 2), end = toDosDate(2024, 3, 4);
  const std::u16string b = DosDateTimeToString(begin), e = DosDateTimeToString(end);
  const std::u16string x(100, u'x');
  const struct {
    int status;
    std::u16string target;
    std::uint16_t begin, end;
    std::u16string text;
  } rows[] = {
      {0, u"Bo", begin, end, u"This item is lent to Bo from: " + b + u" to: " + e},
      {3, u"Bo", begin, end, u"This item is rented from Bo from: " + b + u" to: " + e},
      {0, u"Bo", begin, 0, u"This item is Lent."},
      {2, u"Bo", 0, end, u"This item is Rented Out."},
      {4, u"Bo", begin, 0, u"This item is just bought from Bo on: " + b},
      {4, x, begin, 0, (u"This item is just bought from " + x).substr(0, 64) + u" on: " + b},
      {4, u"%s %n%d", begin, 0, u"This item is just bought from %s %n%d on: " + b},
      {5, u"Bo", begin, end, u"This item is sold out on: " + b},
      {6, u"Bo", 0, end, u"This item is On the Way."},
      {7, u"Bo", begin, end, u"This item is my favorite"},
      {0, u"Bo", 1 << 5, end, u"This item is Lent."},  // a date that does not exist
      {8, u"Bo", begin, end, u""},
      {-1, u"Bo", begin, end, u""},
  };
  for (const auto& row : rows) {
    CRecord record;
    record.hasStatus = true;
    record.status = row.status;
    record.StatusTarget = row.target;
    record.StatusBeginDate = row.begin;
    record.StatusEndDate = row.end;
    std::u16string text = u"before";
    EXPECT_TRUE(record.getStatusString(text));
    EXPECT_EQ(text, row.text) << row.status;
    record.hasStatus = false;
    record.getStatusString(text);
    EXPECT_EQ(text, u"");
  }
}

TEST(CRecordStatus, FallsDue) {
  const struct {
    int status;
    std::uint16_t end;
    WORD hour;  // of the tenth of June
    int due;
    const char* mark;
  } rows[] = {
      {0, toDosDate(2024, 6, 11), 20, 1, "due"},
      {1, toDosDate(2024, 6, 12), 20, 2, "due soon"},
      {0, toDosDate(2024, 6, 13), 20, 0, ""},
      {2, toDosDate(2024, 6, 10), 20, 1, "due"},
      {2, toDosDate(2024, 6, 9), 0, 1, "overdue"},
      {3, toDosDate(1999, 1, 1), 20, 1, "overdue"},
      {0, toDosDate(2024, 6, 11), 0, 2, "due soon"},  // exactly one day
      {0, toDosDate(2024, 6, 12), 0, 2, "due soon"},  // exactly two
      {0, toDosDate(2024, 6, 13), 0, 0, ""},
      {4, toDosDate(2024, 6, 11), 20, 0, ""},
      {-1, toDosDate(2024, 6, 11), 20, 0, ""},
      {0, 0, 20, 0, ""},
      {0, 2 << 5 | 30, 20, 0, ""},
  };
  CRecord record;
  for (const auto& row : rows) {
    const SYSTEMTIME now{2024, 6, 1, 10, row.hour, 0, 0, 0};
    record.hasStatus = true;
    record.status = row.status;
    record.StatusEndDate = row.end;
    EXPECT_EQ(tessaron::dueStateAt(record, now), row.due) << row.status << ' ' << row.end;
    EXPECT_EQ(tessaron::dueMark(record, now), row.mark) << row.status << ' ' << row.end;
    record.hasStatus = false;
    EXPECT_EQ(tessaron::dueStateAt(record, now), 0);
  }
  record.hasStatus = true;
  record.StatusEndDate = toDosDate(2001, 1, 1);
  EXPECT_EQ(record.getDueStates(), 1);
}

TEST(CRecordStatus, DigestsWithoutSkippingParts) {
  CRecord record;
  record.Title = u"T";
  record.Studio = u"S";
  for (const std::u16string publisher : {u"", u"P"}) {
    std::u16string digest;
    record.Publisher = publisher;
    EXPECT_TRUE(record.getDigestString(digest));
    EXPECT_EQ(digest, publisher.empty() ? u"T /  / S" : u"T /  / P");
  }
}

TEST(CRecordPasses, ClearWhatIsSwitchedOff) {
  CRecord record;
  const std::string fields =
      read(record, item("<Notes>n</Notes><ItemAttributes><UPC>1</UPC><Actor>A</Actor>"
                        "</ItemAttributes><Tracks><Disc/></Tracks>"));
  record.preProcess();
  EXPECT_EQ(fieldsOf(record), fields);
  record.hasNotes = record.hasUPC = record.hasActors = record.hasDiscs = false;
  record.preProcess();
  EXPECT_EQ(fieldsOf(record), "NumberOfDiscs=1");
}

TEST(CRecordPasses, ShortenCurrencyMarksByTheListPrice) {
  const std::u16string rows[][6] = {
      {u"EUR 1 EUR 2", u"EUR 3", u"4 EUR 5", u"€1 EUR 2", u"€3", u"4 €5"},
      {u"$1", u"EUR 3", u"\uFFE5 4", u"$1", u"EUR 3", u"\uFFE5 4"},
      {u"\uFFE5 1", u"\uFFE5 2", u"EUR 3", u"\u00A51", u"\u00A52", u"EUR 3"},
      {u"EUR1", u"EUR 2", u"", u"EUR1", u"EUR 2", u""},
  };
  for (const auto& row : rows) {
    CRecord record;
    const auto prices = {&record.ListPrice, &record.LowestNewPrice, &record.LowestUsedPrice};
    const std::u16string* price = row;
    for (std::u16string* each : prices) *each = *price++;
    record.postProcess();
    for (std::u16string* each : prices) EXPECT_EQ(*each, *price++);
  }
}

TEST(CRecordSet, AppendsWhatItCanRead) {
  std::string deep = "<R><Details><Asin>d</Asin></Details><Details>";
  for (int i = 0; i < 100000; ++i) deep += "<a>";
  const struct {
    std::string text;
    bool isRead;
    std::string asins;  // one letter each
  } rows[] = {
      {"<R><Details><Asin>1</Asin></Details><Items><Item><ASIN>2</ASIN></Item><X/><Item><ASIN>3"
       "</ASIN></Item></Items><Items><Item><ASIN>4</ASIN></Item></Items></R>",
       true, "1234"},
      {"<R><Items><Item><ASIN>5</ASIN></Item><Item><ASIN>6</ASIN></WRONG>", true, "56"},
      {deep, true, "d"},
      {"no XML at all", true, ""},
      {"", false, ""},
      {"<?xml encoding='x-none'?><R><Details/></R>", false, ""},
  };
  CRecordSet set;
  std::u16string all;
  for (const auto& [text, isRead, asins] : rows) {
    EXPECT_EQ(set.fromString(text), isRead);
    std::u16string found;
    for (const CRecord& record : set.records) found += record.ASIN;
    EXPECT_EQ(found, all += utf82wchar(asins)) << text.substr(0, 80);
  }
  EXPECT_FALSE(set.fromFile(u"no/such/file.xml"));
  set.clear();
  std::string out = "x";
  EXPECT_TRUE(set.toString(out));
  EXPECT_EQ(out,
            "x<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?><PriceTracker><Items "
            "/></PriceTracker>");
  EXPECT_TRUE(CRecord().toString(out = ""));
  EXPECT_NE(out.find("?><ProductInfo><Items><Item><SmallImage />"), out.npos) << out;
}

TEST(CShoppingCart, TakesTheFirstAddressAndMerges) {
  const struct {
    std::string content;
    std::u16string url, merged;
  } rows[] = {
      {"<Q/><Cart/><Cart><X/><PurchaseURL>u?MergeCart=False&amp;MergeCart=False</PurchaseURL></"
       "Cart>",
       u"u?MergeCart=False&MergeCart=False", u"u?MergeCart=True&MergeCart=True"},
      {"<Cart><PurchaseURL>\n u?MergeCart=True\n</PurchaseURL></Cart>", u"u?MergeCart=True",
       u"u?MergeCart=True"},
      {"<Cart><PurchaseURL>MergeCart=maybe</PurchaseURL></Cart>", u"MergeCart=maybe",
       u"MergeCart=maybe"},
      {"<Cart><X/></Cart><Cart><PurchaseURL>b</PurchaseURL></Cart>", u"old", u"oldMergeCart=True"},
      {"<PurchaseURL>a</PurchaseURL>", u"old", u"oldMergeCart=True"},
  };
  std::string out;
  for (const auto& [content, url, merged] : rows) {
    CShoppingCart cart;
    cart.PurchaseURL = u"old";
    EXPECT_EQ(cart.fromString("<R>" + content + "</R>"), url != u"old");
    EXPECT_EQ(cart.PurchaseURL, url) << content;
    EXPECT_TRUE(cart.setMergeCart(false)) << "as with true";
    EXPECT_EQ(cart.PurchaseURL, merged);
    EXPECT_FALSE(cart.fromString("") || cart.toString(out));
  }
}

}  // namespace
