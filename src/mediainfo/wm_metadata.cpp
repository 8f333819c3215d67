#include "mediainfo/wm_metadata.h"

bool CWMMDParser::parseByFileName(const std::u16string&, PropertyMap&) { return category_ < 0; }
