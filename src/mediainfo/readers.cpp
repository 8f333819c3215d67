#include "mediainfo/readers.h"

#include "platform/media_streams.h"
#include "platform/picture_tags.h"

namespace tessaron {

void loadReaders() {
  findMediaStreams({});
  decodePictureTags({});
}

}  // namespace tessaron
