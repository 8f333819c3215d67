#include "support/picture_samples.h"

#include <jpeglib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "support/bytes.h"

std::string makeJpeg(const JpegSample& sample) {
  using Colors = JpegSample::Colors;
  const bool isInks = sample.colors == Colors::Cmyk || sample.colors == Colors::InvertedCmyk;
  jpeg_compress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* memory = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &memory, &size);
  info.image_width = sample.width;
  info.image_height = sample.height;
  info.input_components = sample.colors == Colors::Grey ? 1 : isInks ? 4 : 3;
  info.in_color_space = sample.colors == Colors::Grey ? JCS_GRAYSCALE : isInks ? JCS_CMYK : JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 95, TRUE);
  info.write_Adobe_marker = sample.colors == Colors::InvertedCmyk;
  info.density_unit = static_cast<UINT8>(sample.densityUnit);
  info.X_density = info.Y_density = static_cast<UINT16>(sample.density);
  if (sample.progressive) jpeg_simple_progression(&info);
  jpeg_start_compress(&info, TRUE);
  std::vector<JSAMPLE> row;
  for (unsigned x = 0; x < sample.width; ++x)
    row.insert(row.end(), sample.value, sample.value + info.input_components);
  for (JSAMPROW line = row.data(); info.next_scanline < info.image_height;)
    jpeg_write_scanlines(&info, &line, 1);
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  const std::string file(reinterpret_cast<const char*>(memory), size);
  std::free(memory);
  return file;
}

std::string withMeasures(std::string jpeg, unsigned width, unsigned height) {
  // A start of frame: FF C0 or FF C2, two bytes of length, one of precision, height, width.
  for (std::size_t i = 0; i + 8 < jpeg.size(); ++i) {
    if (jpeg[i] != '\xFF' || (jpeg[i + 1] != '\xC0' && jpeg[i + 1] != '\xC2')) continue;
    jpeg[i + 5] = static_cast<char>(height >> 8);
    jpeg[i + 6] = static_cast<char>(height);
    jpeg[i + 7] = static_cast<char>(width >> 8);
    jpeg[i + 8] = static_cast<char>(width);
    break;
  }
  return jpeg;
}

std::string saved(fipImage& picture, FREE_IMAGE_FORMAT format, int flags) {
  fipMemoryIO memory;
  picture.saveToMemory(format, memory, flags);
  BYTE* bytes = nullptr;
  DWORD size = 0;
  memory.acquire(&bytes, &size);
  return {reinterpret_cast<const char*>(bytes), size};
}

std::string makePicture(FREE_IMAGE_FORMAT format, unsigned width, unsigned height,
                        double dotsPerCentimeter) {
  fipImage picture(FIT_BITMAP, width, height, 24);
  picture.setHorizontalResolution(dotsPerCentimeter);
  picture.setVerticalResolution(dotsPerCentimeter);
  if (format == FIF_GIF) picture.convertTo8Bits();
  return saved(picture, format);
}

std::string makeArgb(FREE_IMAGE_FORMAT format, unsigned width, unsigned height,
                     std::uint32_t argb) {
  fipImage image(FIT_BITMAP, static_cast<WORD>(width), static_cast<WORD>(height), 32);
  for (unsigned y = 0; y < height; ++y)
    std::fill_n(reinterpret_cast<std::uint32_t*>(image.getScanLine(y)), width, argb);
  return saved(image, format);
}

IconFrame bitmapFrame(int size, int bits, std::uint32_t argb, bool halfMasked) {
  const auto n = static_cast<std::uint32_t>(size), depth = static_cast<std::uint32_t>(bits);
  std::string text = le32(40) + le32(n) + le32(2 * n) + le16(1) + le16(depth);
  text.resize(40);
  std::string row, mask(std::size_t{(n + 31) / 32 * 4}, '\0');
  if (bits <= 8) text += (le32(argb & 0xFFFFFF) + std::string((std::size_t{4} << bits) - 4, '\0'));
  for (int x = 0; bits > 8 && x < size; ++x)
    row += bits == 16 ? le16(argb) : le32(argb).substr(0, depth / 8);
  row.resize((n * depth + 31) / 32 * 4);
  if (halfMasked) std::fill_n(mask.begin(), size / 16, '\xFF');
  for (int y = 0; y < size; ++y) text += row;
  for (int y = 0; y < size; ++y) text += mask;
  return {size, bits, text};
}

std::string makeIcon(const std::vector<IconFrame>& frames) {
  const auto count = static_cast<std::uint32_t>(frames.size());
  std::string directory = le16(0) + le16(1) + le16(count), data;
  for (const IconFrame& frame : frames) {
    const std::string side(1, static_cast<char>(frame.size));
    directory += side + side + le16(0) + le16(1) + le16(static_cast<std::uint32_t>(frame.bits)) +
                 le32(static_cast<std::uint32_t>(frame.bytes.size())) +
                 le32(static_cast<std::uint32_t>(6 + 16 * count + data.size()));
    data += frame.bytes;
  }
  return directory + data;
}
