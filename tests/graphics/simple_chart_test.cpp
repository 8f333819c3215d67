#include "graphics/simple_chart.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "support/text.h"

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

GPSimpleChart chartOf(const std::vector<scdata>& items) {
  GPSimpleChart chart;
  for (const scdata& item : items) chart.feed(item);
  return chart;
}

// "name count value; ...". With nine digits of a value two texts are equal only when all is.
std::string text(const std::vector<scdata>& items, int digits = 9) {
  std::ostringstream out;
  out.precision(digits);
  for (const scdata& item : items)
    out << tessaron::toUtf8(item.name) << ' ' << item.count << ' ' << item.value << "; ";
  return out.str();
}

std::string csv(GPSimpleChart& chart) {
  std::basic_ostringstream<char16_t> out;
  EXPECT_TRUE(chart.printcsv(out));
  return tessaron::toUtf8(out.str());
}

TEST(GPSimpleChart, MergesSortsAndTurnsIntoPercentages) {
  const struct {
    std::vector<scdata> fed;
    std::string expected;
  } rows[] = {
      {{{u"A", 1, 5}, {u"B", 1, 3}, {u"A", 2, 2}}, "A 3 70; B 1 30; "},
      {{{u"a", 1, 1}, {u"B", 2, 1}}, "B 2 50; a 1 50; "},  // code units: capitals first
      {{{u"Rock", 1, 1}, {u"rock", 1, 3}}, "rock 1 75; Rock 1 25; "},
      {{{u"low", 1, 1}, {u"", 1, 2}, {u"high", 1, 4}, {u"", 5, 1}},
       "high 1 50;  6 37.5; low 1 12.5; "},
      {{{u"-", 1, -1}, {u"+", 1, 5}}, "+ 1 125; - 1 -25; "},
      {{{u"A", 1, 7}}, "A 1 100; "},
      {{}, ""},
  };
  for (const auto& row : rows) {
    GPSimpleChart chart = chartOf(row.fed);
    EXPECT_TRUE(chart.normalize(false));
    EXPECT_EQ(text(chart.items, 6), row.expected);
    EXPECT_EQ(chart.total, 100);
    chart.clear();
    EXPECT_TRUE(chart.items.empty());
    EXPECT_EQ(chart.total, 100);
  }
}

TEST(GPSimpleChart, GroupsTheRestAfterElevenItems) {
  GPSimpleChart chart;
  for (int i = 0; i < 14; ++i)
    chart.feed({std::u16string(1, static_cast<char16_t>(u'a' + i)), i, static_cast<float>(20 - i)});
  GPSimpleChart twelve = chartOf({chart.items.begin(), chart.items.begin() + 12});
  for (GPSimpleChart* each : {&chart, &twelve}) EXPECT_TRUE(each->merge(true));
  EXPECT_EQ(text({chart.items.end() - 2, chart.items.end()}), "k 10 10; l, m, n 36 24; ");
  EXPECT_EQ(text({twelve.items.end() - 1, twelve.items.end()}), "l 11 9; ");
  EXPECT_EQ(chart.items.size(), 12U);
  chart.normalize(true);
  EXPECT_EQ(text({chart.items[0], chart.items[11]}, 4), "l, m, n 36 12.7; k 10 5.291; ");
}

TEST(GPSimpleChart, AddsInTheOrderOfTheItems) {
  GPSimpleChart chart;  // each addition of 4 is lost, their sum would not be
  for (int i = 0; i < 9; ++i) chart.feed({u"sum", 1, i == 0 ? 1e8F : 4});
  chart.feed({u"rest", std::numeric_limits<int>::max(), 1e8F});
  chart.feed({u"rest", 1, 0});
  chart.merge(false);
  EXPECT_EQ(text(chart.items), "rest -2147483648 100000000; sum 9 100000000; ");
}

TEST(GPSimpleChart, NormalizesManyItemsQuickly) {
  GPSimpleChart chart;
  for (int i = 0; i < 100'000; ++i)
    chart.feed({tessaron::fromUtf8("the name " + std::to_string(i * 7919LL % 50'000)), 1, 1});
  const auto begin = std::chrono::steady_clock::now();
  chart.normalize(false);
  // Comparing every item with every other takes half a minute and more.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  EXPECT_EQ(chart.items.size(), 50'000U);
  EXPECT_EQ(chart.items[0].count, 2);
}

TEST(GPSimpleChart, SortsAroundValuesThatAreNoNumbers) {
  GPSimpleChart chart =
      chartOf({{u"x", 1, kNan}, {u"b", 2, 1}, {u"a", 3, kNan}, {u"c", 4, kInfinity}, {u"a", 5, 1}});
  EXPECT_TRUE(chart.sortdata());
  EXPECT_EQ(text(chart.items), "c 4 inf; a 5 1; b 2 1; x 1 nan; a 3 nan; ");
  EXPECT_FALSE(SortSCData()({u"a", 1, kNan}, {u"b", 1, 1}));
  EXPECT_FALSE(SortSCData()({u"b", 1, 1}, {u"a", 1, kNan}));
}

TEST(GPSimpleChart, PrintsATableWithTabs) {
  const std::pair<scdata, std::string> rows[] = {
      // clang-format off
      {{u"Rock", 12, 37.5F}, "Rock\t12\t37.50%\n"}, {{u"third", 1, 1.0F / 3}, "third\t1\t0.33%\n"},
      {{u"a\tb \"c\"", -3, -0.005F}, "a\tb \"c\"\t-3\t-0.00%\n"}, {{u"Ωδ 音", 0, 99.999F}, "Ωδ 音\t0\t100.00%\n"},
      {{u"tie", 0, 0.125F}, "tie\t0\t0.12%\n"}, {{u"", 0, std::numeric_limits<float>::lowest()},
       // clang-format on
       "\t0\t-340282346638528859811704183484516925440.00%\n"},
      {{u"none", 0, -kNan}, "none\t0\tnan%\n"},
      {{u"all", 0, kInfinity}, "all\t0\tinf%\n"},
  };
  GPSimpleChart chart;
  std::string expected;
  for (const auto& [item, line] : rows) chart.feed(item), expected += line;
  EXPECT_EQ(csv(chart), expected);
}

TEST(GPSimpleChart, LeavesTheStreamAtPrecisionTwoAndFlushed) {
  struct CountingBuffer : std::basic_stringbuf<char16_t> {
    int flushes = 0;
    int sync() override { return ++flushes, 0; }
  } buffer;
  std::basic_ostream<char16_t> out(&buffer);
  out.width(40);  // of no concern to it
  GPSimpleChart empty;
  EXPECT_TRUE(empty.printcsv(out));
  EXPECT_EQ(out.precision(), 2);
  EXPECT_EQ(buffer.str(), u"");
  GPSimpleChart chart = chartOf({{u"a", 1, 1}, {u"b", 1, 1}});
  EXPECT_TRUE(chart.printcsv(out));
  EXPECT_EQ(buffer.flushes, 2);
  EXPECT_EQ(buffer.str(), u"a\t1\t1.00%\nb\t1\t1.00%\n");
}

TEST(GPSimpleChart, DividesByAZeroTotalAsFloatsDo) {
  GPSimpleChart chart = chartOf({{u"a", 1, 0}, {u"b", 1, 0}});
  chart.normalize(true);
  EXPECT_EQ(csv(chart), "a\t1\tnan%\nb\t1\tnan%\n");
  chart = chartOf({{u"up", 1, 1}, {u"down", 1, -1}});
  chart.normalize(true);
  EXPECT_EQ(csv(chart), "up\t1\tinf%\ndown\t1\t-inf%\n");
}

}  // namespace
