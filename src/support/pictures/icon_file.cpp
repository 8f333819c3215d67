#include "support/pictures/icon_file.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <tuple>

#include "support/byte_reader.h"
#include "support/pictures/loading.h"

namespace tessaron {
namespace {

constexpr std::int32_t kMaxSide = 4096;  // pixels; no system makes icons of more than 256
constexpr std::size_t kHeaderSize = 40;
constexpr std::uint32_t kOpaque = 0xFF000000;

struct Frame {
  int width;
  int height;
  int bits;  // a pixel
  std::span<const std::byte> bytes;
};

bool isPng(std::span<const std::byte> bytes) { return ByteReader(bytes).u32be() == 0x89504E47; }

// Reads the next frame of the directory; its bytes are empty when they are not in the file.
Frame readFrame(ByteReader& directory, std::span<const std::byte> file) {
  Frame frame{};
  frame.width = directory.u8();
  frame.height = directory.u8();
  if (frame.width == 0) frame.width = 256;
  if (frame.height == 0) frame.height = 256;
  directory.skip(4);
  frame.bits = directory.u16le();
  const std::uint32_t size = directory.u32le();
  ByteReader data(file);
  data.skip(directory.u32le());
  frame.bytes = data.bytes(size);
  if (frame.bits == 0 && !isPng(frame.bytes)) {
    ByteReader header(frame.bytes);
    header.skip(14);
    frame.bits = header.u16le();
  }
  return frame;
}

// Returns the frame that Windows would choose; empty when there is none.
Frame chooseFrame(std::span<const std::byte> file, int width, int height) {
  ByteReader directory(file);
  const bool isIcon = directory.u16le() == 0 && directory.u16le() == 1;
  Frame best{};
  for (int left = isIcon ? directory.u16le() : 0; left > 0; --left) {
    const Frame frame = readFrame(directory, file);
    if (!directory.ok()) break;
    const auto misfit = [&](const Frame& of) {
      return std::tuple(std::abs(of.width - width) + std::abs(of.height - height),
                        std::abs(32 - of.bits));
    };
    if (best.width == 0 || misfit(frame) < misfit(best)) best = frame;
  }
  return best;
}

std::uint32_t opaque(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
  return kOpaque | red << 16 | green << 8 | blue;
}

// Reads a row of pixels of any depth.
class RowReader {
 public:
  RowReader(std::span<const std::byte> row, int bits, std::span<const std::byte> palette)
      : row_(row), bits_(static_cast<unsigned>(bits)), palette_(palette) {}

  std::uint32_t next() {
    if (bits_ == 32) return row_.u32le();
    if (bits_ == 24) {
      const std::uint32_t blue = row_.u8();
      const std::uint32_t green = row_.u8();
      return opaque(row_.u8(), green, blue);
    }
    if (bits_ == 16) {
      const std::uint32_t pixel = row_.u16le();
      const auto part = [&](unsigned shift) { return (pixel >> shift & 31) * 255 / 31; };
      return opaque(part(10), part(5), part(0));
    }
    ByteReader entry(palette_);
    entry.skip(std::size_t{4} * index());
    return kOpaque | entry.u32le();
  }

  std::uint32_t index() {
    if (left_ == 0) {
      byte_ = row_.u8();
      left_ = 8;
    }
    left_ -= bits_;
    return static_cast<std::uint32_t>(byte_ >> left_) & ((1U << bits_) - 1);
  }

 private:
  ByteReader row_;
  unsigned bits_;
  std::span<const std::byte> palette_;
  std::uint8_t byte_ = 0;
  unsigned left_ = 0;
};

std::size_t strideOf(int width, int bits) {
  return (static_cast<std::size_t>(width) * static_cast<std::size_t>(bits) + 31) / 32 * 4;
}

// A bitmap without file header, followed by the mask: a bit for each pixel, set for transparent
// ones.
struct IconBitmap {
  std::int32_t width = 0;
  std::int32_t height = 0;
  int bits = 0;  // a pixel
  std::span<const std::byte> palette, pixels;
  std::span<const std::byte> mask;  // empty when the file ends before it

  std::size_t rows() const { return static_cast<std::size_t>(height); }
};

std::optional<IconBitmap> readIconBitmap(std::span<const std::byte> bytes) {
  ByteReader in(bytes);
  IconBitmap bitmap;
  const std::uint32_t headerSize = in.u32le();
  bitmap.width = static_cast<std::int32_t>(in.u32le());
  bitmap.height = static_cast<std::int32_t>(in.u32le()) / 2;
  in.skip(2);
  bitmap.bits = in.u16le();
  const std::uint32_t compression = in.u32le();
  in.skip(12);
  std::size_t colors = in.u32le();
  in.skip(4);
  constexpr int kDepths[] = {1, 4, 8, 16, 24, 32};
  const auto isSide = [](std::int32_t side) { return side > 0 && side <= kMaxSide; };
  if (!in.ok() || headerSize != kHeaderSize || compression != 0 || !isSide(bitmap.width) ||
      !isSide(bitmap.height) || std::ranges::count(kDepths, bitmap.bits) == 0)
    return std::nullopt;
  if (bitmap.bits <= 8 && colors == 0) colors = std::size_t{1} << bitmap.bits;
  if (colors > 256) return std::nullopt;
  bitmap.palette = in.bytes(4 * colors);
  bitmap.pixels = in.bytes(strideOf(bitmap.width, bitmap.bits) * bitmap.rows());
  if (!in.ok()) return std::nullopt;
  bitmap.mask = in.bytes(strideOf(bitmap.width, 1) * bitmap.rows());
  return bitmap;
}

// Calls `put` with each pixel of a bitmap and the next value of `read` in its row of `rows`.
template <typename Read, typename Put>
void forEachPixel(const IconBitmap& bitmap, std::span<const std::byte> rows, int bits,
                  fipImage& image, const Read& read, const Put& put) {
  const std::size_t stride = rows.empty() ? 0 : strideOf(bitmap.width, bits);
  for (std::size_t y = 0; y < bitmap.rows(); ++y) {
    RowReader row(rows.subspan(y * stride, stride), bits, bitmap.palette);
    auto* out = reinterpret_cast<std::uint32_t*>(image.getScanLine(static_cast<unsigned>(y)));
    for (std::int32_t x = 0; x < bitmap.width; ++x) put(out[x], read(row));
  }
}

bool decodeBitmap(std::span<const std::byte> bytes, fipImage& image) {
  const std::optional<IconBitmap> bitmap = readIconBitmap(bytes);
  if (!bitmap || !image.setSize(FIT_BITMAP, static_cast<WORD>(bitmap->width),
                                static_cast<WORD>(bitmap->height), 32))
    return false;
  std::uint32_t alpha = 0;
  forEachPixel(
      *bitmap, bitmap->pixels, bitmap->bits, image, [](RowReader& row) { return row.next(); },
      [&](std::uint32_t& pixel, std::uint32_t color) { alpha |= pixel = color; });
  if (bitmap->bits == 32 && (alpha & kOpaque) != 0) return true;
  forEachPixel(
      *bitmap, bitmap->mask, 1, image, [](RowReader& row) { return row.index(); },
      [](std::uint32_t& pixel, std::uint32_t isClear) {
        pixel = isClear != 0 ? 0 : pixel | kOpaque;
      });
  return true;
}

}  // namespace

bool scaleTo(int width, int height, fipImage& picture, Pixels& pixels) {
  const auto columns = static_cast<unsigned>(width);
  const auto rows = static_cast<unsigned>(height);
  if ((picture.getWidth() != columns || picture.getHeight() != rows) &&
      !picture.rescale(columns, rows, FILTER_CATMULLROM))
    return false;
  if (!picture.convertTo32Bits() &&
      !(picture.convertToType(FIT_BITMAP) && picture.convertTo32Bits()))
    return false;
  pixels = {width, height, {}};
  pixels.argb.reserve(std::size_t{columns} * rows);
  for (unsigned row = rows; row-- > 0;) {
    const auto* from = reinterpret_cast<const std::uint32_t*>(picture.getScanLine(row));
    pixels.argb.insert(pixels.argb.end(), from, from + columns);
  }
  return true;
}

bool decodeIcon(std::span<const std::byte> file, int width, int height, Pixels& icon) {
  const Frame frame = chooseFrame(file, width, height);
  fipImage image;
  const bool decoded =
      isPng(frame.bytes) ? loadPicture(frame.bytes, image) : decodeBitmap(frame.bytes, image);
  return decoded && scaleTo(width, height, image, icon);
}

}  // namespace tessaron
