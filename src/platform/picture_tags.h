#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tessaron {

/// An entry of a picture's header, as TIFF and Exif number and type them. GPS entries have the
/// numbers below 32.
struct PictureTag {
  std::uint16_t number;
  std::uint16_t type;  ///< 1 bytes, 2 text, 3 shorts, 4 longs, 5 rationals, 7 undefined, ...
  /// The value; numbers in it are little-endian, whatever the file's order. The text of an Exif
  /// user comment is as it stands in the file.
  std::vector<std::byte> bytes;
};

/// The longest value that is read.
inline constexpr std::size_t kLongestPictureTag = std::size_t{64} << 10;

/// Those of the entries `wanted` that the JPEG or TIFF picture at `path` has, through the system's
/// picture library: GDI+ or Exiv2. Pixels are not decoded. Empty for a file that it cannot read.
std::vector<PictureTag> readPictureTags(const std::u16string& path,
                                        std::span<const std::uint16_t> wanted);

}  // namespace tessaron
