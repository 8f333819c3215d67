#pragma once

#include "mediainfo/property_map.h"
#include "platform/file.h"

namespace tessaron {

/// As CGPImageMDParser::parseByFileName, from an open file, which may be a bare TIFF header.
bool addPictureProperties(File& file, PropertyMap& metaInfo);

}  // namespace tessaron
