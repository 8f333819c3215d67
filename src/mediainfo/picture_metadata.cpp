#include "mediainfo/picture_metadata.h"

bool CGPImageMDParser::parseByFileName(const std::u16string&, PropertyMap&) { return false; }
