#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "platform/file.h"

namespace tessaron {

/// Reduces the header of a JPEG or TIFF picture to the entries `wanted` from all its directories.
/// Returns them as a TIFF file of one pixel with one directory, in the picture's byte order; empty
/// when the file is no such picture or has none of them. Of entries with the same number the first
/// counts; those longer than 64 KiB are left out. Numbers below 32 are those of GPS entries.
///
/// Decoders of headers read everything, maker's notes and previews included, and a directory may
/// claim the same megabytes in hundreds of entries. This file has kilobytes.
std::string extractPictureHeader(File& file, std::span<const std::uint16_t> wanted);

}  // namespace tessaron
