#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessaron {

/// An audio or video stream of a media file, as far as it is known: 0 stands for unknown.
struct MediaStream {
  bool isVideo = false;
  /// The low byte of the start code of an MPEG program stream's packets; 0 when there is none.
  std::uint8_t packetId = 0;
  /// Wave format tags, or FourCCs with their first character in the lowest byte: first the one in
  /// the file, then what else the codec goes by.
  std::array<std::uint32_t, 2> codes{};
  std::string codecName;  ///< the system's; UTF-8
  double bitRate = 0;     ///< bits per second
  double seconds = 0;     ///< run time
  std::uint32_t channels = 0;
  std::uint32_t sampleRate = 0;  ///< Hz
  std::uint32_t sampleBits = 0;
  std::uint32_t width = 0;  ///< pixels
  std::uint32_t height = 0;
  double frameRate = 0;       ///< frames per second
  std::uint32_t aspectX = 0;  ///< of the picture as it is shown, in lowest terms
  std::uint32_t aspectY = 0;
};

/// The streams that the system's media library finds in a local file, in their order there.
/// Nothing when the file cannot be read or is of no format that it knows, or when there is no such
/// library. Reads a bounded part of the file, for a bounded time, and opens no other file.
std::optional<std::vector<MediaStream>> findMediaStreams(std::u16string_view path);

}  // namespace tessaron
