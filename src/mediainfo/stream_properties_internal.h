#pragma once

#include "mediainfo/codec_names.h"
#include "mediainfo/property_map.h"
#include "platform/media_streams.h"

namespace tessaron {

/// Returns a stream's properties as texts, without unknown ones. A codec without a name in the
/// tables gets the system's name, else its code: "H264", "0x00FF". A frame rate above kMaxFrameRate
/// is left out. Empty when only times are known.
PropertyMap streamProperties(const MediaStream& stream, CAudioFormatTagInfo& formatTags,
                             CFourCCInfo& fourCCs);

/// Frames per second. Where a container declares no rate, readers report its clock's instead: 1000
/// ticks a second in Windows Media files, 90000 in MPEG streams.
constexpr double kMaxFrameRate = 300;

/// Whether `format` is one of the stream's codes as streamProperties writes it without a name.
bool isBareCode(const std::u16string& format, const MediaStream& stream);

}  // namespace tessaron
