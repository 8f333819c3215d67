#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/gdiplus.h"
#include "tessaron_export.h"

/// The base of the charts: a canvas to draw on, and the way to save it.
///
/// A copy shares the canvas. Delete a chart as what it was made as: the two virtual operations are
/// the whole virtual table.
class TESSARON_API GPChart {
 public:
  /// What is drawn on; null until the chart that draws has made one. The base never deletes it.
  Gdiplus::Bitmap* canvas = nullptr;
  std::vector<std::int32_t> reserved1;  ///< the application's
  std::vector<std::int32_t> reserved2;  ///< the application's

  GPChart();
  GPChart(const GPChart&);
  GPChart(GPChart&&) noexcept;
  GPChart& operator=(const GPChart&);
  GPChart& operator=(GPChart&&) noexcept;
  ~GPChart();

  /// Draws the chart on its canvas; the base draws nothing. Always true.
  virtual bool draw();
  /// Does nothing. Always true.
  virtual bool feed();

  /// Saves the canvas as a PNG file, straight to `path`: a failure may leave a part of it behind.
  /// False on failure, the reason being the canvas's last status; false without a canvas.
  bool writePng(const std::u16string& path);
  /// Finds the image encoder for a MIME type, compared exactly. Returns its index among the
  /// encoders of the system and sets `clsid`; -1, and `clsid` untouched, when there is none.
  int GetEncoderClsid(const char16_t* mimeType, CLSID* clsid);
};
