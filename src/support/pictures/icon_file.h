#pragma once

#include <cstddef>
#include <span>

#include "platform/image_list.h"
#include "platform/picture.h"

namespace tessaron {

/// Brings a picture to exactly `width` x `height`, whatever its own aspect ratio. It is left in no
/// particular state. False when it cannot be brought to 32 bits a pixel.
bool scaleTo(int width, int height, fipImage& picture, Pixels& pixels);

/// Makes an image of an icon file: of its frame that comes nearest to this size, of several such
/// the one with the most colours; scaled where none fits. False, as for the system, when that frame
/// is damaged. See IconDecoder.
bool decodeIcon(std::span<const std::byte> file, int width, int height, Pixels& icon);

}  // namespace tessaron
