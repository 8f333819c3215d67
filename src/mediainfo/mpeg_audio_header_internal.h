#pragma once

#include <cstdint>

namespace tessaron {

/// What the header of an MPEG audio frame declares.
struct MpegAudioHeader {
  int bitRate = 0;     ///< bits per second
  int sampleRate = 0;  ///< Hz
  int channels = 0;    ///< 1 or 2
  int frameLength =
      0;  ///< bytes without the four of the header; 0 for a header with reserved rates
};

/// Decodes the header whose first byte is the highest of `header`. All zeros for a reserved rate.
MpegAudioHeader decodeMpegAudioHeader(std::uint32_t header);

}  // namespace tessaron
