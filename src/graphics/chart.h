#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"
#include "tessaron_export.h"

namespace Gdiplus {
class Bitmap;
}

/// Base of the charts: a canvas, and saving it as a file.
///
/// A copy shares the canvas. The destructor is not virtual: delete a chart through its own type.
/// One thread at a time per canvas, and so for a chart and its copies together; charts with
/// different canvases may be used by different threads.
class TESSARON_API GPChart {
 public:
  /// Drawing surface, null until a derived chart has created one. The base never deletes it.
  Gdiplus::Bitmap* canvas = nullptr;
  std::vector<std::int32_t> reserved1;  ///< for the application
  std::vector<std::int32_t> reserved2;  ///< for the application

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

  /// Saves the canvas as a PNG file, directly to `path`: a failure may leave a partial file. False
  /// on failure, with the reason in the canvas's last status, and without a canvas.
  bool writePng(const std::u16string& path);
  /// Finds the system's image encoder for a MIME type, compared exactly. Returns its index and sets
  /// `clsid`; -1, and `clsid` unchanged, when there is none.
  int GetEncoderClsid(const char16_t* mimeType, CLSID* clsid);
};
