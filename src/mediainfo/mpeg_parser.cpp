#include "mediainfo/mpeg_parser.h"

#include "mediainfo/labels.h"
#include "mediainfo/mpeg_audio_header_internal.h"
#include "mediainfo/mpeg_scan_internal.h"
#include "support/text.h"
#include "support/units.h"

namespace {

using tessaron::MpegScan;

PropertyMap describe(const MpegScan::Video& video, bool isMpeg2) {
  struct Ratio {
    int first;
    int second;
  };
  // QUIRK: 3:4 is inverted, unlike 16:9. Kept: descriptions are compared by text.
  constexpr Ratio kAspectRatios[16] = {{0, 0}, {1, 1}, {3, 4}, {16, 9}};
  PropertyMap map;
  map[tessaron::label::kFormat] = isMpeg2 ? u"MPEG-2" : u"MPEG-1";
  map[tessaron::label::kDataRate] = tessaron::dataRateText(video.bitRate);
  const Ratio ratio = kAspectRatios[video.aspectRatioCode];
  if (ratio.first > 1 && ratio.second > 1) {
    map[tessaron::label::kAspectRatio] =
        tessaron::fromUtf8(std::to_string(ratio.first) + ':' + std::to_string(ratio.second));
  }
  return map;
}

}  // namespace

CMPEGFileParser::CMPEGFileParser() = default;
CMPEGFileParser::CMPEGFileParser(const CMPEGFileParser&) = default;
CMPEGFileParser& CMPEGFileParser::operator=(const CMPEGFileParser&) = default;
CMPEGFileParser::~CMPEGFileParser() = default;

int CMPEGFileParser::getMP3FrameData(std::uint32_t header, int* bitRate, int* sampleRate,
                                     int* channels) {
  const tessaron::MpegAudioHeader audio = tessaron::decodeMpegAudioHeader(header);
  if (audio.frameLength == 0) return 0;
  *channels = audio.channels;
  *bitRate = audio.bitRate;
  *sampleRate = audio.sampleRate;
  return audio.frameLength;
}

bool CMPEGFileParser::parseByHandle(tessaron::File& file, PropertyMap&, StreamList&,
                                    StreamList& videoStreams) {
  const MpegScan scan = tessaron::scanBeginning(file);
  for (const MpegScan::Video& video : scan.video) {
    if (video.present) videoStreams.push_back(describe(video, scan.isMpeg2));
  }
  return true;
}
