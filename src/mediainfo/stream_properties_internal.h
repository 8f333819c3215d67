#pragma once

#include "mediainfo/codec_names.h"
#include "mediainfo/property_map.h"
#include "platform/media_streams.h"

namespace tessaron {

/// A stream's properties as they are shown; what is unknown is left out. A codec that has no name
/// in the tables goes by the system's, else by its code: "H264", "0x00FF".
/// A frame rate above kMaxFrameRate is left out. Empty when nothing but times is known.
PropertyMap streamProperties(const MediaStream& stream, CAudioFormatTagInfo& formatTags,
                             CFourCCInfo& fourCCs);

/// Frames per second. Where a container declares no rate, readers report its clock's instead: 1000
/// ticks a second in Windows Media files, 90000 in MPEG streams.
constexpr double kMaxFrameRate = 300;

/// Whether `format` is one of the stream's codes as streamProperties writes it for want of a name.
bool isBareCode(const std::u16string& format, const MediaStream& stream);

}  // namespace tessaron
