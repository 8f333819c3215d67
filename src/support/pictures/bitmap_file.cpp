#include "support/pictures/bitmap_file.h"

#include <algorithm>
#include <limits>

#include "support/byte_reader.h"

namespace tessaron {
namespace {

using Coding = BitmapHeader::Coding;

constexpr std::uint32_t kFileHeader = 14;
constexpr std::uint32_t kCoreHeader = 12;
constexpr std::uint32_t kCommonHeader = 40;
constexpr std::uint32_t kMaxHeader = 124;
constexpr std::uint32_t kOs2Header = 64;
constexpr std::size_t kMasks = 12;
constexpr std::uint64_t kMaxExpansion = 4096;  // bytes of pixels for a byte of a compressed file

bool isValid(const BitmapHeader& header) {
  switch (header.coding) {
    case Coding::Plain: {
      constexpr std::uint16_t kBits[] = {1, 4, 8, 16, 24, 32};
      return std::ranges::find(kBits, header.bits) != std::end(kBits);
    }
    case Coding::Rle8:
      return header.bits == 8;
    case Coding::Rle4:
      return header.bits == 4;
    case Coding::Masks:
    case Coding::AlphaMasks:  // OS/2 gives these numbers other meanings
      return (header.bits == 16 || header.bits == 32) && header.size != kOs2Header;
  }
  return false;
}

// Reads the fields up to the number of used colors. False for a version or coding that is not read.
bool readFields(ByteReader& in, BitmapHeader& header, std::uint32_t& usedColors) {
  header.size = in.u32le();
  const bool isCore = header.size == kCoreHeader;
  if (!isCore && (header.size < kCommonHeader || header.size > kMaxHeader)) return false;
  header.width = isCore ? in.u16le() : in.u32le();
  header.height = isCore ? in.u16le() : in.u32le();
  in.skip(2);
  header.bits = in.u16le();
  if (isCore) {
    header.paletteEntry = 3;
    return true;
  }
  header.coding = static_cast<Coding>(in.u32le());
  constexpr auto kAlphaMasks = static_cast<Coding>(6);
  if (header.coding == Coding::AlphaMasks) return false;  // an embedded JPEG file, for printers
  if (header.coding == kAlphaMasks) header.coding = Coding::AlphaMasks;
  in.skip(4);
  header.dotsAcross = in.u32le();
  header.dotsDown = in.u32le();
  usedColors = in.u32le();
  in.skip(4);
  return true;
}

bool hasMasks(const BitmapHeader& header) {
  return header.coding == Coding::Masks || header.coding == Coding::AlphaMasks;
}

void append(std::vector<std::byte>& to, std::uint64_t value, int count) {
  for (int i = 0; i < count; ++i, value >>= 8) to.push_back(static_cast<std::byte>(value & 0xFF));
}

// Receives pixels in the order of the file. Drops those outside of the picture.
class Canvas {
 public:
  Canvas(const BitmapHeader& header, std::span<std::byte> pixels)
      : header_(header), pixels_(pixels) {}

  bool isFull() const { return y_ >= header_.height; }
  void nextRow() { move(0, 1), x_ = 0; }
  void move(std::uint32_t right, std::uint32_t on) {
    x_ += right;
    y_ += on;
  }
  void put(unsigned color) {
    if (x_ < header_.width && !isFull()) {
      const std::size_t row = static_cast<std::size_t>(header_.rowBytes() * y_);
      if (header_.bits == 8) {
        pixels_[row + static_cast<std::size_t>(x_)] = static_cast<std::byte>(color);
      } else {
        std::byte& pair = pixels_[row + static_cast<std::size_t>(x_ / 2)];
        pair |= static_cast<std::byte>(x_ % 2 == 0 ? color << 4 : color);
      }
    }
    ++x_;
  }

 private:
  const BitmapHeader& header_;
  std::span<std::byte> pixels_;
  std::uint64_t x_ = 0;
  std::uint64_t y_ = 0;
};

// The color at `index` of a run: each of its bytes holds one color, or two in turn.
unsigned colorAt(const BitmapHeader& header, unsigned byte, std::size_t index) {
  if (header.bits == 8) return byte;
  return index % 2 == 0 ? byte >> 4 : byte & 15;
}

// Puts `count` literal colors, which are padded to an even number of bytes.
void putLiterals(const BitmapHeader& header, std::size_t count, ByteReader& in, Canvas& canvas) {
  const std::size_t colorsAByte = header.bits == 8 ? 1 : 2;
  const std::size_t length = (count + colorsAByte - 1) / colorsAByte;
  const auto colors = in.bytes(std::min(length, in.remaining()));
  for (std::size_t i = 0; i < count && i / colorsAByte < colors.size(); ++i)
    canvas.put(colorAt(header, std::to_integer<unsigned>(colors[i / colorsAByte]), i));
  in.skip(length % 2);
}

// Decodes compressed pixels. False when there are not even the bytes of one run.
bool unpack(const BitmapHeader& header, std::span<const std::byte> bytes,
            std::span<std::byte> pixels) {
  constexpr unsigned kEndOfRow = 0, kEndOfPicture = 1, kMove = 2;
  Canvas canvas(header, pixels);
  ByteReader in(bytes);
  while (!canvas.isFull()) {
    const unsigned count = in.u8();
    const unsigned value = in.u8();
    if (!in.ok()) break;
    if (count > 0) {
      for (std::size_t i = 0; i < count; ++i) canvas.put(colorAt(header, value, i));
    } else if (value == kEndOfRow) {
      canvas.nextRow();
    } else if (value == kEndOfPicture) {
      break;
    } else if (value == kMove) {
      const std::uint32_t right = in.u8();
      canvas.move(right, in.u8());
    } else {
      putLiterals(header, value, in, canvas);
    }
  }
  return bytes.size() >= 2;
}

// Fills in where the palette and the pixels are. `used` is the number of colors that the file
// tells.
void locateParts(BitmapHeader& header, std::uint32_t used) {
  header.paletteAt = kFileHeader + header.size;
  if (header.size == kCommonHeader && hasMasks(header)) {
    header.paletteAt += header.coding == Coding::AlphaMasks ? kMasks + 4 : kMasks;
  }
  if (header.bits <= 8) {
    const std::size_t maxColors = std::size_t{1} << header.bits;
    header.colors = used == 0 ? maxColors : std::min<std::size_t>(used, maxColors);
  }
  // Some writers leave out the offset of the pixels.
  if (header.pixelsAt < header.paletteAt) {
    header.pixelsAt = header.paletteAt + header.colors * header.paletteEntry;
  }
}

}  // namespace

bool BitmapHeader::isCommon(std::uint64_t fileSize) const {
  const bool isPlain = coding == Coding::Plain || coding == Coding::Masks;
  return size == kCommonHeader && isPlain && fileSize >= pixelsAt + pixelBytes();
}

bool BitmapHeader::fits(std::uint64_t fileSize) const {
  if (pixelsAt > fileSize) return false;
  if (isCompressed()) return pixelBytes() / kMaxExpansion <= fileSize;
  const std::uint64_t padding = rowBytes() - (std::uint64_t{width} * bits + 7) / 8;
  return pixelBytes() - padding <= fileSize - pixelsAt;
}

std::optional<BitmapHeader> readBitmapHeader(std::span<const std::byte> head) {
  constexpr std::uint16_t kMark = 0x4D42;  // "BM"
  constexpr auto kMaxSide = static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max());
  BitmapHeader header;
  ByteReader in(head);
  if (in.u16le() != kMark) return std::nullopt;
  in.skip(8);
  header.pixelsAt = in.u32le();
  std::uint32_t used = 0;
  if (!readFields(in, header, used)) return std::nullopt;
  header.isTopDown = header.height > kMaxSide;
  if (header.isTopDown) header.height = 0 - header.height;
  if (!in.ok() || header.width == 0 || header.width > kMaxSide || header.height == 0 ||
      header.height > kMaxSide || !isValid(header)) {
    return std::nullopt;
  }
  if (hasMasks(header)) {
    for (std::uint32_t& mask : header.masks) mask = in.u32le();
    if (!in.ok()) return std::nullopt;
  }
  locateParts(header, used);
  return header;
}

std::vector<std::byte> plainBitmapHead(const BitmapHeader& header,
                                       std::span<const std::byte> head) {
  const bool masks = hasMasks(header);
  const std::size_t size = kFileHeader + kCommonHeader + (masks ? kMasks : 0) + 4 * header.colors;
  std::vector<std::byte> plain;
  plain.reserve(size);
  append(plain, 0x4D42, 2);
  append(plain, size + header.pixelBytes(), 4);
  append(plain, 0, 4);
  append(plain, size, 4);
  append(plain, kCommonHeader, 4);
  append(plain, header.width, 4);
  append(plain, header.isTopDown ? 0 - header.height : header.height, 4);
  append(plain, 1, 2);
  append(plain, header.bits, 2);
  append(plain, static_cast<std::uint32_t>(masks ? Coding::Masks : Coding::Plain), 4);
  append(plain, header.pixelBytes(), 4);
  append(plain, header.dotsAcross, 4);
  append(plain, header.dotsDown, 4);
  append(plain, header.colors, 4);
  append(plain, 0, 4);
  if (masks) {
    for (const std::uint32_t mask : header.masks) append(plain, mask, 4);
  }
  ByteReader in(head);
  in.skip(header.paletteAt);
  for (std::size_t i = 0; i < header.colors; ++i) {
    std::uint64_t color = in.u16le();  // missing colors become black
    color |= std::uint64_t{in.u8()} << 16;
    if (header.paletteEntry > 3) in.skip(1);
    append(plain, color, 4);
  }
  return plain;
}

std::vector<std::byte> plainBitmap(const BitmapHeader& header, std::span<const std::byte> bytes) {
  std::vector<std::byte> plain = plainBitmapHead(header, bytes);
  const std::size_t at = plain.size();
  const auto size = static_cast<std::size_t>(header.pixelBytes());
  const auto source = bytes.subspan(static_cast<std::size_t>(header.pixelsAt));
  plain.resize(at + size);
  const auto pixels = std::span(plain).subspan(at);
  if (!header.isCompressed()) {
    std::ranges::copy(source.first(std::min(size, source.size())), pixels.begin());
  } else if (!unpack(header, source, pixels)) {
    plain.clear();
  }
  return plain;
}

}  // namespace tessaron
