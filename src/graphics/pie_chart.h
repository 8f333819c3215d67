#pragma once

#include <memory>

#include "graphics/simple_chart.h"
#include "tessaron_export.h"

/// A tilted, three-dimensional pie with a legend of two columns below it. Construct it with the
/// picture's size, feed it, `normalize(true)` it, draw it, write it.
///
/// The layout is made for 12 items on a canvas that is at least 240 pixels high. On a smaller one
/// what has no room is left out.
class TESSARON_API GPPieChart : public GPSimpleChart {
 public:
  int margin = 20;    ///< pixels
  int depth = 13;     ///< of the pie: pixels, and the number of layers below its top face
  int pieWidth;       ///< of the top face, in pixels
  int pieHeight = 0;  ///< of the top face, in pixels; set by `draw`

  /// Makes a canvas of so many pixels. Without GDI+ there is none; one of an impossible size takes
  /// nothing that is drawn. A copy shares it, and it goes with the last of those that share it.
  GPPieChart(int width, int height);
  GPPieChart(const GPPieChart&);
  GPPieChart(GPPieChart&&) noexcept;
  GPPieChart& operator=(const GPPieChart&);
  GPPieChart& operator=(GPPieChart&&) noexcept;
  ~GPPieChart();

  /// Draws all items on a white canvas. Always true: what could not be drawn is not reported.
  bool draw() override;

 private:
  float transformAngle(float angle) const;
  void drawPie(Gdiplus::Graphics& graphics) const;
  void drawLegend(Gdiplus::Graphics& graphics, int width, int height) const;

  std::shared_ptr<Gdiplus::Bitmap> ownCanvas_;
};
