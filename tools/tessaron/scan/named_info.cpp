#include "scan/named_info.h"

#include <optional>

#include "mediainfo/category.h"
#include "mediainfo/labels.h"
#include "platform/file.h"

namespace tessaron::tool {
namespace {

/// Forwards reads to a file and records whether one has failed.
class WatchedFile : public File {
 public:
  explicit WatchedFile(File& file) : file_(file) {}
  bool hasFailed() const { return hasFailed_; }

  std::optional<std::size_t> read(std::span<std::byte> buffer) override {
    return checked(file_.read(buffer));
  }
  std::optional<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> buffer) override {
    return checked(file_.readAt(offset, buffer));
  }
  bool write(std::span<const std::byte>) override { return false; }
  bool seek(std::uint64_t offset) override { return file_.seek(offset); }
  std::optional<std::uint64_t> size() override { return file_.size(); }
  bool setEnd() override { return false; }
  std::optional<FileStatus> status() override { return file_.status(); }

 private:
  std::optional<std::size_t> checked(std::optional<std::size_t> count) {
    hasFailed_ = hasFailed_ || !count;
    return count;
  }

  File& file_;
  bool hasFailed_ = false;
};

}  // namespace

bool NamedInfo::fromFilePostProcess() {
  CFileInfo::fromFilePostProcess();
  if (!wantsLocation)
    for (const std::uint32_t place : {label::kLatitude, label::kLongitude, label::kAltitude})
      metaInfo.erase(place);
  return true;
}

bool NamedInfo::fromFileHandle(File& file) {
  const bool isPicture = category == kImageCategory;
  WatchedFile watched(file);
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
