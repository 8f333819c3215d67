#include "support/pictures/icon_file.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <tuple>

#include "support/byte_reader.h"
#include "support/pictures/loading.h"

namespace tessaron {
namespace {

constexpr std::int32_t kMostSize = 4096;  // pixels; no system makes icons of more than 256
constexpr std::size_t kHeaderSize = 40;
constexpr std::uint32_t kOpaque = 0xFF000000;

struct Frame {
  int width;
  int height;
  int bits;  // a pixel
  std::span<const std::byte> bytes;
};

bool isPng(std::span<const std::byte> bytes) { return ByteReader(bytes).u32be() == 0x89504E47; }

// The next frame of the directory; empty when it does not lie in the file.
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

// The frame that the system chooses; empty when there is none.
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

// A bitmap without its file header, and behind it a bit for every pixel that is transparent.
bool decodeBitmap(std::span<const std::byte> bytes, fipImage& image) {
  ByteReader in(bytes);
  const std::uint32_t headerSize = in.u32le();
  const auto width = static_cast<std::int32_t>(in.u32le());
  const std::int32_t height = static_cast<std::int32_t>(in.u32le()) / 2;
  in.skip(2);
  const int bits = in.u16le();
  const std::uint32_t compression = in.u32le();
  in.skip(12);
  std::size_t colours = in.u32le();
  in.skip(4);
  constexpr int kDepths[] = {1, 4, 8, 16, 24, 32};
  if (!in.ok() || headerSize != kHeaderSize || compression != 0 || width <= 0 || height <= 0 ||
      width > kMostSize || height > kMostSize || std::ranges::count(kDepths, bits) == 0)
    return false;
  if (bits <= 8 && colours == 0) colours = std::size_t{1} << bits;
  if (colours > 256) return false;
  const auto palette = in.bytes(4 * colours);
  const std::size_t stride = strideOf(width, bits);
  const std::size_t maskStride = strideOf(width, 1);
  const auto rows = static_cast<std::size_t>(height);
  const auto pixels = in.bytes(stride * rows);
  if (!in.ok() ||
      !image.setSize(FIT_BITMAP, static_cast<WORD>(width), static_cast<WORD>(height), 32))
    return false;
  const auto mask = in.bytes(maskStride * rows);  // none is taken for an empty one

  std::uint32_t alpha = 0;
  for (std::size_t y = 0; y < rows; ++y) {
    RowReader row(pixels.subspan(y * stride, stride), bits, palette);
    auto* out = reinterpret_cast<std::uint32_t*>(image.getScanLine(static_cast<unsigned>(y)));
    for (std::int32_t x = 0; x < width; ++x) alpha |= out[x] = row.next();
  }
  if (bits == 32 && (alpha & kOpaque) != 0) return true;
  for (std::size_t y = 0; y < rows; ++y) {
    RowReader row(mask.empty() ? mask : mask.subspan(y * maskStride, maskStride), 1, {});
    auto* out = reinterpret_cast<std::uint32_t*>(image.getScanLine(static_cast<unsigned>(y)));
    for (std::int32_t x = 0; x < width; ++x) out[x] = row.index() != 0 ? 0 : out[x] | kOpaque;
  }
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
