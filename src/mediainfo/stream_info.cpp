#include "mediainfo/stream_info.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

#include "mediainfo/labels.h"
#include "mediainfo/mpeg_scan_internal.h"
#include "mediainfo/stream_properties_internal.h"
#include "platform/file.h"

namespace {

using tessaron::MediaStream;

// Returns the slots of the maps that CMPEGFileParser makes of this file, in their order.
std::vector<std::size_t> videoSlots(const std::u16string& path) {
  std::vector<std::size_t> slots;
  std::error_code error;
  const std::unique_ptr<tessaron::File> file =
      tessaron::openFile(path, {.shareWrite = true, .shareDelete = true}, error);
  if (!file) return slots;
  const tessaron::MpegScan scan = tessaron::scanBeginning(*file);
  for (std::size_t slot = 0; slot < scan.video.size(); ++slot) {
    if (scan.video[slot].present) slots.push_back(slot);
  }
  return slots;
}

// Finds the existing map of a video stream. The scan of a program stream may have found only some
// of its streams, so these are matched by their ids, all others by their order.
class VideoMatcher {
 public:
  VideoMatcher(const std::u16string& path, const std::vector<MediaStream>& streams,
               std::size_t known) {
    const bool hasIds = std::ranges::any_of(
        streams, [](const MediaStream& stream) { return stream.isVideo && stream.packetId != 0; });
    if (hasIds && known > 0) slots_ = videoSlots(path);
    if (slots_.size() != known) slots_.clear();
  }

  // Returns the index of the map of `stream`, the `order`th one; nothing when it has none yet.
  std::optional<std::size_t> find(const MediaStream& stream, std::size_t order,
                                  std::size_t count) const {
    if (slots_.empty()) return order < count ? std::optional(order) : std::nullopt;
    const auto found = std::ranges::find(slots_, std::size_t{stream.packetId} & 0x0F);
    if (found == slots_.end()) return std::nullopt;
    return static_cast<std::size_t>(found - slots_.begin());
  }

 private:
  std::vector<std::size_t> slots_;
};

void complete(PropertyMap& map, PropertyMap properties, const MediaStream& stream) {
  const auto format = map.find(tessaron::label::kFormat);
  const auto better = properties.find(tessaron::label::kFormat);
  if (format != map.end() && better != properties.end() && isBareCode(format->second, stream)) {
    format->second = better->second;
  }
  map.merge(properties);
}

}  // namespace

CDSMediaStreamInfo::CDSMediaStreamInfo() = default;
CDSMediaStreamInfo::CDSMediaStreamInfo(const CDSMediaStreamInfo&) = default;
CDSMediaStreamInfo::CDSMediaStreamInfo(CDSMediaStreamInfo&&) noexcept = default;
CDSMediaStreamInfo& CDSMediaStreamInfo::operator=(const CDSMediaStreamInfo&) = default;
CDSMediaStreamInfo& CDSMediaStreamInfo::operator=(CDSMediaStreamInfo&&) noexcept = default;
CDSMediaStreamInfo::~CDSMediaStreamInfo() = default;

bool CDSMediaStreamInfo::identifyByFileName(const std::u16string& path, StreamList& audio,
                                            StreamList& video) {
  const auto streams = tessaron::findMediaStreams(path);
  if (!streams) return false;
  const VideoMatcher matcher(path, *streams, video.size());
  const std::size_t audioKnown = audio.size();
  const std::size_t videoKnown = video.size();
  std::size_t audioOrder = 0;
  std::size_t videoOrder = 0;
  for (const MediaStream& stream : *streams) {
    StreamList& list = stream.isVideo ? video : audio;
    const std::size_t order = stream.isVideo ? videoOrder++ : audioOrder++;
    std::optional<std::size_t> index;
    if (stream.isVideo) {
      index = matcher.find(stream, order, videoKnown);
    } else if (order < audioKnown) {
      index = order;
    }
    PropertyMap properties = streamProperties(stream, formatTags_, fourCCs_);
    if (index) {
      complete(list[*index], std::move(properties), stream);
    } else if (!properties.empty()) {
      list.push_back(std::move(properties));
    }
  }
  return true;
}
