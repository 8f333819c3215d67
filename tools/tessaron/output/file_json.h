#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "mediainfo/folder_info.h"
#include "platform/types.h"

namespace tessaron::tool {

/// A time as ISO 8601 in UTC, to the second: "2026-11-21T12:31:10Z".
std::string isoTime(const FILETIME& time);

/// The size of a described file in bytes.
std::uint64_t sizeOf(const CFileInfo& file);

/// The file as one JSON object that always has the same keys in the same order, named as its
/// members: `size` is one number, times are as `isoTime` gives them, a property map is an object of
/// {label, value} under the labels' numbers. `thumbnails` is left for the caller to
/// fill. Fields that only the owner or the reader needs are left out.
nlohmann::ordered_json fileJson(const CFileInfo& file);

}  // namespace tessaron::tool
