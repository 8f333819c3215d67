#include "mediainfo/mpeg_parser.h"

int CMPEGFileParser::getMP3FrameData(std::uint32_t, int*, int*, int*) { return 0; }

bool CMPEGFileParser::parseByHandle(tessaron::File&, PropertyMap&, StreamList&, StreamList&) {
  return true;
}
