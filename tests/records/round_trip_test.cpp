#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "records/record_set.h"
#include "support/record_samples.h"
#include "support/xml/xml.h"

namespace {

using tessaron::differences;

// As many as one run of the tests can afford under the sanitizers.
constexpr std::uint32_t kRecords = 400;

CRecordSet randomSet() {
  CRecordSet set;
  for (std::uint32_t seed = 0; seed < kRecords; ++seed) {
    set.records.push_back(tessaron::randomRecord(seed));
  }
  return set;
}

CRecordSet read(const std::string& text) {
  CRecordSet set;
  EXPECT_TRUE(set.fromString(text));
  return set;
}

std::string written(CRecordSet set) {
  std::string text;
  EXPECT_TRUE(set.toString(text));
  return text;
}

// Reads by way of one document that holds everything.
CRecordSet readDocument(const std::string& text) {
  TiXmlDocument document;
  tessaron::parseXml(text, document);
  CRecordSet set;
  EXPECT_TRUE(set.fromXml(&document));
  return set;
}

TEST(RoundTrip, BringsBackEveryField) {
  const CRecordSet set = randomSet();
  const CRecordSet back = read(written(set));
  ASSERT_EQ(back.records.size(), kRecords);
  for (std::uint32_t seed = 0; seed < kRecords; ++seed) {
    const CRecord wanted = tessaron::asReadBack(set.records[seed]);
    EXPECT_EQ(differences(wanted, back.records[seed]), "") << "seed " << seed;

    CRecord single = set.records[seed];
    std::string text;
    ASSERT_TRUE(single.toString(text));
    CRecord singleBack;
    ASSERT_TRUE(singleBack.fromString(text));
    EXPECT_EQ(differences(wanted, singleBack), "") << "seed " << seed << ", alone";
  }
}

TEST(RoundTrip, IsStableOverSaves) {
  const std::string first = written(randomSet());
  TiXmlDocument document;
  EXPECT_FALSE(tessaron::parseXml(first, document));

  const CRecordSet once = read(first);
  const std::string second = written(once);  // without the offers, which are not read back
  EXPECT_LT(second.size(), first.size());
  const CRecordSet twice = read(second);
  EXPECT_EQ(written(twice), second);
  for (std::uint32_t seed = 0; seed < kRecords; ++seed) {
    EXPECT_EQ(differences(once.records[seed], twice.records[seed]), "") << "seed " << seed;
  }
}

TEST(RoundTrip, IsTheSameThroughOneDocument) {
  CRecordSet set = randomSet();
  TiXmlDocument document;
  ASSERT_TRUE(set.toXml(&document));
  std::string printed = "before ";
  tessaron::printXml(document, printed);
  std::string text = "before ";
  ASSERT_TRUE(set.toString(text));
  EXPECT_EQ(text, printed);

  text.erase(0, 7);
  const CRecordSet parts = read(text);
  const CRecordSet whole = readDocument(text);
  ASSERT_EQ(parts.records.size(), whole.records.size());
  for (std::size_t i = 0; i < whole.records.size(); ++i) {
    EXPECT_EQ(differences(whole.records[i], parts.records[i]), "");
  }
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
  const std::size_t all = read(sample).records.size();
  EXPECT_EQ(all, 6u);
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
    const CRecordSet whole = readDocument(cutTag ? text.substr(0, tag) : text);
    const std::size_t count = parts.records.size();
    ASSERT_EQ(whole.records.size(), count);
    for (std::size_t i = 0; i < count; ++i) {
      EXPECT_EQ(differences(whole.records[i], parts.records[i]), "");
    }
    EXPECT_GE(count, before);
    before = count;
  }
  EXPECT_EQ(before, all);
}

}  // namespace
