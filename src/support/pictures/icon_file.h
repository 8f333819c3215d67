#pragma once

#include <cstddef>
#include <span>

#include "platform/image_list.h"
#include "platform/picture.h"

namespace tessaron {

/// Scales a picture to exactly `width` x `height` pixels, whatever its aspect ratio, and sets
/// `pixels`. `picture` ends in an unspecified state. False when it cannot be converted to 32 bits a
/// pixel. Any thread may call it.
bool scaleTo(int width, int height, fipImage& picture, Pixels& pixels);

/// Decodes the frame of an icon file whose size is nearest to `width` x `height` pixels, among
/// equal ones that with the most colors, and scales it to that size. False, with `icon` unchanged,
/// when that frame is damaged. Any thread may call it. See IconDecoder.
bool decodeIcon(std::span<const std::byte> file, int width, int height, Pixels& icon);

}  // namespace tessaron
