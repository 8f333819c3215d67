#include "records/record.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

#include "records/record_set.h"
#include "records/shopping_cart.h"
#include "support/dos_date.h"
#include "support/text.h"
#include "support/xml/xml.h"

namespace {

using tessaron::toDosDate;
using Strings = CRecord::Strings;

// The record that a document holds; an empty one when it holds none.
CRecord read(const std::string& xml) {
  CRecord record;
  EXPECT_TRUE(record.fromString(xml)) << xml;
  return record;
}
CRecord readItem(const std::string& content) {
  return read("<R><Items><Item>" + content + "</Item></Items></R>");
}
CRecord readDetails(const std::string& content) {
  return read("<R><Details url=\"http://example.org/d\">" + content + "</Details></R>");
}
CRecord readAttributes(const std::string& content) {
  return readItem("<ItemAttributes>" + content + "</ItemAttributes>");
}

// The item element as the writer prints it.
std::string written(CRecord& record) {
  TiXmlElement item("Item");
  record.composeItemNode(&item);
  std::string out;
  tessaron::printXml(item, out);
  return out;
}

void* nowhere() { return reinterpret_cast<void*>(std::uintptr_t{64}); }

TEST(CRecord, CopiesItsPicture) {
  CRecord record;
  ASSERT_TRUE(record.coverImage.setSize(FIT_BITMAP, 4, 4, 24));
  std::memset(record.coverImage.accessPixels(), 10, 4);
  CRecord copy = record;
  std::memset(record.coverImage.accessPixels(), 99, 4);
  EXPECT_EQ(*copy.coverImage.accessPixels(), 10);
}

TEST(CRecordReader, FindsTheFirstItem) {
  EXPECT_EQ(read("<R xmlns='u'><Request><Errors/></Request><Items><X/><Item><ASIN>1</ASIN></Item>"
                 "<Item><ASIN>2</ASIN></Item></Items></R>")
                .ASIN,
            u"1");
  EXPECT_EQ(read("<R><Items/><Details><Asin>3</Asin></Details><Items><Item/></Items></R>").ASIN,
            u"3");
  for (const std::string xml :
       {"", "<R/>", "<R><Item/></R>", "<R><A><Items><Item/></Items></A></R>",
        "<Items><Item/></Items>", "<R><items><Item/></items></R>"}) {
    CRecord record;
    EXPECT_FALSE(record.fromString(xml)) << xml;
  }
  CRecord record;
  EXPECT_FALSE(record.fromXml(nullptr));
  EXPECT_FALSE(record.fromXml(static_cast<TiXmlDocument*>(nowhere())));
  EXPECT_FALSE(record.fromXmlNode(static_cast<TiXmlElement*>(nowhere())));
}

TEST(CRecordReader, ReadsEveryAttribute) {
  std::istringstream singles(
      "AspectRatio AudienceRating Binding DVDLayers DVDSides EAN ISBN Label NumberOfDiscs "
      "NumberOfItems NumberOfPages NumberOfTracks PictureFormat ProductGroup PublicationDate "
      "Publisher RegionCode ReleaseDate RunningTime Studio TheatricalReleaseDate Title UPC "
      "OriginalTitle ESRBAgeRating");
  std::u16string fields[25];
  CRecord record;
  std::string name;
  for (unsigned i = 0; singles >> name; ++i) {
    TiXmlElement element(name);
    element.LinkEndChild(new TiXmlText(name));
    EXPECT_FALSE(record.parseItemAttributesSingle(&element, i, fields)) << "beyond the count";
    EXPECT_TRUE(record.parseItemAttributesSingle(&element, i + 1, fields));
    EXPECT_EQ(wchar2utf8(fields[i]), name);
  }
  std::istringstream multis("Actor Artist Author Director Format Translator Feature Platform");
  Strings lists[8];
  for (unsigned i = 0; multis >> name; ++i) {
    TiXmlElement element(name);
    EXPECT_FALSE(record.parseItemAttributesMulti(&element, i, lists));
    EXPECT_TRUE(record.parseItemAttributesMulti(&element, 100, lists));
    EXPECT_TRUE(record.parseItemAttributesMulti(&element, 100, lists));
    EXPECT_EQ(lists[i].size(), 2u);
  }
  TiXmlElement other("title");
  EXPECT_FALSE(record.parseItemAttributesSingle(&other, 25, fields));
  EXPECT_FALSE(record.parseItemAttributesMulti(&other, 8, lists));
}

TEST(CRecordReader, ChoosesBetweenSources) {
  EXPECT_EQ(readAttributes("<NumberOfItems>2</NumberOfItems>").NumberOfDiscs, u"2");
  EXPECT_EQ(readAttributes("<NumberOfItems>2</NumberOfItems><NumberOfDiscs>3</NumberOfDiscs>")
                .NumberOfDiscs,
            u"3");
  EXPECT_EQ(readAttributes("<NumberOfItems>2</NumberOfItems><NumberOfDiscs/>").NumberOfDiscs, u"2");
  EXPECT_EQ(readAttributes("<ProductGroup>DVD</ProductGroup>").Binding, u"DVD");
  EXPECT_EQ(readAttributes("<ProductGroup>DVD</ProductGroup><Binding>Box</Binding>").Binding,
            u"Box");
  EXPECT_EQ(readDetails("<Catalog>DVD</Catalog>").Binding, u"");
  EXPECT_EQ(read("<R><Items><Item url='a'><DetailPageURL>b</DetailPageURL></Item></Items></R>")
                .DetailPageURL,
            u"b");
  EXPECT_EQ(read("<R><Items><Item url='a'/></Items></R>").DetailPageURL, u"a");
}

TEST(CRecordReader, ReadsSharedAttributesAndDates) {
  const struct {
    const char* attributes;
    bool hasIcon;
    int icon;
    bool hasStatus;
    int status;
  } rows[] = {
      {"icon='7' status='-1'", true, 7, true, -1},
      {"icon='x' status=''", false, 0, false, 0},
      {"status='3'", false, 0, true, 3},
  };
  for (const auto& row : rows) {
    const CRecord record =
        read("<R><Items><Item " + std::string(row.attributes) + "/></Items></R>");
    EXPECT_EQ(record.hasIcon, row.hasIcon) << row.attributes;
    EXPECT_EQ(record.icon, row.icon);
    EXPECT_EQ(record.hasStatus, row.hasStatus);
    EXPECT_EQ(record.status, row.status);
  }
  const CRecord dates = readItem(
      "<DateAdded>13089</DateAdded><StatusBeginDate>12x</StatusBeginDate>"
      "<StatusEndDate>65537</StatusEndDate>");
  EXPECT_EQ(dates.DateAdded, 13089);
  EXPECT_EQ(dates.StatusBeginDate, 12);
  EXPECT_EQ(dates.StatusEndDate, 1);  // 16 bits are kept
  EXPECT_EQ(readItem("<DateAdded>none</DateAdded>").DateAdded, 0);
}

TEST(CRecordReader, SkipsIndentation) {
  // "~" stands for white space without a line break, "|" for an indent.
  const auto spelt = [](std::string text) {
    for (std::size_t at = 0; (at = text.find_first_of("~|", at)) != text.npos;) {
      text.replace(at, 1, text[at] == '~' ? " \t" : "\r\n  ");
    }
    return text;
  };
  const char* values =
      "<ASIN>|A1~</ASIN><DetailPageURL><![CDATA[|http://u|]]></DetailPageURL>"
      "<StatusEndDate>|13089|</StatusEndDate><LargeImage><URL>|i|</URL></LargeImage>"
      "<ItemAttributes><EAN>~E~</EAN><ListPrice><FormattedPrice>|$1|</FormattedPrice></ListPrice>"
      "</ItemAttributes><OfferSummary><TotalNew>|3~</TotalNew></OfferSummary>"
      "<CustomerReviews><AverageRating>|4.5|</AverageRating></CustomerReviews>";
  const CRecord record = readItem(spelt(values));
  EXPECT_EQ(record.ASIN + u',' + record.DetailPageURL + u',' + record.LargeImage + u',' +
                record.EAN + u',' + record.ListPrice + u',' + record.TotalNew + u',' +
                record.AverageRating,
            u"A1,http://u,i,E,$1,3,4.5");
  EXPECT_EQ(record.StatusEndDate, 13089);
  EXPECT_EQ(readDetails(spelt("<Asin>|A1|</Asin>")).ASIN, u"A1");

  const std::pair<const char*, const char*> texts[] = {
      {"|a|b|", "a|b"},
      {"~a~|", "~a"},
      {"~a b~", "~a b~"},
      {"|~<![CDATA[|a]]><!--c-->~|", "a"},
      {"<![CDATA[|]]>|a<![CDATA[~|]]>", "||a~|"},
  };
  for (const auto& [xml, text] : texts) {
    EXPECT_EQ(readItem(spelt("<Notes>" + std::string(xml) + "</Notes>")).Notes,
              utf82wchar(spelt(text)))
        << xml;
  }
}

TEST(CRecordReader, KeepsFieldsThatAnItemDoesNotGive) {
  CRecord record = readItem(
      "<ASIN>1</ASIN><DateAdded>5</DateAdded><ItemAttributes><Title>T</Title>"
      "<NumberOfDiscs>4</NumberOfDiscs><Actor>A</Actor></ItemAttributes>");
  ASSERT_TRUE(
      record.fromString("<R><Items><Item><DateAdded/><ItemAttributes><Label>L</Label>"
                        "<NumberOfItems>2</NumberOfItems></ItemAttributes></Item></Items></R>"));
  EXPECT_EQ(record.ASIN, u"1");
  EXPECT_EQ(record.DateAdded, 5);
  EXPECT_EQ(record.Title, u"T");
  EXPECT_EQ(record.actors, Strings{u"A"});
  EXPECT_EQ(record.Label, u"L");
  EXPECT_EQ(record.NumberOfDiscs, u"2");
}

TEST(CRecordReader, ReadsDetailsWhenAskedTo) {
  const std::string content =
      "<SmallImage><URL>s</URL></SmallImage><LargeImage><X/><URL>l</URL></LargeImage>"
      "<ItemAttributes><Title>T</Title><ListPrice><Amount>1</Amount><FormattedPrice>$1</"
      "FormattedPrice>"
      "</ListPrice><Languages><Language><Name>English</Name><Type>Original</Type></Language>"
      "<Language><AudioFormat>DTS</AudioFormat><Name>French</Name></Language>"
      "<Language><Name>German</Name><Type>Dubbed</Type><AudioFormat>DTS</AudioFormat></Language>"
      "<Language><Name>Dutch</Name></Language></Languages></ItemAttributes>"
      "<EditorialReviews><EditorialReview><Source>Us</Source><Content>Good</Content></"
      "EditorialReview>"
      "<EditorialReview><Content>Fine</Content></EditorialReview></EditorialReviews>"
      "<Tracks><Disc><Track>1</Track><Track>2</Track></Disc><Disc/><Disc><Track>3</Track></Disc></"
      "Tracks>"
      "<OfferSummary><LowestNewPrice><FormattedPrice>$2</FormattedPrice></LowestNewPrice>"
      "<TotalNew>3</TotalNew></OfferSummary>"
      "<Offers><Offer><OfferListing><OfferListingId>id</OfferListingId><Price><FormattedPrice>$4"
      "</FormattedPrice></Price></OfferListing></Offer><Offer/></Offers>"
      "<CustomerReviews><AverageRating>4.5</AverageRating><TotalReviews>2</TotalReviews>"
      "<Review><Rating>5</Rating><Summary>s</Summary></Review><Review><Content>c</Content></Review>"
      "</CustomerReviews><CustomFields><CustomField name='n' value='v'/></CustomFields>";
  const CRecord record = readItem(content);
  EXPECT_EQ(record.SmallImage, u"s");
  EXPECT_EQ(record.LargeImage, u"l");
  EXPECT_EQ(record.ListPrice, u"$1");
  EXPECT_EQ(record.languages,
            (Strings{u"English (Original)", u"French (DTS)", u"German (Dubbed)", u"Dutch"}));
  EXPECT_EQ(record.description, u"<p><b>Us </b>Good</p>\nFine</p>\n");
  EXPECT_EQ(record.discs, (std::vector<Strings>{{u"1", u"2"}, {}, {u"3"}}));
  EXPECT_EQ(record.NumberOfDiscs, u"3");
  EXPECT_EQ(record.LowestNewPrice, u"$2");
  EXPECT_EQ(record.TotalNew, u"3");
  EXPECT_EQ(record.offerListing, (COfferListing{u"id", u"$4", u""}));
  EXPECT_TRUE(record.offers.empty());
  EXPECT_EQ(record.AverageRating, u"4.5");
  EXPECT_EQ(record.reviewRatings, (Strings{u"5", u""}));
  EXPECT_EQ(record.reviewContents, (Strings{u"", u"c"}));
  EXPECT_EQ(record.customFieldValues[0], u"v");

  CRecord brief;
  brief.fullDetail = false;
  ASSERT_TRUE(brief.fromString("<R><Items><Item>" + content + "</Item></Items></R>"));
  EXPECT_EQ(brief.Title, u"T");
  EXPECT_EQ(brief.LargeImage, u"l");
  EXPECT_EQ(brief.ListPrice + brief.description + brief.TotalNew + brief.AverageRating +
                brief.customFieldValues[0] + brief.offerListing.Price,
            u"");
  EXPECT_TRUE(brief.languages.empty() && brief.discs.empty() && brief.reviewRatings.empty());
}

TEST(CRecordReader, ReadsAnySavedDescriptionAsItStands) {
  EXPECT_EQ(
      readItem(
          "<EditorialReviews><EditorialReview>&lt;p&gt; x</EditorialReview></EditorialReviews>")
          .description,
      u"<p> x");
  EXPECT_EQ(readItem("<EditorialReviews><EditorialReview>\n  "
                     "<Content>c</Content>\n</EditorialReview></EditorialReviews>")
                .description,
            u"c</p>\n");
}

TEST(CRecordReader, ReadsTheOlderDialect) {
  const CRecord record = readDetails(
      "<Asin>1</Asin><ProductName>T</ProductName><Media>CD</Media><NumMedia>2</NumMedia>"
      "<Manufacturer>M</Manufacturer><ImageUrlLarge>u</ImageUrlLarge><ListPrice>$1</ListPrice>"
      "<OurPrice>$2</OurPrice><UsedPrice>$3</UsedPrice><ProductDescription>D</ProductDescription>"
      "<Starring><Actor>A</Actor><Actor>B</Actor></Starring><Features><Feature>F</Feature></"
      "Features>"
      "<Tracks><Track>t1</Track><Track>t2</Track></Tracks><Authors/>"
      "<Reviews><AvgCustomerRating>3</AvgCustomerRating><CustomerReview><Rating>1</Rating>"
      "<Summary>s</Summary><Comment>c</Comment></CustomerReview></Reviews>"
      "<OfferSummary><TotalNew>9</TotalNew></OfferSummary>");
  EXPECT_EQ(record.ASIN + record.Title + record.Binding + record.Publisher + record.LargeImage,
            u"1TCDMu");
  EXPECT_EQ(record.DetailPageURL, u"http://example.org/d");
  EXPECT_EQ(record.ListPrice, u"$1");
  EXPECT_EQ(record.LowestUsedPrice, u"$3");
  EXPECT_EQ(record.description, u"D");
  EXPECT_EQ(record.actors, (Strings{u"A", u"B"}));
  EXPECT_EQ(record.formats, Strings{u"F"});  // not the features
  EXPECT_TRUE(record.features.empty());
  EXPECT_EQ(record.discs, (std::vector<Strings>{{u"t1", u"t2"}}));
  EXPECT_EQ(record.NumberOfDiscs, u"2");
  EXPECT_EQ(record.reviewContents, Strings{u"c"});
  EXPECT_EQ(record.TotalNew, u"");  // not of this dialect
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

TEST(CRecordReader, IgnoresCustomFieldsBeyondTheSlots) {
  std::string fields;
  for (int i = 0; i < 9; ++i) fields += "<CustomField name='n" + std::to_string(i) + "'/>";
  CRecord record = readItem("<CustomFields>" + fields + "</CustomFields>");
  EXPECT_EQ(record.customFieldNames.size(), 7u);
  EXPECT_EQ(record.customFieldNames[6], u"n6");
}

TEST(CRecordWriter, WritesNoEmptyTexts) {
  CRecord record;
  record.ASIN = u"1";
  record.Title = u"T";
  std::string fields;
  for (int i = 0; i < 7; ++i) fields += "<CustomField name=\"\" value=\"\" />";
  EXPECT_EQ(
      written(record),
      "<Item><ASIN>1</ASIN><SmallImage /><MediumImage /><LargeImage /><ItemAttributes>"
      "<Title>T</Title><ListPrice /><Languages /></ItemAttributes><EditorialReviews />"
      "<OfferSummary><LowestNewPrice /><LowestUsedPrice /></OfferSummary>"
      "<Offers><Offer><OfferListing><Price /></OfferListing></Offer></Offers><CustomerReviews />"
      "<Tracks /><CustomFields>" +
          fields + "</CustomFields><Tessaron><Folders /></Tessaron></Item>");
}

TEST(CRecordWriter, KeepsTheOrderOfTheFormat) {
  CRecord record;
  record.hasIcon = record.hasStatus = true;
  record.icon = -2;
  record.status = 6;
  record.Notes = u"n";
  record.DateAdded = 13089;
  record.NumberOfDiscs = u"2";
  record.actors = {u"A", u"B"};
  record.languages = {u"English (Original)"};
  record.description = u"<p>d</p>";
  record.offerListing = {u"id", u"$1", u"now"};
  record.offers = {{u"s", u"n", u"st", u"co", u"New", u"note", u"o", u"$2", u"soon"}};
  record.reviewRatings = {u"5"};
  record.reviewSummaries = {u""};
  record.reviewContents = {u"c"};
  record.discs = {{u"t"}};
  record.customFieldNames = {u"f"};
  record.customFieldValues = {u"\"v\""};
  record.folders.resize(1);
  record.folders[0].files.resize(1);
  record.folders[0].files[0].info[40003] = u"1 x 2";
  EXPECT_EQ(
      written(record),
      "<Item icon=\"-2\" status=\"6\"><Notes>n</Notes><DateAdded>13089</DateAdded><SmallImage />"
      "<MediumImage /><LargeImage "
      "/><ItemAttributes><NumberOfItems>2</NumberOfItems><Actor>A</Actor>"
      "<Actor>B</Actor><ListPrice /><Languages><Language><Name>English (Original)</Name></Language>"
      "</Languages></ItemAttributes><EditorialReviews><EditorialReview>&lt;p&gt;d&lt;/p&gt;"
      "</EditorialReview></EditorialReviews><OfferSummary><LowestNewPrice /><LowestUsedPrice />"
      "</OfferSummary><Offers><Offer><OfferListing><OfferListingId>id</"
      "OfferListingId><Availability>now"
      "</Availability><Price><FormattedPrice>$1</FormattedPrice></Price></OfferListing></"
      "Offer><Offer>"
      "<Seller><Location><State>st</State><Country>co</Country></Location><SellerId>s</SellerId>"
      "<Nickname>n</Nickname></Seller><OfferAttributes><Condition>New</"
      "Condition><ConditionNote>note"
      "</ConditionNote></OfferAttributes><OfferListing><OfferListingId>o</OfferListingId><Price>"
      "<FormattedPrice>$2</FormattedPrice></Price><Availability>soon</Availability></"
      "OfferListing></Offer>"
      "</Offers><CustomerReviews><Review><Rating>5</Rating><Content>c</Content></Review></"
      "CustomerReviews>"
      "<Tracks><Disc><Track>t</Track></Disc></Tracks><CustomFields><CustomField name=\"f\""
      " value='&quot;v&quot;' /></CustomFields><Tessaron><Folders><Folder ID=\"0\" "
      "ParentID=\"-1\"><File>"
      "<PathFileName></PathFileName><SizeLow>0</SizeLow><SizeHigh>0</SizeHigh><Created>0 "
      "0</Created>"
      "<Modified>0 0</Modified><Attributes>0</Attributes><EncryptionStatus>0</EncryptionStatus>"
      "<Checksum>00000000000000000000000000000000</Checksum><Digest></Digest><Info>"
      "<Node Name=\"40003\">1 x 2</Node></Info><MetaInfo "
      "/></File></Folder></Folders></Tessaron></Item>");
}

TEST(CRecordWriter, ReportsUnreadablePointers) {
  CRecord record;
  EXPECT_FALSE(record.toXml(nullptr));
  EXPECT_FALSE(record.toXml(static_cast<TiXmlDocument*>(nowhere())));
  EXPECT_FALSE(record.toXmlNode(nullptr));
  record.composeItemNode(nullptr);
  std::string out = "x";
  EXPECT_TRUE(record.toString(out));
  EXPECT_EQ(out.rfind("x<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" "
                      "?><ProductInfo><Items><Item>",
                      0),
            0u);
}

TEST(CRecordStatus, SaysTheStatusInASentence) {
  const std::uint16_t begin = toDosDate(2024, 1, 2), end = toDosDate(2024, 3, 4);
  const std::u16string b = DosDateTimeToString(begin), e = DosDateTimeToString(end);
  const struct {
    int status;
    std::uint16_t begin, end;
    std::u16string text;
  } rows[] = {
      {0, begin, end, u"This item is lent to Bo from: " + b + u" to: " + e},
      {3, begin, end, u"This item is rented from Bo from: " + b + u" to: " + e},
      {0, begin, 0, u"This item is Lent."},
      {2, 0, end, u"This item is Rented Out."},
      {4, begin, 0, u"This item is just bought from Bo on: " + b},
      {5, begin, end, u"This item is sold out on: " + b},
      {6, 0, end, u"This item is On the Way."},
      {7, begin, end, u"This item is my favorite"},
      {0, 1 << 5, end, u"This item is Lent."},  // a date that does not exist
      {8, begin, end, u""},
      {-1, begin, end, u""},
  };
  for (const auto& row : rows) {
    CRecord record;
    record.hasStatus = true;
    record.status = row.status;
    record.StatusTarget = u"Bo";
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

TEST(CRecordStatus, CutsTheFilledSentence) {
  CRecord record;
  record.hasStatus = true;
  record.status = 4;
  record.StatusBeginDate = toDosDate(2024, 1, 2);
  const std::u16string head = u"This item is just bought from ";
  for (const std::u16string& target : {std::u16string(100, u'x'), std::u16string(u"100%s %n%d")}) {
    record.StatusTarget = target;
    std::u16string text;
    record.getStatusString(text);
    EXPECT_EQ(text, (head + target).substr(0, 64) + u" on: " +
                        DosDateTimeToString(record.StatusBeginDate));
  }
}

TEST(CRecordStatus, FallsDue) {
  const SYSTEMTIME evening{2024, 6, 1, 10, 20, 0, 0, 0}, midnight{2024, 6, 1, 10, 0, 0, 0, 0};
  const struct {
    int status;
    std::uint16_t end;
    const SYSTEMTIME& now;
    int due;
  } rows[] = {
      {0, toDosDate(2024, 6, 11), evening, 1},
      {1, toDosDate(2024, 6, 12), evening, 2},
      {0, toDosDate(2024, 6, 13), evening, 0},
      {2, toDosDate(2024, 6, 10), evening, 1},
      {3, toDosDate(1999, 1, 1), evening, 1},
      {0, toDosDate(2024, 6, 11), midnight, 2},  // exactly one day
      {0, toDosDate(2024, 6, 12), midnight, 2},  // exactly two
      {0, toDosDate(2024, 6, 13), midnight, 0},
      {4, toDosDate(2024, 6, 11), evening, 0},
      {5, toDosDate(2024, 6, 11), evening, 0},
      {-1, toDosDate(2024, 6, 11), evening, 0},
      {0, 0, evening, 0},
      {0, 2 << 5 | 30, evening, 0},
  };
  for (const auto& row : rows) {
    CRecord record;
    record.hasStatus = true;
    record.status = row.status;
    record.StatusEndDate = row.end;
    EXPECT_EQ(tessaron::dueStateAt(record, row.now), row.due) << row.status << ' ' << row.end;
    record.hasStatus = false;
    EXPECT_EQ(tessaron::dueStateAt(record, row.now), 0);
  }
  CRecord past;
  past.hasStatus = true;
  past.StatusEndDate = toDosDate(2001, 1, 1);
  EXPECT_EQ(past.getDueStates(), 1);
}

TEST(CRecordStatus, DigestsWithoutSkippingParts) {
  CRecord record;
  record.Title = u"T";
  record.Studio = u"S";
  std::u16string digest;
  EXPECT_TRUE(record.getDigestString(digest));
  EXPECT_EQ(digest, u"T /  / S");
  record.Publisher = u"P";
  record.getDigestString(digest);
  EXPECT_EQ(digest, u"T /  / P");
}

TEST(CRecordPasses, ClearWhatIsSwitchedOff) {
  CRecord record = readItem(
      "<Notes>n</Notes><ItemAttributes><UPC>1</UPC><Actor>A</Actor></ItemAttributes>"
      "<Tracks><Disc/></Tracks>");
  EXPECT_TRUE(record.hasNotes && record.hasUPC && record.hasActors && record.hasDiscs);
  record.preProcess();
  EXPECT_EQ(record.Notes + record.UPC, u"n1");
  record.hasNotes = record.hasUPC = record.hasActors = record.hasDiscs = false;
  record.preProcess();
  EXPECT_EQ(record.Notes + record.UPC, u"");
  EXPECT_TRUE(record.actors.empty() && record.discs.empty());
}

TEST(CRecordPasses, ShortenCurrencyMarksByTheListPrice) {
  const struct {
    std::u16string list, fresh, used, listAfter, freshAfter, usedAfter;
  } rows[] = {
      {u"EUR 1 EUR 2", u"EUR 3", u"4", u"€1 EUR 2", u"€3", u"4"},
      {u"$1", u"EUR 3", u"\uFFE5 4", u"$1", u"EUR 3", u"\uFFE5 4"},
      {u"\uFFE5 1", u"\uFFE5 2", u"EUR 3", u"\u00A51", u"\u00A52", u"EUR 3"},
      {u"EUR1", u"EUR 2", u"", u"EUR1", u"EUR 2", u""},
  };
  for (const auto& row : rows) {
    CRecord record;
    record.ListPrice = row.list;
    record.LowestNewPrice = row.fresh;
    record.LowestUsedPrice = row.used;
    record.postProcess();
    EXPECT_EQ(record.ListPrice, row.listAfter);
    EXPECT_EQ(record.LowestNewPrice, row.freshAfter);
    EXPECT_EQ(record.LowestUsedPrice, row.usedAfter);
  }
}

TEST(CRecordSet, AppendsWhatItCanRead) {
  CRecordSet set;
  const std::string xml =
      "<R><Details><Asin>1</Asin></Details><Items><Item><ASIN>2</ASIN></Item><X/>"
      "<Item/></Items><Items><Item><ASIN>3</ASIN></Item></Items></R>";
  EXPECT_TRUE(set.fromString(xml));
  EXPECT_TRUE(set.fromString(xml));
  ASSERT_EQ(set.records.size(), 8u);
  EXPECT_EQ(set.records[0].ASIN + set.records[1].ASIN + set.records[3].ASIN, u"123");
  set.clear();
  EXPECT_TRUE(set.fromString("<R><Items><Item><ASIN>1</ASIN></Item><Item><ASIN>2</ASIN></WRONG>"));
  EXPECT_EQ(set.records.size(), 2u) << "what stands before the fault";
  EXPECT_FALSE(set.fromString(""));
  EXPECT_FALSE(set.fromString("<?xml encoding='x-none'?><R><Details/></R>"));
  EXPECT_TRUE(set.fromString("no XML at all"));
  EXPECT_FALSE(set.fromXml(nullptr));
  EXPECT_FALSE(set.fromFile(u"no/such/file.xml"));
  EXPECT_EQ(set.records.size(), 2u);

  CRecord single;
  single.ASIN = u"9";
  std::string document;
  ASSERT_TRUE(single.toString(document));
  EXPECT_TRUE(set.fromString(document));
  EXPECT_EQ(set.records.back().ASIN, u"9");

  std::string deep = "<R><Details><Asin>d</Asin></Details><Details>";
  for (int i = 0; i < 100000; ++i) deep += "<a>";
  set.clear();
  EXPECT_TRUE(set.fromString(deep));
  ASSERT_EQ(set.records.size(), 2u) << "what stands before the fault";
  EXPECT_EQ(set.records[0].ASIN, u"d");
}

TEST(CRecordSet, PrintsAnEmptySet) {
  CRecordSet set;
  std::string out;
  EXPECT_TRUE(set.toString(out));
  EXPECT_EQ(out,
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?><PriceTracker><Items "
            "/></PriceTracker>");
}

TEST(CShoppingCart, TakesTheFirstAddress) {
  const struct {
    const char* xml;
    bool found;
    const char16_t* url;
  } rows[] = {
      {"<R><Q/><Cart/><Cart><X/><PurchaseURL>a&amp;b</PurchaseURL></Cart></R>", true, u"a&b"},
      {"<R><Cart><X/></Cart><Cart><PurchaseURL>b</PurchaseURL></Cart></R>", false, u"old"},
      {"<R><Cart><PurchaseURL>\n  a b\n</PurchaseURL></Cart></R>", true, u"a b"},
      {"<R><PurchaseURL>a</PurchaseURL></R>", false, u"old"},
      {"", false, u"old"},
  };
  for (const auto& [xml, found, url] : rows) {
    CShoppingCart cart;
    cart.PurchaseURL = u"old";
    EXPECT_EQ(cart.fromString(xml), found) << xml;
    EXPECT_EQ(cart.PurchaseURL, url) << xml;
    std::string out;
    EXPECT_FALSE(cart.toString(out));
  }
  CShoppingCart cart;
  EXPECT_FALSE(cart.fromXml(nullptr));
}

TEST(CShoppingCart, AlwaysMerges) {
  const struct {
    const char16_t *before, *after;
  } rows[] = {
      {u"u?MergeCart=False", u"u?MergeCart=True"},
      {u"u?MergeCart=False&MergeCart=False", u"u?MergeCart=True&MergeCart=True"},
      {u"u?MergeCart=True", u"u?MergeCart=True"},
      {u"u?MergeCart=maybe", u"u?MergeCart=maybe"},
      {u"http://example.org/c", u"http://example.org/cMergeCart=True"},
  };
  for (const bool argument : {true, false}) {
    for (const auto& [before, after] : rows) {
      CShoppingCart cart;
      cart.PurchaseURL = before;
      EXPECT_TRUE(cart.setMergeCart(argument));
      EXPECT_EQ(cart.PurchaseURL, after);
    }
  }
}

}  // namespace
