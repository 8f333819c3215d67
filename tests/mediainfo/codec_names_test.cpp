#include "mediainfo/codec_names.h"

#include <gtest/gtest.h>

TEST(CAudioFormatTagInfo, NamesTagsAndKeepsTheUnknownOnes) {
  CAudioFormatTagInfo info;
  std::u16string name = u"before";
  EXPECT_TRUE(info.getNameByFormatTag(0x55, name));
  EXPECT_EQ(name, u"MPEG-1 Layer 3");
  EXPECT_FALSE(info.getNameByFormatTag(4, name));
  EXPECT_EQ(name, u"");
  EXPECT_EQ(info.names.size(), 50u);
}

TEST(CFourCCInfo, NamesCodesByTheirExactBytes) {
  CFourCCInfo info;
  const std::pair<std::uint32_t, std::u16string> rows[] = {
      {0x31564933, u"3ivx"},          {0x78766964, u"DivX"}, {0x58564944, u"DivX 4 (OpenDivX)"},
      {0x004E4149, u"Intel Indeo 4"}, {0x204E4149, u""},     {0x3247504D, u"MPEG-2"}};
  for (const auto& [code, expected] : rows) {
    std::u16string name = u"before";
    EXPECT_EQ(info.getNameByFourCC(code, name), !expected.empty());
    EXPECT_EQ(name, expected);
  }
  EXPECT_EQ(info.names.size(), 161u);
}
