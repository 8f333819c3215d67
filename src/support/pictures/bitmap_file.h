#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tessaron {

/// What the header of a bitmap file (BMP) declares, in any of its versions. FreeImage reads two of
/// them, and fails at many compressed ones.
struct BitmapHeader {
  std::uint32_t size = 0;  ///< bytes, behind the 14 of the file's header
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool isTopDown = false;
  std::uint16_t bits = 0;  ///< a pixel: 1, 4, 8, 16, 24 or 32
  enum class Coding : std::uint32_t { Plain, Rle8, Rle4, Masks, AlphaMasks } coding{};
  std::uint32_t dotsAcross = 2835;  ///< a meter; this where the version has no place for it
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
  /// Whether FreeImage reads such a file as it is, which must have `fileSize` bytes.
  bool isCommon(std::uint64_t fileSize) const;
  /// Whether a file of `fileSize` bytes can hold the pixels; the last row may lack its padding.
  bool fits(std::uint64_t fileSize) const;
};

/// Reads the header from the beginning of a file. Nothing when it is not one of a bitmap, is
/// damaged, or declares a coding that is none of the above.
std::optional<BitmapHeader> readBitmapHeader(std::span<const std::byte> head);

/// The headers and the palette of the same picture with the 40 bytes of the common version, without
/// compression. `head` must hold the palette.
std::vector<std::byte> plainBitmapHead(const BitmapHeader& header, std::span<const std::byte> head);

/// The whole picture in that form. `bytes` must be as `fits` demands. Compressed pixels are decoded
/// as far as they go. Empty when there is none.
std::vector<std::byte> plainBitmap(const BitmapHeader& header, std::span<const std::byte> bytes);

}  // namespace tessaron
