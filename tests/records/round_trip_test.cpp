#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "records/record_set.h"
#include "support/record_samples.h"
#include "support/xml/xml.h"

namespace {

using tessaron::everythingOf;

// As many as one run of the tests can afford under the sanitizers.
constexpr std::uint32_t kRecords = 400;

CRecordSet read(const std::string& text) {
  CRecordSet set;
  EXPECT_TRUE(set.fromString(text));
  return set;
}

std::string written(CRecordSet& set) {
  std::string text;
  EXPECT_TRUE(set.toString(text));
  return text;
}

// Reading by way of one document that holds everything must give the same.
void expectSameThroughADocument(const CRecordSet& parts, const std::string& text) {
  TiXmlDocument document;
  tessaron::parseXml(text, document);
  CRecordSet whole;
  EXPECT_TRUE(whole.fromXml(&document));
  ASSERT_EQ(whole.records.size(), parts.records.size());
  for (std::size_t i = 0; i < whole.records.size(); ++i)
    EXPECT_EQ(everythingOf(whole.records[i]), everythingOf(parts.records[i]));
}

TEST(RoundTrip, BringsBackEveryField) {
  CRecordSet set;
  for (std::uint32_t seed = 0; seed < kRecords; ++seed)
    set.records.push_back(tessaron::randomRecord(seed));
  const std::string text = written(set);
  CRecordSet back = read(text);
  ASSERT_EQ(back.records.size(), kRecords);
  for (std::uint32_t seed = 0; seed < kRecords; ++seed) {
    SCOPED_TRACE(seed);
    const std::string wanted = everythingOf(tessaron::asReadBack(set.records[seed]));
    EXPECT_EQ(everythingOf(back.records[seed]), wanted);
    std::string single;
    ASSERT_TRUE(set.records[seed].toString(single));
    CRecord alone;
    ASSERT_TRUE(alone.fromString(single));
    EXPECT_EQ(everythingOf(alone), wanted);
  }
  const std::string second = written(back);  // without the offers, which are not read back
  EXPECT_LT(second.size(), text.size());
  CRecordSet again = read(second);
  EXPECT_EQ(written(again), second);

  TiXmlDocument document;
  ASSERT_TRUE(set.toXml(&document));
  std::string printed = "before ", appended = "before ";
  tessaron::printXml(document, printed);
  ASSERT_TRUE(set.toString(appended));
  EXPECT_EQ(appended, printed);
  expectSameThroughADocument(back, text);
}

// A response with both dialects, several "Items" and elements that look like items and are none.
constexpr char kSample[] =
    "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- <Item> -->\n"
    "<Response xmlns='urn:x'><Request><Items><Item><ASIN>no</ASIN></Item></Items></Request>\n"
    "<Details url='u&#8364;'><Asin>1</Asin><Item/><Tracks><Track>a</Track></Tracks></Details>\n"
    "<Items><Item icon=\"3\" status='1'><ASIN>2</ASIN><ItemAttributes><Title>T &amp; &#x1F600; "
    "\xC3\xA9<![CDATA[ <Item> ]]></Title><Actor> x </Actor></ItemAttributes></Item><!-- c -->\n"
    "<Details><Asin>no</Asin></Details><Item "
    "/><Item><Items><Item>no</Item></Items></Item></Items>\n"
    "<Items/><Items><Item><ASIN>5</ASIN><Notes>a\r\nb</Notes></Item></Items><Details/></"
    "Response>\n";

TEST(RoundTrip, ReadsACutTextUpToTheCut) {
  const std::string sample = kSample;
  std::size_t before = 0;
  for (std::size_t cut = 1; cut <= sample.size(); ++cut) {
    const std::string text = sample.substr(0, cut);
    SCOPED_TRACE(text);
    const CRecordSet parts = read(text);
    // An element whose own tag is cut is one to a document; a set does not take it for one.
    const std::size_t tag = text.rfind('<');
    const bool inCData =
        text.find("<![", text.find("ASIN>2")) != text.npos && text.find("]]>") == text.npos;
    const bool cutTag = text.find('>', tag) == text.npos && !inCData;
    expectSameThroughADocument(parts, cutTag ? text.substr(0, tag) : text);
    EXPECT_GE(parts.records.size(), before);
    before = parts.records.size();
  }
  EXPECT_EQ(before, 6u);
}

}  // namespace
