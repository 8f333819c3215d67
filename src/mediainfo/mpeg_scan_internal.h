#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/file.h"
#include "support/byte_reader.h"

namespace tessaron {

/// What the pack, packet and sequence headers of an MPEG program stream declare, collected block by
/// block. Belongs to one thread.
class MpegScan {
 public:
  static constexpr std::size_t kBlockSize = 0x8000;
  static constexpr std::size_t kSlots = 19;

  struct Audio {
    bool present = false;
    int bitRate = 0;     ///< bits per second
    int sampleRate = 0;  ///< Hz
    int channels = 0;
  };
  struct Video {
    bool present = false;
    int width = 0;  ///< without its four low bits
    int height = 0;
    int aspectRatioCode = 0;
    int frameRateCode = 0;
    int bitRate = 0;  ///< bits per second
  };

  bool isMpeg2 = false;  ///< as the last pack header said
  bool audioSeen = false;
  bool videoSeen = false;
  std::array<Audio, kSlots> audio{};  ///< by the low five bits of the stream's number
  std::array<Video, kSlots> video{};  ///< by the low four bits
  std::int64_t totalBitRate = 0;

  /// Scans a block of at most `kBlockSize` bytes. Only the current start code carries over from the
  /// previous block.
  void scanBlock(std::span<const std::byte> block);

 private:
  bool step(std::span<const std::byte> block, ByteReader& in);
  void slide(std::span<const std::byte> block, ByteReader& in);
  void readPack(ByteReader& in);
  int readPacketHeader(ByteReader& in) const;
  bool readPacket(ByteReader& in);
  bool readAudio(std::uint32_t payload);
  bool readSequence(ByteReader& in);

  std::uint32_t code_ = 0x1B9;
};

/// Scans the beginning of a file: at most 16 blocks, ending with the one in which both an audio and
/// a video stream have been found. Gives up after 16 failed reads in a row.
MpegScan scanBeginning(File& file);

/// Returns the offset of the first 00 00 01 in `bytes`, or its size when there is none.
std::size_t findStartCode(std::span<const std::byte> bytes);

}  // namespace tessaron
