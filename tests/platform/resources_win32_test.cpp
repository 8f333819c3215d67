#include <gtest/gtest.h>

#include "platform/win32/wide.h"
#include "support/string_table.h"

namespace {

TEST(Resources, HoldTheStringTable) {
  int texts = 0;
  for (std::uint32_t number = 0; number < 0x10000; ++number) {
    wchar_t text[256];
    const int length = LoadStringW(nullptr, number, text, 256);
    texts += length > 0;
    ASSERT_EQ(std::u16string(text, text + length), tessaron::stringAt(number)) << number;
  }
  EXPECT_GT(texts, 100);
}

TEST(Resources, TellTheVersion) {
  const HRSRC found = FindResourceW(nullptr, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(16));
  ASSERT_NE(found, nullptr);
  EXPECT_GT(SizeofResource(nullptr, found), sizeof(VS_FIXEDFILEINFO));
}

}  // namespace
