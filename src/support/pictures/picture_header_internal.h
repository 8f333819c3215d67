#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "platform/file.h"

namespace tessaron {

/// The header of a JPEG or TIFF picture reduced to the entries `wanted`, from all its directories,
/// as a TIFF file of one pixel with one directory, in the picture's byte order. Empty when the file
/// is no such picture or has none of them. Of entries with the same number the first is taken,
/// those longer than 64 KiB are left out. GPS entries are those with numbers below 32.
///
/// What decodes headers reads all that is in them, maker's notes and previews too, and a directory
/// may claim the same megabytes in hundreds of entries. Of this file it reads kilobytes.
std::string extractPictureHeader(File& file, std::span<const std::uint16_t> wanted);

}  // namespace tessaron
