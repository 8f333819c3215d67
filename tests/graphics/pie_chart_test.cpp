#include "graphics/pie_chart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <numbers>
#include <numeric>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/gdiplus.h"
#include "platform/picture.h"
#include "support/text.h"
#include "temporary_folder.h"

namespace {

namespace fs = std::filesystem;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr int kWidth = 600;
constexpr int kHeight = 400;

using Rgb = std::array<int, 3>;
constexpr Rgb kWhite = {255, 255, 255};
// clang-format off
constexpr Rgb kColors[] = {{50, 193, 0}, {122, 229, 0}, {234, 255, 0}, {255, 215, 0}, {255, 160, 0}, {255, 111, 0},
                           {255, 27, 0}, {255, 0, 117}, {166, 0, 204}, {18, 0, 198}, {0, 87, 209}, {0, 168, 228}};
// clang-format on

Rgb shadeOf(const Rgb& c) { return {c[0] * 2 / 3, c[1] * 2 / 3, c[2] * 2 / 3}; }

int distance(const Rgb& a, const Rgb& b) {
  return std::abs(a[0] - b[0]) + std::abs(a[1] - b[1]) + std::abs(a[2] - b[2]);
}

struct Box {
  int left, top, right, bottom;  // the last two are outside
};

/// What a viewer shows of a chart's file; FreeImage reads it.
class Picture {
 public:
  explicit Picture(GPChart& chart) {
    const TemporaryFolder folder;
    const fs::path file = folder.path / "chart.png";
    EXPECT_TRUE(chart.writePng(file.u16string()));
    EXPECT_EQ(fipImage::identifyFIF(file.string().c_str()), FIF_PNG);
    EXPECT_TRUE(image_.load(file.string().c_str()));
    EXPECT_EQ(image_.getBitsPerPixel(), 24U);
  }
  Rgb at(double x, double y) const {
    RGBQUAD color{};
    EXPECT_TRUE(image_.getPixelColor(static_cast<unsigned>(x),
                                     image_.getHeight() - 1 - static_cast<unsigned>(y), &color));
    return {color.rgbRed, color.rgbGreen, color.rgbBlue};
  }
  /// How many pixels in a box are not white.
  int ink(const Box& box) const {
    const std::vector<Rgb> all = pixels(box);
    return static_cast<int>(all.size()) - static_cast<int>(std::ranges::count(all, kWhite));
  }
  std::vector<Rgb> pixels(const Box& box) const {
    std::vector<Rgb> out;
    for (int y = box.top; y < box.bottom; ++y)
      for (int x = box.left; x < box.right; ++x) out.push_back(at(x, y));
    return out;
  }

 private:
  mutable fipImage image_;
};

/// Where things stand in a picture of `kWidth` by `kHeight` with so many items.
struct Layout {
  explicit Layout(int items, int w = kWidth, int h = kHeight)
      : width(w), height(h), a((w - 40) / 2.0), b((h - (items < 6 ? 193 : 213)) / 2.0) {}
  int width, height;
  double a, b;  // half axes of the top face, which begins 20 pixels from the left and the top
  double x(double angle, double radius) const { return 20 + a + radius * a * std::cos(angle); }
  double y(double angle, double radius) const { return 20 + b + radius * b * std::sin(angle); }
  Box square(int item) const {
    const int left = item < 7 ? 20 : width / 2;
    const int top = static_cast<int>(2 * b) + 40 + 13 + 20 * (item < 7 ? item : item - 7);
    return {left, top, left + 15, top + 15};
  }
  Box label(int item, bool last = false) const {
    const Box box = square(item);
    return {box.left + 20, box.top + 1, box.left + 20 + (width - 40) / 2 - 20,
            last ? height - 20 + 5 : box.top + 16};
  }
};

/// A chart of these shares, drawn; 100 is the whole.
std::unique_ptr<GPPieChart> drawn(const std::vector<float>& shares, int width = kWidth,
                                  int height = kHeight) {
  auto chart = std::make_unique<GPPieChart>(width, height);
  for (std::size_t i = 0; i < shares.size(); ++i)
    chart->feed({tessaron::fromUtf8("Item " + std::to_string(i)), 1, shares[i]});
  chart->total = 100;
  EXPECT_TRUE(chart->draw());
  return chart;
}

/// The middle of every slice, as an angle on the circle that the pie was before it was tilted.
std::vector<double> middles(const std::vector<float>& shares) {
  std::vector<double> out;
  double sum = 0;
  for (const float share : shares) {
    out.push_back(((sum + share / 2) / 100 - 0.25) * 2 * std::numbers::pi);
    sum += share;
  }
  return out;
}

const std::vector<float> kPies[] = {
    // clang-format off
    {100}, {50, 50}, {75, 25}, {40, 30, 15, 10, 5}, {30, 25, 20, 12, 8, 5}, {18, 14, 12, 10, 9, 8, 7, 6, 5, 4, 4, 3},
    {10, 10, 10, 10, 10, 8, 8, 7, 6, 5, 5, 4, 3, 2, 2},
    // clang-format on
};

// The first test, so that the threads find GDI+ not yet started.
TEST(GPPieChart, DrawsInSeveralThreadsAtOnce) {
  std::vector<std::unique_ptr<GPPieChart>> charts(4);
  std::vector<std::thread> threads;
  for (auto& chart : charts) threads.emplace_back([&chart] { chart = drawn(kPies[4]); });
  for (std::thread& thread : threads) thread.join();
  const Box all = {0, 0, kWidth, kHeight};
  const auto expected = Picture(*drawn(kPies[4])).pixels(all);
  for (auto& chart : charts) EXPECT_EQ(Picture(*chart).pixels(all), expected);
}

TEST(GPPieChart, ShowsSlicesRimsAndLegendAndNothingElse) {
  for (const auto& shares : kPies) {
    SCOPED_TRACE(std::to_string(shares.size()) + " items");
    const auto items = static_cast<int>(shares.size());
    const Picture picture(*drawn(shares));
    const Layout layout(items);
    const auto angles = middles(shares);
    for (int i = 0; i < items; ++i) {
      SCOPED_TRACE("item " + std::to_string(i + 1));
      const Rgb color = kColors[i % 12];
      const double angle = angles[static_cast<std::size_t>(i)];
      EXPECT_EQ(picture.at(layout.x(angle, 0.9), layout.y(angle, 0.9)), color);
      // At the front the side is seen below the edge.
      const Rgb below = picture.at(layout.x(angle, 1), layout.y(angle, 1) + 7);
      EXPECT_TRUE(std::sin(angle) <= 0.3 || below == shadeOf(color));
      const Box square = layout.square(i);
      const Rgb expected = i < 12 ? color : kWhite;  // the legend's colors are not used twice
      for (const int offset : {1, 13})
        EXPECT_EQ(picture.at(square.left + offset, square.top + offset), expected);
      EXPECT_TRUE(i >= 14 || picture.ink(layout.label(i, i + 1 == items)) > 50) << "no label";
    }
    const int bottom = layout.square(0).top;
    // clang-format off
    const Box empty[] = {{0, 0, kWidth, 18}, {0, 0, 18, kHeight}, {kWidth - 18, 0, kWidth, kHeight},
                         {0, bottom - 18, kWidth, bottom}, {36, bottom, 40, kHeight}, {0, kHeight - 14, kWidth, kHeight}};
    // clang-format on
    for (const Box& box : empty)
      EXPECT_TRUE(items > 14 || picture.ink(box) == 0) << "around " << box.left << ", " << box.top;
  }
#ifndef _WIN32  // Wine's edges may be off by a pixel
  // The lowest layer is narrower than the others: it ends at 526.4 here, they would at 528.
  const Picture single(*drawn({100}));
  EXPECT_LT(distance(single.at(527, 196), kWhite), 30);
  EXPECT_EQ(single.at(523, 196), shadeOf(kColors[0]));
#endif
}

TEST(GPPieChart, GivesEverySliceItsShareOfTheArea) {
  constexpr double kInner = 0.97;  // of the radius: Wine's arcs are polygons of few edges
  for (const auto& shares : kPies) {
    if (shares.size() > 12) continue;  // two slices of one colour
    const auto chart = drawn(shares, 1600, 1200);
    const Picture picture(*chart);
    const Layout layout(static_cast<int>(shares.size()), 1600, 1200);
    std::vector<Rgb> colors(std::begin(kColors), std::begin(kColors) + shares.size());
    for (std::size_t i = 0; i < shares.size(); ++i) colors.push_back(shadeOf(kColors[i]));
    colors.push_back(kWhite);
    std::vector<double> area(colors.size());
    for (int y = 20; y < 20 + 2 * layout.b; ++y) {
      for (int x = 20; x < 20 + 2 * layout.a; ++x) {
        const double u = (x + 0.5 - 20 - layout.a) / layout.a;
        const double v = (y + 0.5 - 20 - layout.b) / layout.b;
        if (u * u + v * v > kInner * kInner) continue;
        const Rgb color = picture.at(x, y);
        const auto nearest = std::min_element(
            colors.begin(), colors.end(),
            [&](const Rgb& l, const Rgb& r) { return distance(l, color) < distance(r, color); });
        ++area[static_cast<std::size_t>(nearest - colors.begin())];
      }
    }
    area.resize(shares.size());
    const double face = std::accumulate(area.begin(), area.end(), 0.0);
    EXPECT_NEAR(face / (kInner * layout.a * kInner * layout.b * std::numbers::pi), 1, 0.01);
    for (std::size_t i = 0; i < shares.size(); ++i)
      EXPECT_NEAR(100 * area[i] / face, shares[i], shares[i] / 100)
          << "slice " << i + 1 << " of " << shares.size();
  }
}

TEST(GPPieChart, DrawsWhatHasAShareAndLeavesOutWhatHasNone) {
  // A value that is no number takes nothing from those after it.
  const auto chart = drawn({50, kNan, 25, 0, 25});
  const Picture picture(*chart);
  const Layout layout(5);
  const auto angles = middles({50, 0, 25, 0, 25});
  for (const std::size_t i : {0U, 2U, 4U})
    EXPECT_EQ(picture.at(layout.x(angles[i], 0.5), layout.y(angles[i], 0.5)), kColors[i]);
  EXPECT_GT(picture.ink(layout.label(1)), 50);

  // More than a whole turn covers all.
  const Picture turns(*drawn({120, -20}));
  EXPECT_EQ(turns.at(kWidth / 4, 80), kColors[0]);
  EXPECT_EQ(turns.at(kWidth / 2 + 20, 130), kColors[0]);

  auto zero = drawn({0, 0});
  zero->normalize(true);
  zero->draw();
  EXPECT_EQ(Picture(*zero).ink({0, 0, kWidth, layout.square(0).top}), 0);
  EXPECT_EQ(Picture(*drawn({})).ink({0, 0, kWidth, kHeight}), 0);
}

TEST(GPPieChart, SurvivesWhateverItIsGiven) {
  const float great = std::numeric_limits<float>::max();
  // clang-format off
  const std::vector<float> lists[] = {{}, {kNan, 1, kNan}, {-50, 150, 1e-30F}, {great, great, -great},
                                      {HUGE_VALF, 720}, std::vector<float>(400, 0.25F)};
  // clang-format on
  const int sizes[][2] = {{kWidth, kHeight}, {0, 0},     {-5, 10},  {1, 1},
                          {41, 194},         {300, 193}, {3, 2000}, {INT_MAX, INT_MAX}};
  for (const auto& [width, height] : sizes) {
    for (const auto& shares : lists) {
      const auto chart = drawn(shares, width, height);
      EXPECT_TRUE(chart->normalize(true) && chart->draw());
    }
  }
  GPPieChart impossible(0, 0);
  EXPECT_FALSE(impossible.writePng(u"never.png"));
  EXPECT_FALSE(fs::exists("never.png"));
}

TEST(GPPieChart, LabelsSayNameCountAndTruncatedShareInAnyScript) {
  const auto label = [](const scdata& item, int width = 200) {
    GPPieChart chart(kWidth, kHeight);
    chart.total = 100;
    chart.feed(item);
    chart.draw();
    Box box = Layout(1).label(0);
    box.right = box.left + width;
    return Picture(chart).pixels(box);
  };
  EXPECT_EQ(label({u"Rock", 12, 99.9F}), label({u"Rock", 12, 99}));
  EXPECT_NE(label({u"Rock", 12, 99}), label({u"Rock", 12, 98}));
  // The same text, here as the beginning of a name.
  EXPECT_EQ(label({u"Rock", 12, 37.9F}, 60), label({u"Rock 12 (37%) and more", 1, 1}, 60));
  // Scripts of which the fonts at hand have no letters would all show the same boxes.
  std::set<std::vector<Rgb>> seen;
  for (const char16_t* name : {u"LDZ", u"ΛΔΩ", u"ЖДЯ", u"ĽĎŽ"}) seen.insert(label({name, 1, 1}));
  EXPECT_EQ(seen.size(), 4U);
}

TEST(GPPieChart, LongLabelsEndInAnEllipsisAndTheLastOneGoesOn) {
  std::u16string name;
  for (int i = 0; i < 60; ++i) name += u"wide ";
  GPPieChart chart(kWidth, kHeight);
  for (int i = 0; i < 3; ++i) chart.feed({name + static_cast<char16_t>(u'a' + i), 1, 1});
  chart.normalize(true);
  chart.draw();
  const Picture picture(chart);
  const Layout layout(3);
#ifndef _WIN32  // Wine's GDI+ does not trim
  const Box first = layout.label(0);
  int right = first.right;
  while (right > first.left && picture.ink({right - 1, first.top, right, first.bottom}) == 0)
    --right;
  EXPECT_GT(right, first.right - 30) << "the label does not fill its column";
  int rows = 0;  // of the label's end: dots take few, letters more
  for (int y = first.top; y < first.bottom; ++y)
    rows += picture.ink({right - 6, y, right, y + 1}) > 0;
  EXPECT_LE(rows, 3);
#endif
  const Box last = layout.label(2, true);
  EXPECT_GT(picture.ink({last.left, last.top + 18, last.right, last.bottom}), 200);
  EXPECT_EQ(picture.ink({last.right, last.top, kWidth, kHeight}), 0);
}

TEST(GPPieChart, SharesItsCanvasWithItsCopies) {
  auto original = drawn(kPies[3]);
  { const GPPieChart copy = *original; }
  GPPieChart other(100, 300);
  other = *original;
  EXPECT_EQ(other.pieWidth, original->pieWidth);
  other.items = {{u"all", 1, 100}};
  other.draw();
  EXPECT_EQ(Picture(*original).at(kWidth / 2, 60), kColors[0]);
  original.reset();
  other.draw();
  EXPECT_EQ(Picture(other).at(kWidth / 2, 60), kColors[0]);
}

TEST(GPChart, WritesPngFilesWhereItCan) {
  const TemporaryFolder folder;
  GPPieChart chart(300, 300);
  EXPECT_TRUE(chart.writePng((folder.path / u"Größe 音.png").u16string()));
  EXPECT_TRUE(fs::exists(folder.path / u"Größe 音.png"));
  EXPECT_EQ(chart.canvas->GetLastStatus(), Gdiplus::Ok);
  EXPECT_FALSE(chart.writePng((folder.path / "none/chart.png").u16string()));
  EXPECT_NE(chart.canvas->GetLastStatus(), Gdiplus::Ok);
  GPChart base;
  EXPECT_FALSE(base.writePng((folder.path / "base.png").u16string()));
  EXPECT_TRUE(base.draw());
  EXPECT_TRUE(base.feed());
}

TEST(GPChart, FindsEncodersByTheirExactType) {
  GPChart chart;
  CLSID png{}, untouched{};
  EXPECT_GE(chart.GetEncoderClsid(u"image/png", &png), 0);
  EXPECT_NE(png.Data1, 0U);
  for (const char16_t* type : {u"IMAGE/PNG", u"image/pn", u"image/png ", u""})
    EXPECT_EQ(chart.GetEncoderClsid(type, &untouched), -1);
  EXPECT_EQ(untouched.Data1, 0U);
}

}  // namespace
