#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/picture.h"

/// How a sample JPEG is written.
struct JpegSample {
  unsigned width = 0, height = 0;
  enum class Colors { Grey, Rgb, Cmyk, InvertedCmyk } colors = Colors::Rgb;
  unsigned char value[4] = {200, 30, 60, 20};  ///< of every pixel, as its components
  int densityUnit = 0;                         ///< 1 per inch, 2 per centimeter
  int density = 1;
  bool progressive = false;
};

/// A JPEG file of one color.
std::string makeJpeg(const JpegSample& sample);

/// `jpeg` with other measures in its header.
std::string withMeasures(std::string jpeg, unsigned width, unsigned height);

/// `picture` as a file, with FreeImage's flags for its format.
std::string saved(fipImage& picture, FREE_IMAGE_FORMAT format, int flags = 0);

/// A picture of one color in one of FreeImage's formats, 24 bits a pixel (8 in a GIF).
std::string makePicture(FREE_IMAGE_FORMAT format, unsigned width, unsigned height,
                        double dotsPerCentimeter = 118.11);

/// A picture of one color in one of FreeImage's formats, 32 bits a pixel.
std::string makeArgb(FREE_IMAGE_FORMAT format, unsigned width, unsigned height, std::uint32_t argb);

/// A picture of an icon: a bitmap without file header, or a PNG file.
struct IconFrame {
  int size;  ///< pixels of a side
  int bits;  ///< a pixel
  std::string bytes;
};

/// A bitmap of one color and any depth; the mask makes the left half transparent on demand.
IconFrame bitmapFrame(int size, int bits, std::uint32_t argb, bool halfMasked = false);

/// An icon file.
std::string makeIcon(const std::vector<IconFrame>& frames);

inline std::span<const std::byte> bytesOf(const std::string& text) {
  return std::as_bytes(std::span(text));
}
