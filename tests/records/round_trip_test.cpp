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

}  // namespace
