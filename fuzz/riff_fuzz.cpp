// Describes the input as an AVI file.

#include "fuzz.h"
#include "mediainfo/riff_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text = asText(data, size);
  if (!text.starts_with("RIFF")) text = "RIFF" + std::string(4, '\0') + "AVI " + text;
  PropertyMap meta;
  StreamList audio;
  StreamList video;
  const bool isAvi =
      CRiffFileParser().parseByHandle(*tessaron::memoryFile(text), meta, audio, video);
  CHECK(audio.size() <= 19 && video.size() <= 19 && meta.size() <= 2);
  CHECK(isAvi || (audio.empty() && video.empty() && meta.empty()));
  return 0;
}
