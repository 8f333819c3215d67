#include "records/price.h"

#include <gtest/gtest.h>

#include <tuple>

namespace tessaron {
namespace {

TEST(ParsePrice, ReadsWhatShopsWrite) {
  const std::tuple<std::u16string, std::string, double> rows[] = {
      {u"$12.99", "$", 12.99},
      {u"$ 1,980", "$", 1980},
      {u"USD 1,234.50", "$", 1234.5},
      {u"$1234.5", "$", 1234.5},
      {u"$1.234,50", "$", 1234.5},
      {u"1 234,50 $", "$", 1234.5},
      {u"US$ 12,-", "$", 12},
      {u"$0.250", "$", 0.25},
      {u"$1'234.50", "$", 1234.5},
      {u"$12,34,567.00", "$", 1234567},
      {u"$.99", "$", 0.99},
      {u"Rs.99", "RS", 99},
      {u"₹.99", "₹", 0.99},
      {u".99", "", 0.99},
      {u"$٣٤", "$", 34},
      {u"$३४", "$", 34},
      {u"$1,234,567", "$", 1234567},
      {u"€12,34", "€", 12.34},
      {u"EUR 1.234,50", "€", 1234.5},
      {u"¥1,980", "¥", 1980},
      {u"１２０円", "¥", 120},
      {u"￥１，９８０", "¥", 1980},
      {u"cdn$ 7.00", "CDN$", 7},
      {u"1\u00A0234,50\u00A0kr.", "KR", 1234.5},
      {u"9.99", "", 9.99},
      {u"5.", "", 5},
  };
  for (const auto& [text, currency, amount] : rows) {
    SCOPED_TRACE(testing::PrintToString(text));
    const std::optional<Price> price = parsePrice(text);
    ASSERT_TRUE(price);
    EXPECT_EQ(price->currency, currency);
    EXPECT_DOUBLE_EQ(price->amount, amount);
  }
}

TEST(ParsePrice, RefusesWhatIsNoSinglePrice) {
  for (const char16_t* text : {u"", u"$", u"Too low to show", u"$5 - $8", u"-$5", u"\u2212 5",
                               u"$1.5.2024", u"$1 23", u"$1.234.56"})
    EXPECT_FALSE(parsePrice(text)) << testing::PrintToString(std::u16string(text));
}

}  // namespace
}  // namespace tessaron
