#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "support/pictures/loading.h"
#include "support/pictures/picture_source_internal.h"

namespace tessaron {

/// Returns the format of a picture by its first bytes; FIF_UNKNOWN for all others that FreeImage
/// might read, such as layered pictures and raw ones of cameras.
FREE_IMAGE_FORMAT formatOf(std::span<const std::byte> head);

/// Returns the most bytes of pixels that a byte of a file of this format can stand for.
std::uint64_t maxExpansion(FREE_IMAGE_FORMAT format);

/// Returns the measures of a GIF's first image, the only one that is decoded, or of its screen
/// where the file ends before an image. Nothing when there are no pixels.
std::optional<PictureMeasures> measureGif(PictureSource& source);

/// The first picture of an icon file.
struct IconFrame {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;  ///< up to the end of the file
  bool isPng = false;
  PictureMeasures measures;  ///< of one that is no PNG
};
/// Nothing when the frame is damaged. FreeImage would trust the frame's header.
std::optional<IconFrame> firstIconFrame(PictureSource& source);

/// Returns the view of a PNG file at `offset`, without texts, which may inflate to gigabytes, and
/// other chunks that change no pixel. Nothing when it has too many chunks.
std::optional<PictureView> pngView(PictureSource& source, std::uint64_t offset);

}  // namespace tessaron
