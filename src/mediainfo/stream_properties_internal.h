#pragma once

#include "mediainfo/codec_names.h"
#include "mediainfo/property_map.h"
#include "platform/media_streams.h"

namespace tessaron {

/// A stream's properties as they are shown; what is unknown is left out. A codec that has no name
/// in the tables goes by the system's, else by its code: "H264", "0x00FF".
PropertyMap streamProperties(const MediaStream& stream, CAudioFormatTagInfo& formatTags,
                             CFourCCInfo& fourCCs);

}  // namespace tessaron
