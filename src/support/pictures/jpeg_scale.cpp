#include "support/pictures/jpeg_scale_internal.h"

// jpeglib.h needs these before it.
#include <jerror.h>
#include <jpeglib.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <system_error>

#include "platform/file.h"
#include "support/pictures/loading.h"
#include "support/pictures/picture_memory_internal.h"
#include "support/pictures/picture_source_internal.h"

namespace {

struct ErrorManager {
  jpeg_error_mgr base;
  std::jmp_buf giveUp;
};

[[noreturn]] void onError(j_common_ptr info) {
  std::longjmp(reinterpret_cast<ErrorManager*>(info->err)->giveUp, 1);
}

void ignoreMessage(j_common_ptr, int) {}
void ignoreOutput(j_common_ptr) {}

struct SourceManager {
  jpeg_source_mgr base;
  tessaron::PictureSource* source;
  std::uint64_t at;  ///< where the next read begins
  std::byte buffer[32 << 10];
};

SourceManager& sourceOf(j_decompress_ptr info) {
  return *reinterpret_cast<SourceManager*>(info->src);
}

boolean fillBuffer(j_decompress_ptr info) {
  static constexpr JOCTET kEnd[] = {0xFF, JPEG_EOI};
  SourceManager& source = sourceOf(info);
  const std::size_t count = source.source->read(source.at, source.buffer);
  source.at += count;
  const bool isOver = count == 0;  // the decoder fills the rest
  source.base.next_input_byte = isOver ? kEnd : reinterpret_cast<const JOCTET*>(source.buffer);
  source.base.bytes_in_buffer = isOver ? sizeof kEnd : count;
  return TRUE;
}

void skipInput(j_decompress_ptr info, long count) {
  if (count <= 0) return;
  SourceManager& source = sourceOf(info);
  const auto wanted = static_cast<std::size_t>(count);
  if (wanted <= source.base.bytes_in_buffer) {
    source.base.next_input_byte += wanted;
    source.base.bytes_in_buffer -= wanted;
  } else {
    source.at += wanted - source.base.bytes_in_buffer;
    source.base.bytes_in_buffer = 0;
  }
}

void ignoreSource(j_decompress_ptr) {}

bool canHold(const jpeg_decompress_struct& info, std::uint64_t length) {
  // Every block of 8 by 8 pixels takes at least a bit, except with arithmetic coding.
  const std::uint64_t pixelsPerByte = info.arith_code ? 1 << 16 : 8 * 64;
  return std::uint64_t{info.image_width} * info.image_height / pixelsPerByte <= length;
}

void chooseScale(jpeg_decompress_struct& info, unsigned maxWidth, unsigned maxHeight) {
  for (unsigned denominator = 1; denominator <= 8; denominator *= 2) {
    info.scale_num = 1;
    info.scale_denom = denominator;
    jpeg_calc_output_dimensions(&info);
    if (info.output_width <= maxWidth && info.output_height <= maxHeight) break;
  }
  if (info.scale_denom > 8) info.scale_denom = 8;
}

bool chooseColors(jpeg_decompress_struct& info) {
  switch (info.jpeg_color_space) {
    case JCS_GRAYSCALE:
      info.out_color_space = JCS_GRAYSCALE;
      return true;
    case JCS_YCbCr:
    case JCS_RGB:
      info.out_color_space = FI_RGBA_BLUE == 0 ? JCS_EXT_BGR : JCS_EXT_RGB;
      return true;
    case JCS_CMYK:
    case JCS_YCCK:
      info.out_color_space = JCS_CMYK;
      return true;
    default:
      return false;
  }
}

unsigned dotsPerMeter(const jpeg_decompress_struct& info, unsigned density) {
  constexpr unsigned kUndeclared = 2835;  // what a picture of any other format gets
  if (density == 0 || info.density_unit < 1 || info.density_unit > 2) return kUndeclared;
  const double perMeter = info.density_unit == 1 ? 100 / 2.54 : 100;
  return static_cast<unsigned>(std::lround(density * perMeter));
}

FIBITMAP* allocate(const jpeg_decompress_struct& info) {
  const bool isGray = info.out_color_space == JCS_GRAYSCALE;
  FIBITMAP* bitmap =
      FreeImage_Allocate(static_cast<int>(info.output_width), static_cast<int>(info.output_height),
                         isGray ? 8 : 24, FI_RGBA_RED_MASK, FI_RGBA_GREEN_MASK, FI_RGBA_BLUE_MASK);
  if (!bitmap) return nullptr;
  for (unsigned i = 0; isGray && i < 256; ++i) {
    const auto level = static_cast<BYTE>(i);
    FreeImage_GetPalette(bitmap)[i] = {level, level, level, 0};
  }
  FreeImage_SetDotsPerMeterX(bitmap, dotsPerMeter(info, info.X_density));
  FreeImage_SetDotsPerMeterY(bitmap, dotsPerMeter(info, info.Y_density));
  return bitmap;
}

// Converts inks to light. Programs that write Adobe's marker write inks inverted.
void mixInks(const JSAMPLE* inks, unsigned width, bool inverted, BYTE* pixels) {
  for (unsigned x = 0; x < width; ++x, inks += 4, pixels += 3) {
    const auto light = [&](int ink) { return inverted ? inks[ink] : 255 - inks[ink]; };
    const auto mix = [&](int ink) { return static_cast<BYTE>(light(ink) * light(3) / 255); };
    pixels[FI_RGBA_RED] = mix(0);
    pixels[FI_RGBA_GREEN] = mix(1);
    pixels[FI_RGBA_BLUE] = mix(2);
  }
}

void readRows(jpeg_decompress_struct& info, FIBITMAP* bitmap) {
  const bool isInks = info.out_color_space == JCS_CMYK;
  JSAMPARRAY inks = nullptr;
  if (isInks) {
    inks = info.mem->alloc_sarray(reinterpret_cast<j_common_ptr>(&info), JPOOL_IMAGE,
                                  info.output_width * 4, 1);
  }
  while (info.output_scanline < info.output_height) {
    const JDIMENSION row = info.output_height - 1 - info.output_scanline;  // stored bottom up
    BYTE* pixels = FreeImage_GetScanLine(bitmap, static_cast<int>(row));
    JSAMPROW target = isInks ? inks[0] : pixels;
    jpeg_read_scanlines(&info, &target, 1);
    if (isInks) mixInks(inks[0], info.output_width, info.saw_Adobe_marker != 0, pixels);
  }
}

// Bytes that decoding takes: the picture, and the coefficients of one that comes in several scans.
std::uint64_t memoryOf(jpeg_decompress_struct& info) {
  const std::uint64_t picture = std::uint64_t{info.output_width} * info.output_height * 3;
  if (!jpeg_has_multiple_scans(&info)) return picture;
  const auto components = static_cast<unsigned>(info.num_components);
  return picture + std::uint64_t{info.image_width} * info.image_height * components * sizeof(JCOEF);
}

struct Request {
  unsigned maxWidth, maxHeight;
  bool wantsPixels = false;
  bool isExact = false;  // at the cost of time
};

struct Result {
  unsigned denominator = 0;  // 0: not decoded
  FIBITMAP* bitmap = nullptr;
  tessaron::PictureMeasures measures;
  std::uint64_t memory = 0;  // bytes
};

void readPixels(jpeg_decompress_struct& info, const Request& request, Result& result) {
  if (!request.isExact) {
    info.dct_method = JDCT_IFAST;
    info.do_fancy_upsampling = FALSE;
  }
  jpeg_start_decompress(&info);
  result.bitmap = allocate(info);
  if (!result.bitmap) onError(reinterpret_cast<j_common_ptr>(&info));
  readRows(info, result.bitmap);
}

// An error of the decoder jumps back to `setjmp`: neither this function nor those that it calls own
// anything with a destructor.
void decode(SourceManager& source, const Request& request, Result& result) {
  jpeg_decompress_struct info;
  ErrorManager errors;
  info.err = jpeg_std_error(&errors.base);
  errors.base.error_exit = onError;
  errors.base.emit_message = ignoreMessage;
  errors.base.output_message = ignoreOutput;
  info.mem = nullptr;
  if (setjmp(errors.giveUp) != 0) {
    jpeg_destroy_decompress(&info);
    result.denominator = 0;
    return;
  }
  jpeg_create_decompress(&info);
  info.mem->max_memory_to_use = static_cast<long>(tessaron::kMaxPictureBytes);
  info.src = &source.base;
  jpeg_read_header(&info, TRUE);
  if (!canHold(info, source.source->size()) || !chooseColors(info)) std::longjmp(errors.giveUp, 1);
  chooseScale(info, request.maxWidth, request.maxHeight);
  result.denominator = info.scale_denom;
  result.memory = memoryOf(info);
  result.measures = {
      info.output_width, info.output_height, info.out_color_space == JCS_GRAYSCALE ? 8u : 24u,
      dotsPerMeter(info, info.X_density) / 100.0, dotsPerMeter(info, info.Y_density) / 100.0};
  if (request.wantsPixels) readPixels(info, request, result);
  jpeg_destroy_decompress(&info);  // ignores what follows the last row
}

Result decode(tessaron::PictureSource& picture, const Request& request) {
  Result result;
  if (request.maxWidth < 1 || request.maxHeight < 1) return result;
  SourceManager source;
  source.base = {nullptr,     0, ignoreSource, fillBuffer, skipInput, jpeg_resync_to_restart,
                 ignoreSource};
  source.source = &picture;
  source.at = 0;
  decode(source, request, result);
  return result;
}

// Decodes within the memory for pictures. Returns the denominator, or 0 with `image` untouched.
unsigned load(tessaron::PictureSource& source, Request request, fipImage& image) {
  const std::uint64_t needed = decode(source, request).memory;
  const tessaron::PictureMemory memory(needed);
  if (needed == 0 || !memory.isGranted()) return 0;
  request.wantsPixels = true;
  const Result result = decode(source, request);
  if (result.denominator != 0) {
    image = result.bitmap;
  } else if (result.bitmap) {
    FreeImage_Unload(result.bitmap);
  }
  return result.denominator;
}

Request within(int maxWidth, int maxHeight) {
  return {static_cast<unsigned>(std::max(maxWidth, 0)),
          static_cast<unsigned>(std::max(maxHeight, 0))};
}

constexpr Request kWhole{JPEG_MAX_DIMENSION, JPEG_MAX_DIMENSION, false, true};

}  // namespace

int jpegScaleDirect(const std::u16string& path, fipWinImage& image, int maxWidth, int maxHeight) {
  std::error_code error;
  const std::unique_ptr<tessaron::File> file = tessaron::openFile(path, {}, error);
  if (!file) return 0;
  tessaron::PictureSource source(*file, file->size().value_or(0));
  return static_cast<int>(load(source, within(maxWidth, maxHeight), image));
}

bool tessaron::loadJpeg(PictureSource& source, fipImage& picture) {
  return load(source, kWhole, picture) != 0;
}

int tessaron::measureJpeg(File& file, PictureMeasures& measures, int maxWidth, int maxHeight) {
  PictureSource source(file, file.size().value_or(0));
  const Result result = decode(source, within(maxWidth, maxHeight));
  if (result.memory > kMaxPictureBytes || result.denominator == 0) return 0;
  measures = result.measures;
  return static_cast<int>(result.denominator);
}

bool tessaron::measureWholeJpeg(PictureSource& source, PictureMeasures& measures) {
  const Result result = decode(source, kWhole);
  if (result.memory > kMaxPictureBytes || result.denominator == 0) return false;
  measures = result.measures;
  return true;
}
