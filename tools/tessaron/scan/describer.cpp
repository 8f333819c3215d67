#include "scan/describer.h"

#include <cstdint>
#include <filesystem>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "cli/output.h"
#include "cli/paths.h"
#include "platform/directory.h"
#include "platform/file.h"
#include "scan/finding.h"
#include "scan/reading.h"

namespace tessaron::tool {
namespace {

IndexedFile indexedFile(const FileRequest& request, const CFileInfo& info) {
  return {
      request.whole, std::uint64_t{info.sizeHigh} << 32 | info.sizeLow,
      std::uint64_t{info.lastWriteTime.dwHighDateTime} << 32 | info.lastWriteTime.dwLowDateTime};
}

/// Takes over what was found in the content.
void takeContent(Finding& finding, CFileInfo& info) {
  info.category = finding.category;
  info.info = std::move(finding.info);
  info.metaInfo = std::move(finding.metaInfo);
  info.audioStreams = std::move(finding.audioStreams);
  info.videoStreams = std::move(finding.videoStreams);
}

/// Whether the thumbnail that an earlier run has written, if any, is still there.
bool hasThumbnail(const FileIndex::Known& known, const FileRequest& request) {
  std::error_code error;
  return !known.hadThumbnail || std::filesystem::exists(filePath(request.thumbnail), error);
}

/// A file's description. Its content is read by a worker unless the index knows the file.
class Forwarded : public CFileInfo {
 public:
  Forwarded(const FileRequest& request, Worker& worker, const Describer::Options& options)
      : request_(request), worker_(worker), options_(options), index_(options.index) {}

  const std::string& failure() const { return finding_.failure; }
  /// Gives up what was found besides the description; the thumbnail is yet to be written.
  Finding takeFinding() { return std::move(finding_); }
  FileIndex::Known& known() { return known_; }

 private:
  bool fromFileHandle(File& file) override {
    const IndexedFile indexed = indexedFile(request_, *this);
    if (index_) known_ = index_->look(indexed, file);
    const bool isKnown = known_.finding && hasThumbnail(known_, request_);
    finding_ = isKnown ? std::move(*known_.finding) : read(file);
    if (!isKnown) known_.hadThumbnail = false;
    if (!failure().empty()) return false;
    if (index_ && !(isKnown && known_.change == Change::None))
      index_->keep(indexed, known_.content, finding_);
    takeContent(finding_, *this);
    return false;
  }
  bool fromFilePostProcess() override { return true; }

  Finding read(File& file) {
    const DescribedView view{!request_.thumbnail.empty(), options_.isByName,
                             options_.wantsLocation};
    std::string answer;
    Finding failed;
    failed.failure = worker_.ask(encode(Question{name, detectMask, view}), file, answer);
    if (!failed.failure.empty()) return failed;
    if (std::optional<Finding> found = decodeFinding(answer)) return std::move(*found);
    worker_.dismiss();
    failed.failure = "its reader gave no proper answer";
    return failed;
  }

  const FileRequest& request_;
  Worker& worker_;
  const Describer::Options& options_;
  FileIndex* index_;
  Finding finding_;
  FileIndex::Known known_;
};

std::string reasonFor(const std::u16string& path) {
  std::error_code error;
  const bool isOpened = static_cast<bool>(openFile(path, {}, error));
  return isOpened ? "it cannot be read" : error.message();
}

}  // namespace

Describer::Describer(const Options& options, std::size_t threads) : options_(options) {
  for (std::size_t i = 0; i < threads; ++i)
    workers_.push_back(
        std::make_unique<Worker>(std::vector<std::string>{kReaderArgument}, options.patience));
}

std::optional<FileResult> Describer::recall(const FileRequest& request) const {
  if (!options_.index) return std::nullopt;
  const std::optional<FileStatus> status = fileStatus(request.path);
  if (!status) return std::nullopt;
  FileResult result;
  CFileInfo& info = result.info;
  info.setDetectType(options_.detectMask);
  info.path = request.path;
  info.name = info.path.substr(lastSeparator(info.path) + 1);
  const std::size_t dot = info.name.rfind(u'.');
  if (dot != info.name.npos) info.extension = info.name.substr(dot + 1);
  info.encryptionStatus = encryptionStatus(info.path).value_or(0);
  info.sizeLow = static_cast<std::uint32_t>(status->size);
  info.sizeHigh = static_cast<std::uint32_t>(status->size >> 32);
  info.creationTime = status->creationTime;
  info.lastWriteTime = status->lastWriteTime;
  info.attributes = status->attributes;
  std::optional<FileIndex::Known> known = options_.index->recall(indexedFile(request, info));
  if (!known || !hasThumbnail(*known, request)) return std::nullopt;
  takeContent(*known->finding, info);
  result.change = known->change;
  result.isUndecodable = known->finding->isUndecodable;
  if (known->hadThumbnail) result.thumbnail = request.thumbnail;
  return result;
}

FileResult Describer::describe(const FileRequest& request, std::size_t thread) {
  FileResult result;
  try {
    Forwarded file(request, *workers_[thread], options_);
    file.setDetectType(options_.detectMask);
    if (!file.fromFile(request.path)) {
      result.failure = reasonFor(request.path);
    } else if (!file.failure().empty()) {
      result.failure = file.failure();
    } else {
      const Finding finding = file.takeFinding();
      if (!finding.thumbnail.empty()) writeOutput(request.thumbnail, finding.thumbnail);
      if (!finding.thumbnail.empty() || file.known().hadThumbnail)
        result.thumbnail = request.thumbnail;
      result.isUndecodable = finding.isUndecodable;
    }
    result.change = file.known().change;
    result.before = std::move(file.known().before);
    result.info = std::move(file);
  } catch (const std::bad_alloc&) {
    result.failure = "there is not enough memory to describe it";
  }
  return result;
}

void Describer::stop() {
  for (const std::unique_ptr<Worker>& worker : workers_) worker->stop();
}

}  // namespace tessaron::tool
