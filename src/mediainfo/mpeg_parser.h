#pragma once

#include <cstdint>

#include "mediainfo/property_map.h"
#include "platform/file.h"
#include "tessaron_export.h"

/// Describes the video streams of an MPEG program stream from its beginning. Threads may share one.
class TESSARON_API CMPEGFileParser {
 public:
  CMPEGFileParser();
  CMPEGFileParser(const CMPEGFileParser&);
  CMPEGFileParser& operator=(const CMPEGFileParser&);
  ~CMPEGFileParser();

  /// Appends one map for each video stream whose sequence header stands in the first 512 KiB:
  /// "Format", "Data Rate" and, for some codes, "Aspect Ratio". `metaInfo` and `audioStreams`
  /// exist for symmetry with the RIFF parser and stay unchanged. Always true, also when nothing
  /// was found or the file could not be read.
  bool parseByHandle(tessaron::File& file, PropertyMap& metaInfo, StreamList& audioStreams,
                     StreamList& videoStreams);

  /// Decodes an MPEG audio frame header (its first byte in the highest bits) into bits per second,
  /// Hz and 1 or 2 channels. Returns the frame's length in bytes without its four header bytes; 0,
  /// with the outputs untouched, for a header with a reserved rate.
  int getMP3FrameData(std::uint32_t header, int* bitRate, int* sampleRate, int* channels);
};
