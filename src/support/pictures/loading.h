#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/file.h"
#include "platform/picture.h"
#include "tessaron_export.h"

namespace tessaron {

/// A picture that takes more memory than this is not decoded.
constexpr std::uint64_t kMostPictureBytes = std::uint64_t{1} << 30;

/// What can be told of a picture without decoding it.
struct PictureMeasures {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t bits = 0;  ///< a pixel
  double across = 0;       ///< dots per centimetre
  double down = 0;
};

PictureMeasures measuresOf(const fipImage& picture);

/// Decodes a picture of any format whose measures can be told without decoding it (all common ones
/// are among them). Returns false, with `picture` untouched, when it cannot be decoded; also,
/// before memory is taken, when it declares more pixels than so many bytes can hold, or more than
/// kMostPictureBytes. Prints nothing. Any thread may call it.
TESSARON_API bool loadPicture(std::span<const std::byte> bytes, fipImage& picture);

/// As above, from the first `size` bytes of `file`. What begins like no picture is not read to its
/// end.
TESSARON_API bool loadPicture(File& file, std::uint64_t size, fipImage& picture);

/// As above, from the file at `path`.
TESSARON_API bool loadPicture(const std::u16string& path, fipImage& picture);

/// Tells the measures that a picture in the first `size` bytes of `file` would have if it were
/// loaded. Reads and decodes no more than that takes. False, with `measures` untouched, when it is
/// none that would be loaded; a fault behind its header is not seen.
bool measurePicture(File& file, std::uint64_t size, PictureMeasures& measures);

}  // namespace tessaron
