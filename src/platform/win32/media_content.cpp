#include "platform/media_content.h"

#include <algorithm>

namespace tessaron {

// DirectShow opens files by name and tells of streams only.
std::optional<MediaContent> readMediaContent(File&, std::u16string_view path) {
  const auto streams = findMediaStreams(path);
  if (!streams) return std::nullopt;
  MediaContent content;
  for (const MediaStream& stream : *streams) {
    MediaTrack& track = content.tracks.emplace_back();
    track.kind = stream.isVideo ? MediaTrack::Kind::Video : MediaTrack::Kind::Audio;
    track.stream = stream;
    content.seconds = std::max(content.seconds, stream.seconds);
  }
  return content;
}

void prepareMediaContent() {}

}  // namespace tessaron
