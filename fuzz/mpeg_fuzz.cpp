// Describes the input as a program stream, and compares the search for start codes with a plain
// one.

#include <algorithm>
#include <span>
#include <string_view>

#include "fuzz.h"
#include "mediainfo/mpeg_parser.h"
#include "mediainfo/mpeg_scan_internal.h"
#include "support/byte_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = asText(data, size);
  const std::size_t found = text.find(std::string_view("\0\0\1", 3));
  CHECK(tessaron::findStartCode(std::as_bytes(std::span(text))) == std::min(found, size));

  int bitRate = 0, sampleRate = 0, channels = 0;
  const std::uint32_t header = tessaron::ByteReader(std::as_bytes(std::span(text))).u32be();
  if (CMPEGFileParser().getMP3FrameData(header, &bitRate, &sampleRate, &channels) > 0)
    CHECK(bitRate > 0 && sampleRate > 0 && (channels == 1 || channels == 2));

  PropertyMap meta;
  StreamList audio;
  StreamList video;
  CHECK(CMPEGFileParser().parseByHandle(*tessaron::memoryFile(text), meta, audio, video));
  CHECK(meta.empty() && audio.empty() && video.size() <= 16);
  for (const PropertyMap& map : video) CHECK(map.size() == 2 || map.size() == 3);
  return 0;
}
