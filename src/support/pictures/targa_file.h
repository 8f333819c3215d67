#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tessaron {

/// What the header of a Targa file declares. Of such files FreeImage sees plain ones alone: it
/// writes compressed pixels outside of its picture, and reads the small picture behind them from
/// outside of the file.
struct TargaHeader {
  std::uint8_t coding = 0;  ///< 1: colors of the palette, 2: colors, 3: shades of gray
  bool isCompressed = false;
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  std::uint8_t bits = 0;        ///< a pixel: 8, 15, 16, 24 or 32
  std::uint8_t descriptor = 0;  ///< which corner comes first
  std::uint16_t firstColor = 0;
  std::uint16_t colors = 0;    ///< of the palette; 0 also where pixels are colors
  std::size_t colorBytes = 0;  ///< a color of the palette
  std::size_t paletteAt = 0;
  std::size_t pixelsAt = 0;

  std::size_t pixelSize() const { return (bits + std::size_t{7}) / 8; }
  std::uint64_t pixelBytes() const { return std::uint64_t{width} * height * pixelSize(); }
  std::size_t paletteBytes() const { return colors * colorBytes; }
  /// Whether a file of `fileSize` bytes can hold the pixels.
  bool fits(std::uint64_t fileSize) const;
};

/// Reads the header from the beginning of a file. Nothing when it cannot be that of a Targa file:
/// the format has no signature, only numbers of which few are possible.
std::optional<TargaHeader> readTargaHeader(std::span<const std::byte> head);

/// Returns the header of the same picture, uncompressed and without a text. Palette, pixels and
/// `kTargaEnd` bytes of zeros are to follow, which tell that there is no small picture.
std::vector<std::byte> plainTargaHead(const TargaHeader& header);
constexpr std::size_t kTargaEnd = 26;

/// Returns the whole picture in that form. `bytes` must satisfy `fits`. Decodes compressed pixels
/// up to the end of the file; what is missing is black.
std::vector<std::byte> plainTarga(const TargaHeader& header, std::span<const std::byte> bytes);

}  // namespace tessaron
