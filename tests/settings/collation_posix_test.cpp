#include <gtest/gtest.h>
#include <unicode/coll.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "settings/collation.h"

namespace {

int sign(int value) { return (value > 0) - (value < 0); }

int compare(const std::u16string& a, const std::u16string& b) {
  return sign(CCollationSystem::CompareStringW(a.c_str(), b.c_str(), 0));
}

TEST(CCollationSystem, ComparesNumbersOfAnyLengthByValue) {
  const std::u16string ones(300, u'1');
  const struct {
    std::u16string a, b;
    int expected;
  } rows[] = {
      // clang-format off
      {ones, u"2" + ones.substr(1), -1}, {u"9" + ones.substr(50), ones, -1},
      {u"é9" + ones.substr(50), u"é" + ones, -1}, {u"é9" + ones.substr(1), u"é10" + ones.substr(1), -1},
      {u"é000" + ones, u"é" + ones, 0}, {ones, u"a", -1}, {u"!", ones, -1},
      {u"é" + ones + u"a", u"É" + ones + u"B", -1},
      // clang-format on
  };
  for (const auto& row : rows) {
    EXPECT_EQ(compare(row.a, row.b), row.expected);
    EXPECT_EQ(compare(row.b, row.a), -row.expected);
  }
}

// Pieces that sort in uncommon ways, put together in any order.
std::u16string hostileText(std::mt19937& random) {
  static constexpr std::u16string_view kPieces[] = {
      u"a",  u"A",      u"b",       u" ",       u"-",      u"_",           u"0",      u"00",
      u"7",  u"10",     u"é",       u"e\u0301", u"\u0301", u"ß",           u"ss",     u"\u00AD",
      u"\1", u"\xD800", u"\xDC00",  u"\u0663",  u"\u0E40", u"\u0E01",      u"\uFFFF", u"ch",
      u"½",  u"\u0BF2", u"l\u00B7", u"\u97F3",  u"Z",      u"\xD83D\xDE00"};
  static const std::u16string numbers[] = {std::u16string(255, u'9'), std::u16string(254, u'0'),
                                           std::u16string(300, u'1')};
  std::u16string text;
  for (auto n = random() % 5; n > 0; --n) {
    const auto piece = random() % (std::size(kPieces) + std::size(numbers));
    text += piece < std::size(kPieces) ? kPieces[piece] : numbers[piece - std::size(kPieces)];
  }
  return text;
}

TEST(CCollationSystem, OrdersAnyTextsStrictlyAndWeakly) {
  std::mt19937 random(3);
  std::vector<std::u16string> texts(150);
  for (std::u16string& text : texts) text = hostileText(random);
  std::ranges::stable_sort(texts, [](const auto& a, const auto& b) { return compare(a, b) < 0; });
  // Equal texts have the same rank; the ranks tell how any two compare.
  std::vector<int> ranks(texts.size());
  for (std::size_t i = 1; i < texts.size(); ++i)
    ranks[i] = ranks[i - 1] + (compare(texts[i - 1], texts[i]) != 0);
  EXPECT_GT(ranks.back(), 50);
  for (std::size_t i = 0; i < texts.size(); ++i)
    for (std::size_t k = 0; k < texts.size(); ++k)
      ASSERT_EQ(compare(texts[i], texts[k]), sign(ranks[i] - ranks[k])) << i << ' ' << k;
}

TEST(CCollationSystem, AgreesWithTheLanguagesRules) {
  UErrorCode error = U_ZERO_ERROR;
  const std::unique_ptr<icu::Collator> rules(
      icu::Collator::createInstance(icu::Locale::getRoot(), error));
  rules->setStrength(icu::Collator::SECONDARY);
  rules->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, error);
  ASSERT_TRUE(U_SUCCESS(error));
  std::mt19937 random(9);
  for (int round = 0; round < 100'000; ++round) {
    std::u16string texts[2];
    // Short and of few letters, so that they are often the same up to their ends.
    for (std::u16string& text : texts)
      for (auto n = random() % 6; n > 0; --n)
        text += random() % 8 == 0   ? u"é\u0301\u0001ß\u0663"[random() % 5]
                : random() % 2 == 0 ? u"aAb 01-9"[random() % 8]
                                    : static_cast<char16_t>(random() % 127 + 1);
    const int expected = rules->compare(texts[0].data(), static_cast<int>(texts[0].size()),
                                        texts[1].data(), static_cast<int>(texts[1].size()), error);
    ASSERT_EQ(compare(texts[0], texts[1]), sign(expected)) << round;
  }
}

}  // namespace
