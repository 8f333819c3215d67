#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tessaron {

/// What the header of a bitmap file (BMP) declares, in any of its versions. FreeImage reads only
/// two versions, and fails at many compressed files.
struct BitmapHeader {
  std::uint32_t size = 0;  ///< bytes, behind the 14 of the file's header
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool isTopDown = false;
  std::uint16_t bits = 0;  ///< a pixel: 1, 4, 8, 16, 24 or 32
  enum class Coding : std::uint32_t { Plain, Rle8, Rle4, Masks, AlphaMasks } coding{};
  std::uint32_t dotsAcross = 2835;  ///< a meter; this in versions without the field
  std::uint32_t dotsDown = 2835;
  std::array<std::uint32_t, 3> masks{};
  std::size_t paletteAt = 0;
  std::size_t paletteEntry = 4;  ///< bytes
  std::size_t colors = 0;
  std::uint64_t pixelsAt = 0;

  bool isCompressed() const { return coding == Coding::Rle8 || coding == Coding::Rle4; }
  /// Bytes of a row with its padding, and of all rows.
  std::uint64_t rowBytes() const { return (std::uint64_t{width} * bits + 31) / 32 * 4; }
  std::uint64_t pixelBytes() const { return rowBytes() * height; }
  /// Whether FreeImage reads such a file of `fileSize` bytes unchanged.
  bool isCommon(std::uint64_t fileSize) const;
  /// Whether a file of `fileSize` bytes can hold the pixels; the last row may lack its padding.
  bool fits(std::uint64_t fileSize) const;
};

/// Reads the header from the beginning of a file. Nothing when it is damaged, is not that of a
/// bitmap, or declares another coding.
std::optional<BitmapHeader> readBitmapHeader(std::span<const std::byte> head);

/// Returns headers and palette of the same picture in the common version of 40 bytes, uncompressed.
/// `head` must hold the palette.
std::vector<std::byte> plainBitmapHead(const BitmapHeader& header, std::span<const std::byte> head);

/// Returns the whole picture in that form. `bytes` must satisfy `fits`. Decodes compressed pixels
/// up to the first damage. Empty when there are none.
std::vector<std::byte> plainBitmap(const BitmapHeader& header, std::span<const std::byte> bytes);

}  // namespace tessaron
