#pragma once

#include <memory>

#include "graphics/simple_chart.h"
#include "tessaron_export.h"

namespace Gdiplus {
class Graphics;
}

/// A tilted, three-dimensional pie with a legend of two columns below it. Call `feed` for every
/// item, then `normalize(true)`, `draw` and `writePng`.
///
/// The layout suits 12 items and a canvas at least 240 pixels high; what does not fit is left out.
/// One thread at a time for a chart and its copies, which share the canvas; other charts may be
/// drawn by other threads at the same time.
class TESSARON_API GPPieChart : public GPSimpleChart {
 public:
  int margin = 20;    ///< pixels
  int depth = 13;     ///< of the pie in pixels, and the number of layers below the top face
  int pieWidth;       ///< of the top face, in pixels
  int pieHeight = 0;  ///< of the top face, in pixels; set by `draw`

  /// Creates a canvas; sizes in pixels. Without GDI+ there is none; drawing on one of an impossible
  /// size does nothing. Copies share the canvas, which the last of them deletes.
  GPPieChart(int width, int height);
  GPPieChart(const GPPieChart&);
  GPPieChart(GPPieChart&&) noexcept;
  GPPieChart& operator=(const GPPieChart&);
  GPPieChart& operator=(GPPieChart&&) noexcept;
  ~GPPieChart();

  /// Draws all items on a white canvas. Always true, also when drawing failed.
  bool draw() override;

 private:
  float transformAngle(float angle) const;
  void drawPie(Gdiplus::Graphics& graphics) const;
  void drawLegend(Gdiplus::Graphics& graphics, int width, int height) const;

  std::shared_ptr<Gdiplus::Bitmap> ownCanvas_;
};
