#include "platform/media_streams.h"

#include <algorithm>
#include <memory>

#include "platform/file.h"
#include "platform/posix/av_input.h"

namespace tessaron {

std::optional<std::vector<MediaStream>> findMediaStreams(std::u16string_view path) {
  if (!av().ready) return std::nullopt;
  std::error_code error;
  const auto file = openFile(path, {.shareWrite = true, .shareDelete = true}, error);
  if (!file) return std::nullopt;
  AvSource source(*file);
  const AvInput input(source);
  if (!input) return std::nullopt;
  if (!isComplete(input) && av().avformat_find_stream_info(input.get(), nullptr) < 0) {
    return std::nullopt;
  }
  std::vector<AVStream*> found;
  std::ranges::copy_if(input.streams(), std::back_inserter(found),
                       [](const AVStream* stream) { return isListed(*stream); });
  // Those of a program stream are in the order of their first packets.
  if (input->iformat->name == std::string_view("mpeg")) {
    std::ranges::stable_sort(found, {}, &AVStream::id);
  }
  std::vector<MediaStream> streams;
  streams.reserve(found.size());
  for (const AVStream* stream : found) streams.push_back(describeStream(*stream, *input.get()));
  return streams;
}

}  // namespace tessaron
