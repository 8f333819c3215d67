#include "mediainfo/stream_info.h"

bool CDSMediaStreamInfo::identifyByFileName(const std::u16string&, StreamList&, StreamList&) {
  return false;
}
