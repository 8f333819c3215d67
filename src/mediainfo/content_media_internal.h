#pragma once

#include "mediainfo/content_info.h"
#include "platform/media_content.h"

namespace tessaron {

/// Adds a media file's streams, tags, covers and chapters to a description.
void addMedia(const MediaContent& media, bool wantsLocation, CFileInfo& info);

/// The name of the kind that the streams make of a container's: "Matroska" without film is
/// "Matroska Audio", "Ogg" is "Ogg Vorbis". Empty to keep `name`.
std::u16string containerName(const MediaContent& media, std::u16string_view name);

}  // namespace tessaron
