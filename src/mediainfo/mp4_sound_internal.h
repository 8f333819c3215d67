#pragma once

#include <cstdint>
#include <optional>

#include "platform/file.h"

namespace tessaron {

/// Returns the number of channels of an MP4 file's first AAC track, as the codec's configuration
/// declares it; the sample entry, which TagLib reads, declares 2 for mono, too. Nothing when there
/// is no such configuration. Reads a bounded part of the file.
std::optional<std::uint32_t> mp4Channels(File& file);

}  // namespace tessaron
