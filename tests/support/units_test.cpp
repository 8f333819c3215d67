#include "support/units.h"

#include <gtest/gtest.h>

#include <limits>

TEST(Units, WritesNumbersForPeople) {
  struct Row {
    double value;
    const char16_t* text;
  };
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  // clang-format off
  const Row rates[] = {
      {4790000, u"4.79 Mbps"}, {128000, u"128 kbps"}, {1411200, u"1.41 Mbps"}, {999, u"999 bps"},
      {999.6, u"1 kbps"}, {999600, u"1 Mbps"}, {99960, u"100 kbps"}, {9996, u"10 kbps"}, {22050, u"22.1 kbps"},
      {0, u"0 bps"}, {2.5e9, u"2.5 Gbps"}, {3e12, u"3 Tbps"}, {7e18, u"7000 Pbps"}, {-128000, u"-128 kbps"},
      {kInfinite, u"0 bps"}};
  // clang-format on
  for (const Row& row : rates) EXPECT_EQ(tessaron::dataRateText(row.value), row.text);
  EXPECT_EQ(hr_unitCalculator(1536, u"B", u"kM", 1024), u"1.5 kB");
  EXPECT_EQ(hr_unitCalculator(1536, u"B", u"", 1024), u"1536 B");
  EXPECT_EQ(hr_unitCalculator(1536, u"B", u"kM", 1), u"1536 B");
  EXPECT_EQ(hr_unitCalculator(1, std::u16string(500, u'x'), u"", 1000).size(), 127u);

  // clang-format off
  const Row times[] = {
      {3753, u"1:02:33"}, {185.4, u"3:05"}, {59.5, u"1:00"}, {0, u"0:00"}, {7, u"0:07"}, {-5, u"0:00"},
      {360000, u"100:00:00"}, {kInfinite, u"0:00"}};
  // clang-format on
  for (const Row& row : times) EXPECT_EQ(tessaron::runTimeText(row.value), row.text);

  EXPECT_EQ(tessaron::decimalText(30000 / 1001.0, 3), u"29.97");
  EXPECT_EQ(tessaron::decimalText(100, 2), u"100");
  EXPECT_EQ(tessaron::decimalText(-0.001, 2), u"0");
}
