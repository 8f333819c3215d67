#include "support/pictures/targa_file.h"

#include <algorithm>

#include "support/byte_reader.h"

namespace tessaron {
namespace {

constexpr unsigned kMaxPacket = 128;  // pixels

void decode(ByteReader in, std::size_t pixelSize, std::span<std::byte> pixels) {
  constexpr std::uint8_t kRepeat = 0x80;
  while (!pixels.empty()) {
    const std::uint8_t head = in.u8();
    const std::size_t size = (head % kMaxPacket + std::size_t{1}) * pixelSize;
    // A packet that goes on behind the last pixel is cut.
    const auto packet = pixels.first(std::min(size, pixels.size()));
    const auto bytes = in.bytes(head & kRepeat ? pixelSize : packet.size());
    if (!in.ok()) return;
    for (std::size_t at = 0; at < packet.size(); at += bytes.size())
      std::ranges::copy(bytes, packet.subspan(at).begin());
    pixels = pixels.subspan(packet.size());
  }
}

}  // namespace

bool TargaHeader::fits(std::uint64_t fileSize) const {
  const std::uint64_t packets = (std::uint64_t{width} * height + kMaxPacket - 1) / kMaxPacket;
  const std::uint64_t least = isCompressed ? packets * (1 + pixelSize()) : pixelBytes();
  return fileSize >= pixelsAt && fileSize - pixelsAt >= least;
}

std::optional<TargaHeader> readTargaHeader(std::span<const std::byte> head) {
  constexpr std::uint8_t kCompressed = 8;
  constexpr std::size_t kHeader = 18;
  ByteReader in(head);
  TargaHeader header;
  header.paletteAt = kHeader + in.u8();
  const std::uint8_t hasPalette = in.u8();
  const std::uint8_t coding = in.u8();
  header.coding = coding & static_cast<std::uint8_t>(~kCompressed);
  header.isCompressed = coding & kCompressed;
  header.firstColor = in.u16le();
  header.colors = in.u16le();
  header.colorBytes = (in.u8() + std::size_t{7}) / 8;
  if (hasPalette == 0) header.colors = 0;
  header.pixelsAt = header.paletteAt + header.paletteBytes();
  in.skip(4);  // where on a screen it is shown
  header.width = in.u16le();
  header.height = in.u16le();
  header.bits = in.u8();
  header.descriptor = in.u8();
  if (header.bits != 8) header.colors = 0;
  constexpr std::size_t kMaxColor = 4;
  constexpr std::uint8_t kBits[] = {8, 15, 16, 24, 32};
  const bool isPossible =
      hasPalette <= 1 && (header.colors == 0 || header.colorBytes <= kMaxColor) &&
      header.coding >= 1 && header.coding <= 3 && header.width > 0 && header.height > 0 &&
      std::ranges::find(kBits, header.bits) != std::end(kBits);
  return in.ok() && isPossible ? std::optional(header) : std::nullopt;
}

std::vector<std::byte> plainTargaHead(const TargaHeader& header) {
  const bool hasPalette = header.colors > 0;
  std::vector<std::byte> plain;
  const auto append = [&](std::size_t number, int bytes) {
    for (; bytes > 0; --bytes, number >>= 8) plain.push_back(static_cast<std::byte>(number));
  };
  append(0, 1);
  append(hasPalette, 1);
  append(header.coding, 1);
  append(header.firstColor, 2);
  append(header.colors, 2);
  append(header.colorBytes * 8, 1);
  append(0, 4);
  append(header.width, 2);
  append(header.height, 2);
  append(header.bits, 1);
  append(header.descriptor, 1);
  return plain;
}

std::vector<std::byte> plainTarga(const TargaHeader& header, std::span<const std::byte> bytes) {
  std::vector<std::byte> plain = plainTargaHead(header);
  const auto palette = bytes.subspan(header.paletteAt, header.paletteBytes());
  plain.insert(plain.end(), palette.begin(), palette.end());
  const std::size_t at = plain.size();
  const auto size = static_cast<std::size_t>(header.pixelBytes());
  plain.resize(at + size + kTargaEnd);
  const auto pixels = std::span(plain).subspan(at, size);
  const auto source = bytes.subspan(header.pixelsAt);
  if (header.isCompressed)
    decode(ByteReader(source), header.pixelSize(), pixels);
  else
    std::ranges::copy(source.first(size), pixels.begin());
  return plain;
}

}  // namespace tessaron
