#pragma once

#include <string>

#include "platform/picture.h"
#include "tessaron_export.h"

/// Decodes a JPEG file straight to the largest of its full, half, quarter and eighth size that fits
/// into `maxWidth` by `maxHeight`, to an eighth when none does. Returns the denominator, 1, 2, 4 or
/// 8; each side is the file's divided by it, rounded up. `image` has 8 bits a pixel for a gray
/// picture, 24 for all others, and the resolution that the file's header declares.
/// Returns 0, with `image` untouched, when the file cannot be decoded, or declares more pixels than
/// a file of its length can hold. A file that is cut off or damaged behind its header is decoded up
/// to the damage. Waits while other threads decode pictures in the 512 MiB that all share. Any
/// thread may call it.
TESSARON_API int jpegScaleDirect(const std::u16string& path, fipWinImage& image, int maxWidth,
                                 int maxHeight);
