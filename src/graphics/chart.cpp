#include "graphics/chart.h"

#include <cstdlib>
#include <memory>
#include <string_view>

#include "platform/gdiplus.h"

using tessaron::gdiplusText;

GPChart::GPChart() = default;
GPChart::GPChart(const GPChart&) = default;
GPChart::GPChart(GPChart&&) noexcept = default;
GPChart& GPChart::operator=(const GPChart&) = default;
GPChart& GPChart::operator=(GPChart&&) noexcept = default;
GPChart::~GPChart() = default;

bool GPChart::draw() { return true; }

bool GPChart::feed() { return true; }

bool GPChart::writePng(const std::u16string& path) {
  if (canvas == nullptr) return false;
  CLSID encoder{};
  GetEncoderClsid(u"image/png", &encoder);  // without one the save fails, and tells why
  return canvas->Save(gdiplusText(path.c_str()), &encoder, nullptr) == Gdiplus::Ok;
}

int GPChart::GetEncoderClsid(const char16_t* mimeType, CLSID* clsid) {
  unsigned count = 0;
  unsigned bytes = 0;
  if (!tessaron::startGdiplus() || Gdiplus::GetImageEncodersSize(&count, &bytes) != Gdiplus::Ok ||
      bytes == 0)
    return -1;
  // The descriptions are followed by the texts that they point to.
  const std::unique_ptr<void, decltype(&std::free)> memory(std::malloc(bytes), &std::free);
  auto* encoders = static_cast<Gdiplus::ImageCodecInfo*>(memory.get());
  if (encoders == nullptr || Gdiplus::GetImageEncoders(count, bytes, encoders) != Gdiplus::Ok)
    return -1;
  const std::basic_string_view wanted(gdiplusText(mimeType));
  for (unsigned i = 0; i < count; ++i) {
    if (encoders[i].MimeType != wanted) continue;
    *clsid = encoders[i].Clsid;
    return static_cast<int>(i);
  }
  return -1;
}
