#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessaron {

/// An entry of a picture's header, as TIFF and Exif number and type them.
struct PictureTag {
  std::uint16_t number;
  std::uint16_t type;  ///< 1 bytes, 2 text, 3 shorts, 4 longs, 5 rationals, 7 undefined, ...
  std::vector<std::byte>
      bytes;  ///< the value; numbers are little-endian, whatever the file's order
};

/// The entries of a small TIFF file in memory, as the system's picture library decodes them: GDI+'s
/// property items, or Exiv2, which is loaded when it is first needed. Empty when the library cannot
/// read the file, or is not there.
std::vector<PictureTag> decodePictureTags(std::span<const std::byte> tiff);

/// Loads the library ahead, so that later calls open no files.
void preparePictureTags();

}  // namespace tessaron
