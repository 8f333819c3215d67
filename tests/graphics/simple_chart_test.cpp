#include "graphics/simple_chart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <random>
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

// The merge and the rest as one would write them down, in quadratic time.
void normalizeSlowly(std::vector<scdata>& items, bool groupRest) {
  float total = 0;
  for (const scdata& item : items) total += item.value;
  for (std::size_t i = 0; i < items.size(); ++i) {
    for (std::size_t j = 0; j < items.size();) {
      if (j == i || items[j].name != items[i].name) {
        ++j;
        continue;
      }
      items[i].value += items[j].value;
      items[i].count += items[j].count;
      items.erase(items.begin() + static_cast<std::ptrdiff_t>(j));
    }
  }
  std::sort(items.begin(), items.end(), SortSCData());
  while (groupRest && items.size() > 12) {
    items[11].name += u", " + items[12].name;
    items[11].value += items[12].value;
    items[11].count += items[12].count;
    items.erase(items.begin() + 12);
  }
  for (scdata& item : items) item.value = item.value / total * 100;
}

TEST(GPSimpleChart, AddsInTheOrderOfTheItems) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> exponent(-12, 12);
  for (int round = 0; round < 200; ++round) {
    const auto size = random() % 60;
    const auto names = 1 + random() % 40;
    std::vector<scdata> items;
    for (unsigned i = 0; i < size; ++i)
      items.push_back({tessaron::fromUtf8("item " + std::to_string(random() % names)),
                       static_cast<int>(random() % 9), std::exp(exponent(random))});
    GPSimpleChart chart = chartOf(items);
    const bool groupRest = round % 2 == 0;
    chart.normalize(groupRest);
    normalizeSlowly(items, groupRest);
    ASSERT_EQ(text(chart.items), text(items)) << "round " << round;
  }
}

TEST(GPSimpleChart, NormalizesManyItemsQuickly) {
  GPSimpleChart chart;
  for (int i = 0; i < 100'000; ++i)
    chart.feed({tessaron::fromUtf8("the name " + std::to_string(i * 7919LL % 50'000)), 1, 1});
  const auto begin = std::chrono::steady_clock::now();
  chart.normalize(false);
  // Half a minute and more for whoever compares every item with every other.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  ASSERT_EQ(chart.items.size(), 50'000U);
  EXPECT_EQ(chart.items[0].name, u"the name 0");
  for (const scdata& item : chart.items) ASSERT_EQ(item.count, 2);
}

TEST(GPSimpleChart, SortsAroundValuesThatAreNoNumbers) {
  std::mt19937 random(11);
  GPSimpleChart chart;
  for (int i = 0; i < 2000; ++i) {
    const auto kind = random() % 8;
    const float value = kind == 0   ? kNan
                        : kind == 1 ? kInfinity
                                    : static_cast<float>(random() % 100);
    chart.feed({u"x", i, value});
  }
  int sum = 0;
  EXPECT_TRUE(chart.sortdata());
  const auto firstNan = std::find_if(chart.items.begin(), chart.items.end(),
                                     [](const scdata& item) { return std::isnan(item.value); });
  EXPECT_TRUE(std::is_sorted(chart.items.begin(), firstNan, SortSCData()));
  for (auto i = firstNan; i != chart.items.end(); ++i) EXPECT_TRUE(std::isnan(i->value));
  for (const scdata& item : chart.items) sum += item.count;
  EXPECT_EQ(sum, 1999 * 2000 / 2) << "items were lost";
  EXPECT_FALSE(SortSCData()({u"a", 1, kNan}, {u"b", 1, 1}));
  EXPECT_FALSE(SortSCData()({u"b", 1, 1}, {u"a", 1, kNan}));
}

TEST(GPSimpleChart, PrintsATableWithTabs) {
  const float third = 1.0F / 3;
  const struct {
    scdata item;
    std::string expected;
  } rows[] = {
      {{u"Rock", 12, 37.5F}, "Rock\t12\t37.50%\n"},
      {{u"third", 1, third}, "third\t1\t0.33%\n"},
      {{u"a\tb \"c\"", -3, -0.005F}, "a\tb \"c\"\t-3\t-0.00%\n"},
      {{u"Ωδ 音", 0, 99.999F}, "Ωδ 音\t0\t100.00%\n"},
      {{u"tie", 0, 0.125F}, "tie\t0\t0.12%\n"},
      {{u"", 0, std::numeric_limits<float>::lowest()},
       "\t0\t-340282346638528859811704183484516925440.00%\n"},
      {{u"none", 0, -kNan}, "none\t0\tnan%\n"},
      {{u"all", 0, kInfinity}, "all\t0\tinf%\n"},
  };
  GPSimpleChart all;
  std::string expected;
  for (const auto& row : rows) {
    GPSimpleChart chart = chartOf({row.item});
    EXPECT_EQ(csv(chart), row.expected);
    all.feed(row.item);
    expected += row.expected;
  }
  EXPECT_EQ(csv(all), expected);
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
