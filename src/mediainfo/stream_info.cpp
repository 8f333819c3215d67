#include "mediainfo/stream_info.h"

#include "mediainfo/stream_properties_internal.h"

bool CDSMediaStreamInfo::identifyByFileName(const std::u16string& path, StreamList& audio,
                                            StreamList& video) {
  const auto streams = tessaron::findMediaStreams(path);
  if (!streams) return false;
  std::size_t audioCount = 0;
  std::size_t videoCount = 0;
  for (const tessaron::MediaStream& stream : *streams) {
    StreamList& list = stream.isVideo ? video : audio;
    const std::size_t index = stream.isVideo ? videoCount++ : audioCount++;
    if (index == list.size()) list.emplace_back();
    list[index].merge(tessaron::streamProperties(stream, formatTags_, fourCCs_));
  }
  return true;
}
