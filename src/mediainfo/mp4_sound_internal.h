#pragma once

#include <cstdint>
#include <optional>

#include "platform/file.h"

namespace tessaron {

/// The channels of the first AAC track of an MP4 file as the codec's own configuration declares
/// them. The sample entry, where TagLib looks, says 2 for mono as well. Nothing when there is no
/// such configuration. Reads a bounded part of the file.
std::optional<std::uint32_t> mp4Channels(File& file);

}  // namespace tessaron
