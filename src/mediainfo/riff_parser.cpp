#include "mediainfo/riff_parser.h"

bool CRiffFileParser::parseByHandle(tessaron::File&, PropertyMap&, StreamList&, StreamList&) {
  return false;
}
