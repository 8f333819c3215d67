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
constexpr std::uint32_t kLongestHeader = 124;
constexpr std::uint32_t kOs2Header = 64;
constexpr std::size_t kMasks = 12;
constexpr std::uint64_t kDensest = 4096;  // bytes of pixels that a byte of a compressed file gives

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

bool hasMasks(const BitmapHeader& header) {
  return header.coding == Coding::Masks || header.coding == Coding::AlphaMasks;
}

void append(std::vector<std::byte>& to, std::uint64_t value, int count) {
  for (int i = 0; i < count; ++i, value >>= 8) to.push_back(static_cast<std::byte>(value & 0xFF));
}

// Rows of pixels as they are decoded, from the first one stored on. What is outside is dropped.
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

// The color at `index` of a run, whose bytes hold one color, or two in turn.
unsigned colorAt(const BitmapHeader& header, unsigned byte, std::size_t index) {
  if (header.bits == 8) return byte;
  return index % 2 == 0 ? byte >> 4 : byte & 15;
}

// False when there is not even one run.
bool unpack(const BitmapHeader& header, std::span<const std::byte> bytes,
            std::span<std::byte> pixels) {
  constexpr unsigned kEndOfRow = 0, kEndOfPicture = 1, kMove = 2;
  Canvas canvas(header, pixels);
  ByteReader in(bytes);
  const std::size_t colorsAByte = header.bits == 8 ? 1 : 2;
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
    } else {  // as many colors one by one, in an even number of bytes
      const std::size_t length = (value + colorsAByte - 1) / colorsAByte;
      const auto colors = in.bytes(std::min(length, in.remaining()));
      for (std::size_t i = 0; i < value && i / colorsAByte < colors.size(); ++i) {
        const auto byte = std::to_integer<unsigned>(colors[i / colorsAByte]);
        canvas.put(colorAt(header, byte, i));
      }
      in.skip(length % 2);
    }
  }
  return bytes.size() >= 2;
}

}  // namespace

bool BitmapHeader::isCommon(std::uint64_t fileSize) const {
  const bool isPlain = coding == Coding::Plain || coding == Coding::Masks;
  return size == kCommonHeader && isPlain && fileSize >= pixelsAt + pixelBytes();
}

bool BitmapHeader::fits(std::uint64_t fileSize) const {
  if (pixelsAt > fileSize) return false;
  if (isCompressed()) return pixelBytes() / kDensest <= fileSize;
  const std::uint64_t padding = rowBytes() - (std::uint64_t{width} * bits + 7) / 8;
  return pixelBytes() - padding <= fileSize - pixelsAt;
}

std::optional<BitmapHeader> readBitmapHeader(std::span<const std::byte> head) {
  constexpr std::uint16_t kMark = 0x4D42;  // "BM"
  constexpr auto kHighest = static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max());
  BitmapHeader header;
  ByteReader in(head);
  if (in.u16le() != kMark) return std::nullopt;
  in.skip(8);
  header.pixelsAt = in.u32le();
  header.size = in.u32le();
  const bool isCore = header.size == kCoreHeader;
  if (!isCore && (header.size < kCommonHeader || header.size > kLongestHeader)) return std::nullopt;
  header.width = isCore ? in.u16le() : in.u32le();
  header.height = isCore ? in.u16le() : in.u32le();
  in.skip(2);
  header.bits = in.u16le();
  std::uint32_t used = 0;
  if (!isCore) {
    header.coding = static_cast<Coding>(in.u32le());
    constexpr auto kAlphaMasks = static_cast<Coding>(6);
    if (header.coding == kAlphaMasks) {
      header.coding = Coding::AlphaMasks;
    } else if (header.coding == Coding::AlphaMasks) {
      return std::nullopt;  // a JPEG file, for printers
    }
    in.skip(4);
    header.dotsAcross = in.u32le();
    header.dotsDown = in.u32le();
    used = in.u32le();
    in.skip(4);
  }
  header.isTopDown = header.height > kHighest;
  if (header.isTopDown) header.height = 0 - header.height;
  if (!in.ok() || header.width == 0 || header.width > kHighest || header.height == 0 ||
      header.height > kHighest || !isValid(header)) {
    return std::nullopt;
  }
  if (hasMasks(header)) {
    for (std::uint32_t& mask : header.masks) mask = in.u32le();
    if (!in.ok()) return std::nullopt;
  }
  header.paletteAt = kFileHeader + header.size;
  if (header.size == kCommonHeader && hasMasks(header)) {
    header.paletteAt += header.coding == Coding::AlphaMasks ? kMasks + 4 : kMasks;
  }
  if (isCore) header.paletteEntry = 3;
  if (header.bits <= 8) {
    const std::size_t most = std::size_t{1} << header.bits;
    header.colors = used == 0 ? most : std::min<std::size_t>(used, most);
  }
  // Some writers leave the place of the pixels out.
  if (header.pixelsAt < header.paletteAt) {
    header.pixelsAt = header.paletteAt + header.colors * header.paletteEntry;
  }
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
    std::uint64_t color = in.u16le();  // what is missing is black
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
