#include "scan/reading.h"

#include <exception>
#include <new>
#include <optional>
#include <utility>

#include "covers/cover_maker.h"
#include "mediainfo/content_info.h"
#include "output/thumbnails.h"
#include "platform/directory.h"
#include "platform/worker.h"
#include "scan/named_info.h"
#include "scan/test_faults.h"

namespace tessaron::tool {
namespace {

template <typename Info>
Finding describe(const Question& question, File& content) {
  Finding finding;
  const std::u16string path = joinPath({}, question.name);
  const LentFile lent(path, content);
  Info file;
  file.wantsThumbnail = question.view.wantsThumbnail;
  file.wantsLocation = question.view.wantsLocation;
  file.setDetectType(question.detectMask);
  if (!file.fromFile(path) || file.isUnreadable()) {
    finding.failure = "its content cannot be read";
    return finding;
  }
  if (question.view.wantsThumbnail) finding.thumbnail = thumbnailOf(file);
  finding.isUndecodable = file.isUndecodable();
  finding.category = file.category;
  finding.info = std::move(file.info);
  finding.metaInfo = std::move(file.metaInfo);
  finding.audioStreams = std::move(file.audioStreams);
  finding.videoStreams = std::move(file.videoStreams);
  return finding;
}

Finding failed(const char* reason) {
  Finding finding;
  finding.failure = reason;
  return finding;
}

std::string answer(std::string_view request, File& file) {
  if (request == kCoverRequest) return answerCoverRequest(file);
  const std::optional<Question> question = decodeQuestion(request);
  if (!question) return {};
  try {
    FaultyFile content(file, question->name);
    const auto describeFile = question->view.isByName ? describe<NamedInfo> : describe<ContentInfo>;
    const std::string found = encode(describeFile(*question, content));
    return found.size() <= kMaxWorkerAnswer ? found : encode(failed("its description is too long"));
  } catch (const std::bad_alloc&) {
    return encode(failed("there is not enough memory to describe it"));
  } catch (const std::exception&) {
    return encode(failed("its reader has failed"));
  }
}

}  // namespace

int runReader() { return runWorker({ContentInfo::prepare, answer}); }

}  // namespace tessaron::tool
