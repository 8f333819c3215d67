#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/file.h"
#include "platform/picture.h"
#include "tessaron_export.h"

namespace tessaron {

/// What can be told of a picture without decoding it.
struct PictureMeasures {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t bits = 0;  ///< a pixel
  double across = 0;       ///< dots per centimeter
  double down = 0;

  bool operator==(const PictureMeasures&) const = default;
};

PictureMeasures measuresOf(const fipImage& picture);

/// Decodes a picture: JPEG, PNG, GIF, BMP, TIFF, TARGA, ICO (its first frame) or, on Linux, WebP,
/// told by its first bytes. Returns false, with `picture` untouched, when it cannot be decoded;
/// also, before memory is taken, when it declares more pixels than so many bytes can hold, or takes
/// more than 512 MiB to decode. All threads together decode in that much memory; one waits for the
/// others. Running out of memory is a failure, too. Prints nothing. Any thread may call it.
TESSARON_API bool loadPicture(std::span<const std::byte> bytes, fipImage& picture);

/// As above, from the first `size` bytes of `file`, at most 1 GiB. What is no picture is not read
/// to its end.
TESSARON_API bool loadPicture(File& file, std::uint64_t size, fipImage& picture);

/// As above, from the file at `path`.
TESSARON_API bool loadPicture(const std::u16string& path, fipImage& picture);

/// Sets `measures` to those that a picture in the first `size` bytes of `file` has once it is
/// loaded, from its header alone. False, with `measures` untouched, when it is none that would be
/// loaded; damage behind the header is not seen.
TESSARON_API bool measurePicture(File& file, std::uint64_t size, PictureMeasures& measures);

}  // namespace tessaron
