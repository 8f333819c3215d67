#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "mediainfo/file_info.h"
#include "support/json_writer.h"
#include "tessaron_export.h"

namespace tessaron {

/// A time as ISO 8601 in UTC, to the second: "2026-11-21T12:31:10Z".
TESSARON_API std::string isoTime(const FILETIME& time);

/// The size of a described file in bytes.
inline std::uint64_t sizeOf(const CFileInfo& file) {
  return std::uint64_t{file.sizeHigh} << 32 | file.sizeLow;
}

/// Writes the file as one JSON object that always has the same keys in the same order, named as its
/// members: `size` is one number, times are as `isoTime` gives them, a property map is an object of
/// {label, value} under the labels' numbers. `thumbnails` is an array that `writeThumbnails` fills;
/// without it, it is empty. Fields that only the owner or the reader needs are left out.
/// docs/scan.schema.json describes it.
TESSARON_API void writeFileInfo(const CFileInfo& file, JsonWriter& json,
                                const std::function<void(JsonWriter&)>& writeThumbnails = {});

}  // namespace tessaron
