#include "graphics/pie_chart.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>

#include "platform/gdiplus.h"
#include "support/text.h"

using Gdiplus::Color;
using Gdiplus::Graphics;
using Gdiplus::SolidBrush;
using tessaron::gdiplusText;

namespace {

struct Rgb {
  std::uint8_t red, green, blue;
  Color face() const { return {red, green, blue}; }
  Color side() const { return {shade(red), shade(green), shade(blue)}; }

 private:
  static std::uint8_t shade(int channel) { return static_cast<std::uint8_t>(channel * 2 / 3); }
};

constexpr Rgb kPalette[] = {
    {50, 193, 0}, {122, 229, 0}, {234, 255, 0}, {255, 215, 0}, {255, 160, 0}, {255, 111, 0},
    {255, 27, 0}, {255, 0, 117}, {166, 0, 204}, {18, 0, 198},  {0, 87, 209},  {0, 168, 228},
};

constexpr int kRowHeight = 20;
constexpr std::size_t kRows = 7;  // in the left column
constexpr int kSquare = 15;
constexpr int kMinGlyphArea = 8;  // square pixels of a letter of the legend

struct PieBox {
  int x, y, width, height;
};

int truncated(float value) {
  constexpr auto kLimit = static_cast<double>(std::numeric_limits<int>::max());
  return std::isnan(value) ? 0 : static_cast<int>(std::clamp<double>(value, -kLimit, kLimit));
}

std::u16string labelOf(const scdata& item) {
  return item.name + tessaron::fromUtf8(" " + std::to_string(item.count) + " (" +
                                        std::to_string(truncated(item.value)) + "%)");
}

// Angles as they are drawn, in degrees.
struct Slice {
  const Rgb* color;
  float start;
  float sweep;
};

// `transform` maps an angle on the circle to the ellipse.
template <typename Transform>
std::vector<Slice> slicesOf(const std::vector<scdata>& items, float total, Transform transform) {
  std::vector<Slice> slices;
  float start = -90;  // twelve o'clock
  for (std::size_t i = 0; i < items.size(); ++i) {
    const float turn = items[i].value / total * 360;
    if (!std::isfinite(turn)) continue;
    const float from = transform(start);
    float sweep = turn;
    // Half turns, whole turns and more are the same on an ellipse.
    if ((turn >= 1 && turn < 180) || (turn >= 181 && turn < 360)) {
      sweep = transform(start + turn) - from;
      if (sweep < 0) sweep += 360;
    }
    start += turn;
    if (std::isfinite(from) && std::isfinite(sweep))
      slices.push_back(
          {&kPalette[i % std::size(kPalette)], from, std::clamp(sweep, -360.0F, 360.0F)});
  }
  return slices;
}

// Draws the labels of a legend.
class LabelWriter {
 public:
  explicit LabelWriter(Graphics& graphics) : graphics_(graphics) {
    format_.SetAlignment(Gdiplus::StringAlignmentNear);
    format_.SetTrimming(Gdiplus::StringTrimmingEllipsisCharacter);
  }
  // `maxUnits` bounds the text: measuring the names of a thousand grouped items takes seconds.
  void write(const scdata& item, const Gdiplus::RectF& box, std::size_t maxUnits) const {
    const std::u16string label = labelOf(item).substr(0, maxUnits);
    graphics_.DrawString(gdiplusText(label.c_str()), static_cast<int>(label.size()), &font_, box,
                         &format_, &black_);
  }

 private:
  Graphics& graphics_;
  Gdiplus::FontFamily tahoma_{gdiplusText(u"Tahoma")};
  Gdiplus::Font font_{tahoma_.IsAvailable() ? &tahoma_ : Gdiplus::FontFamily::GenericSansSerif(), 8,
                      Gdiplus::FontStyleRegular, Gdiplus::UnitPoint};
  Gdiplus::StringFormat format_;
  SolidBrush black_{Color(0, 0, 0)};
};

}  // namespace

GPPieChart::GPPieChart(int width, int height) {
  if (tessaron::startGdiplus())
    ownCanvas_ = std::make_shared<Gdiplus::Bitmap>(width, height, PixelFormat24bppRGB);
  canvas = ownCanvas_.get();
  pieWidth = (canvas ? static_cast<int>(canvas->GetWidth()) : 0) - 2 * margin;
}

GPPieChart::GPPieChart(const GPPieChart&) = default;
GPPieChart::GPPieChart(GPPieChart&&) noexcept = default;
GPPieChart& GPPieChart::operator=(const GPPieChart&) = default;
GPPieChart& GPPieChart::operator=(GPPieChart&&) noexcept = default;
GPPieChart::~GPPieChart() = default;

/// Maps an angle on the circle to the ellipse, so that slices keep their shares of the area.
/// Degrees, not negative.
float GPPieChart::transformAngle(float angle) const {
  const double radians = angle * (std::numbers::pi / 180);
  const double degrees = std::atan2(std::sin(radians) * pieHeight, std::cos(radians) * pieWidth) *
                         180 / std::numbers::pi;
  return static_cast<float>(degrees < 0 ? degrees + 360 : degrees);
}

bool GPPieChart::draw() {
  if (!canvas) return true;
  const auto height = static_cast<int>(canvas->GetHeight());
  const int legendHeight = items.size() < 6 ? 120 : 140;
  pieHeight = height - 3 * margin - depth - legendHeight;

  Graphics graphics(canvas);
  graphics.Clear(Color(0xFFFFFFFF));
  graphics.SetSmoothingMode(Gdiplus::SmoothingModeAntiAlias);
  drawPie(graphics);
  drawLegend(graphics, static_cast<int>(canvas->GetWidth()), height);
  return true;
}

void GPPieChart::drawPie(Graphics& graphics) const {
  const std::vector<Slice> slices =
      slicesOf(items, total, [this](float angle) { return transformAngle(angle); });
  const auto fill = [&](const PieBox& box, Color (Rgb::*shade)() const) {
    if (box.width <= 0 || box.height <= 0) return;
    for (const Slice& slice : slices) {
      const SolidBrush brush((slice.color->*shade)());
      graphics.FillPie(&brush, box.x, box.y, box.width, box.height, slice.start, slice.sweep);
    }
  };
  // Lower layers are narrower: a slight perspective.
  const int steps = std::max(depth / 3, 1);
  for (int layer = 0; layer < depth; ++layer) {
    const int percent = 100 * layer / depth;
    fill({margin + (100 - percent) / depth / steps, margin + depth - layer,
          pieWidth + (2 * percent - 200) / depth / steps, pieHeight},
         &Rgb::side);
  }
  fill({margin, margin, pieWidth, pieHeight}, &Rgb::face);
}

void GPPieChart::drawLegend(Graphics& graphics, int width, int height) const {
  const LabelWriter labels(graphics);
  for (std::size_t i = 0; i < items.size(); ++i) {
    const auto row = static_cast<int>(i < kRows ? i : i - kRows);
    const int x = i < kRows ? margin : width / 2;
    const int y = pieHeight + 2 * margin + kRowHeight * row + depth;
    if (y >= height) {
      if (i >= kRows) break;
      continue;
    }
    // QUIRK: An item after the 12th has no square, though its slice has a color. The palette is not
    // repeated here. Kept: the legend is made for items whose rest is grouped.
    if (i < std::size(kPalette)) {
      const SolidBrush brush(kPalette[i].face());
      graphics.FillRectangle(&brush, x, y, kSquare, kSquare);
    }
    const int labelWidth = (width - 2 * margin) / 2 - kRowHeight;
    const int labelHeight = i + 1 == items.size() ? height - y - margin + 4 : kSquare;
    const std::size_t maxUnits =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(height - y) / kMinGlyphArea;
    labels.write(items[i],
                 {static_cast<float>(x + kRowHeight), static_cast<float>(y + 1),
                  static_cast<float>(labelWidth), static_cast<float>(labelHeight)},
                 maxUnits);
  }
}
