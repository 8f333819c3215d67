#include "scan/describer.h"

#include <cstdint>
#include <filesystem>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "cli/output.h"
#include "cli/paths.h"
#include "platform/file.h"
#include "scan/finding.h"
#include "scan/reading.h"

namespace tessaron::tool {
namespace {

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
    const std::uint64_t size = std::uint64_t{sizeHigh} << 32 | sizeLow;
    const IndexedFile indexed{
        request_.whole, size,
        std::uint64_t{lastWriteTime.dwHighDateTime} << 32 | lastWriteTime.dwLowDateTime};
    if (index_) known_ = index_->look(indexed, file);
    const bool isKnown = known_.finding && hasThumbnail();
    finding_ = isKnown ? std::move(*known_.finding) : read(file);
    if (!isKnown) known_.hadThumbnail = false;
    if (!failure().empty()) return false;
    if (index_ && !(isKnown && known_.change == Change::None))
      index_->keep(indexed, known_.content, finding_);
    category = finding_.category;
    info = std::move(finding_.info);
    metaInfo = std::move(finding_.metaInfo);
    audioStreams = std::move(finding_.audioStreams);
    videoStreams = std::move(finding_.videoStreams);
    return false;
  }
  bool fromFilePostProcess() override { return true; }

  /// Whether the thumbnail that an earlier run has written, if any, is still there.
  bool hasThumbnail() const {
    std::error_code error;
    return !known_.hadThumbnail || std::filesystem::exists(filePath(request_.thumbnail), error);
  }

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
