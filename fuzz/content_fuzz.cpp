// Describes the input by its content: the table of kinds, the readers of pictures, books, archives
// and tags, and the libraries behind them.

#include "fuzz.h"
#include "mediainfo/category.h"
#include "mediainfo/content_info.h"
#include "platform/file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ContentInfo info;
  info.wantsLocation = true;
  info.wantsThumbnail = size % 2 == 0;
  CHECK(info.fromOpenFile(*tessaron::memoryFile(asText(data, size)), u"\\x"));
  CHECK(info.sizeLow == size && !info.isUnreadable());
  CHECK(info.audioStreams.size() <= 200 && info.videoStreams.size() <= 200);
  // What is of no kind has no properties, and all else names its kind.
  CHECK((info.category == tessaron::kOtherCategory) == info.info.empty());
  for (const PropertyMap* map : {&info.info, &info.metaInfo})
    for (const auto& [label, value] : *map) CHECK(label > 40000 && !value.empty());
  return 0;
}
