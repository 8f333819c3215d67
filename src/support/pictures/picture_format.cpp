#include <algorithm>
#include <iterator>
#include <string_view>

#include "support/byte_reader.h"
#include "support/pictures/picture_format_internal.h"
#include "support/pictures/targa_file.h"

namespace tessaron {
namespace {

constexpr double kDefaultDots = 28.35;  // per centimeter, where a format declares none

std::uint64_t rowBytes(std::uint64_t width, std::uint64_t bits) {
  return (width * bits + 31) / 32 * 4;
}

constexpr std::uint8_t kGifPalette = 0x80;  // flag of a screen or image that has a palette

std::uint64_t gifPaletteSize(std::uint8_t flags) {
  return flags & kGifPalette ? std::uint64_t{3} << ((flags & 7) + 1) : 0;
}

// Bits of a pixel that FreeImage chooses for a palette.
std::uint32_t gifBits(std::uint8_t flags) {
  const int bits = flags & kGifPalette ? (flags & 7) + 1 : 8;
  return bits == 1 ? 1 : bits <= 4 ? 4 : 8;
}

// Skips extensions from `at` on. Returns the offset of the first image's descriptor, or 0.
std::uint64_t findGifImage(PictureSource& source, std::uint64_t at) {
  constexpr std::uint8_t kImage = 0x2C, kExtension = 0x21;
  const auto next = [&] {
    const auto byte = source.bytes(at++, 1);
    return ByteReader(byte).u8();
  };
  for (;;) {
    const std::uint8_t mark = next();
    if (mark == kImage) return at;
    if (mark != kExtension) return 0;
    ++at;  // the kind of extension
    while (const std::uint8_t size = next()) at += size;
  }
}

}  // namespace

FREE_IMAGE_FORMAT formatOf(std::span<const std::byte> head) {
  using namespace std::string_view_literals;
  const std::string_view text(reinterpret_cast<const char*>(head.data()), head.size());
  struct Mark {
    std::string_view bytes;
    FREE_IMAGE_FORMAT format;
  };
  constexpr Mark kMarks[] = {
      {"\xFF\xD8\xFF"sv, FIF_JPEG},
      {"\x89PNG\r\n\x1A\n"sv, FIF_PNG},
      {"GIF87a"sv, FIF_GIF},
      {"GIF89a"sv, FIF_GIF},
      {"BM"sv, FIF_BMP},
      {"II*\0"sv, FIF_TIFF},
      {"MM\0*"sv, FIF_TIFF},
      {"\0\0\1\0"sv, FIF_ICO},
  };
  for (const auto& [bytes, format] : kMarks)
    if (text.starts_with(bytes)) return format;
  if (text.starts_with("RIFF"sv) &&
      text.substr(std::min<std::size_t>(8, text.size()), 4) == "WEBP"sv)
    return FIF_WEBP;
  return readTargaHeader(head) ? FIF_TARGA : FIF_UNKNOWN;
}

std::uint64_t maxExpansion(FREE_IMAGE_FORMAT format) {
  switch (format) {
    case FIF_JPEG:
      return std::uint64_t{3} * 512;  // a bit for every block of 8 by 8 pixels
    case FIF_PNG:
      return 1032;  // deflate
    case FIF_WEBP:  // one color takes some bytes in all
      return 1 << 16;
    default:
      return 4096;  // LZW: 12 bits for up to 4096 bytes; nothing else comes near
  }
}

std::optional<PictureMeasures> measureGif(PictureSource& source) {
  constexpr std::size_t kMark = 6;  // "GIF89a"
  constexpr std::size_t kScreen = 7, kDescriptor = 9;
  const auto screen = source.bytes(kMark, kScreen);
  ByteReader header(screen);
  const std::uint32_t width = header.u16le();
  const std::uint32_t height = header.u16le();
  const std::uint8_t flags = header.u8();
  PictureMeasures measures{width, height, gifBits(flags), kDefaultDots, kDefaultDots};
  const std::uint64_t at = findGifImage(source, kMark + kScreen + gifPaletteSize(flags));
  const auto descriptor = source.bytes(at, at > 0 ? kDescriptor : 0);
  ByteReader image(descriptor);
  image.skip(4);
  const std::uint32_t imageWidth = image.u16le();
  const std::uint32_t imageHeight = image.u16le();
  const std::uint8_t imageFlags = image.u8();
  if (image.ok()) {
    measures.width = imageWidth;
    measures.height = imageHeight;
    if (imageFlags & kGifPalette) measures.bits = gifBits(imageFlags);
  }
  if (!header.ok() || measures.width == 0 || measures.height == 0) return std::nullopt;
  return measures;
}

std::optional<IconFrame> firstIconFrame(PictureSource& source) {
  constexpr std::size_t kDirectory = 6, kEntry = 16, kHeader = 40;
  constexpr std::uint32_t kMaxSide = 4096;  // pixels; no system makes icons of more than 256
  const auto entry = source.bytes(kDirectory, kEntry);
  ByteReader inEntry(entry);
  inEntry.skip(12);
  IconFrame frame;
  frame.offset = inEntry.u32le();
  if (!inEntry.ok() || frame.offset >= source.size()) return std::nullopt;
  frame.size = source.size() - frame.offset;
  const auto head = source.bytes(frame.offset, kHeader);
  frame.isPng = formatOf(head) == FIF_PNG;
  if (frame.isPng) return frame;
  ByteReader header(head);
  header.skip(4);
  const std::uint32_t width = header.u32le();
  const std::uint32_t height = header.u32le() / 2;
  header.skip(2);
  const std::uint32_t bits = header.u16le();
  header.skip(kHeader - 16);
  constexpr std::uint32_t kDepths[] = {1, 4, 8, 16, 24, 32};
  if (!header.ok() || width == 0 || width > kMaxSide || height == 0 || height > kMaxSide ||
      std::ranges::find(kDepths, bits) == std::end(kDepths))
    return std::nullopt;
  const std::uint64_t palette = bits <= 8 ? std::uint64_t{4} << bits : 0;
  if (kHeader + palette + rowBytes(width, bits) * height > frame.size) return std::nullopt;
  frame.measures = {width, height, bits, kDefaultDots, kDefaultDots};
  return frame;
}

std::optional<PictureView> pngView(PictureSource& source, std::uint64_t offset) {
  constexpr std::size_t kMark = 8, kChunkHeader = 8, kChecksum = 4;
  constexpr int kMaxChunks = 100'000;
  constexpr std::string_view kWanted[] = {"IHDR", "PLTE", "tRNS", "gAMA", "cHRM", "sRGB",
                                          "iCCP", "sBIT", "bKGD", "pHYs", "IDAT", "IEND"};
  PictureView view(source);
  view.addRange(offset, kMark);
  std::uint64_t at = offset + kMark;
  bool isProfiled = false;
  for (int chunks = 0; at < source.size(); ++chunks) {
    if (chunks == kMaxChunks) return std::nullopt;
    const auto head = source.bytes(at, kChunkHeader);
    ByteReader reader(head);
    const std::uint64_t size = kChunkHeader + std::uint64_t{reader.u32be()} + kChecksum;
    const auto letters = reader.bytes(4);
    const std::string_view name(reinterpret_cast<const char*>(letters.data()), letters.size());
    const bool isProfile = name == "iCCP";
    const bool isWanted = std::ranges::find(kWanted, name) != std::end(kWanted);
    if (isWanted && !(isProfile && isProfiled))
      view.addRange(at, std::min(size, source.size() - at));
    isProfiled |= isProfile;
    at += size;
    if (!reader.ok() || name == "IEND") break;
  }
  return view;
}

}  // namespace tessaron
