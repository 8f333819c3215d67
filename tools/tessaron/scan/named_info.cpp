#include "scan/named_info.h"

#include <optional>

#include "mediainfo/category.h"
#include "mediainfo/labels.h"
#include "platform/file.h"
#include "support/read_watch.h"

namespace tessaron::tool {

bool NamedInfo::fromFilePostProcess() {
  CFileInfo::fromFilePostProcess();
  if (!wantsLocation)
    for (const std::uint32_t place : {label::kLatitude, label::kLongitude, label::kAltitude})
      metaInfo.erase(place);
  return true;
}

bool NamedInfo::fromFileHandle(File& file) {
  const bool isPicture = category == kImageCategory;
  ReadWatch watched(file);
  std::byte first{};
  const bool isMedia = isPicture || category == kAudioCategory || category == kVideoCategory;
  isUnreadable_ = isMedia && !watched.readAt(0, {&first, 1});
  if (isUnreadable_) return false;
  if (!isPicture) return CFileInfo::fromFileHandle(file);
  if (wantsThumbnail) CFileInfo::fromFileHandle(watched);
  if (!thumbnails.empty() && thumbnails[0].isValid()) return false;
  measurePicture(watched);
  const auto measures = info.find(label::kDimensions);
  const bool isMeasured = measures != info.end() && measures->second != u"0 x 0";
  isUnreadable_ = watched.hasFailed() && !isMeasured;
  isUndecodable_ = wantsThumbnail && isMeasured;
  return false;
}

}  // namespace tessaron::tool
