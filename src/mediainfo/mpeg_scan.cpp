#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>
#include <vector>

#include "mediainfo/mpeg_audio_header_internal.h"
#include "mediainfo/mpeg_scan_internal.h"

namespace tessaron {
namespace {

constexpr std::uint32_t kSequence = 0x1B3, kProgramEnd = 0x1B9, kPack = 0x1BA, kFirstPacket = 0x1C0;

bool isStartCode(std::uint32_t code) { return code >> 8 == 1; }

constexpr std::size_t kStride = 128;

// Whether a stride may contain a start code. Of every start code one aligned pair of bytes is 00 00
// or, at an odd offset, 00 01. Tests the bytewise minimum of eight pairs at once: false positives
// are rare, false negatives impossible. Compilers vectorize the loops.
bool mayHoldStartCode(std::span<const std::byte, kStride> bytes) {
  constexpr std::size_t kPart = kStride / 8;
  const auto lesser = [](std::byte a, std::byte b) { return a < b ? a : b; };
  std::array<std::byte, kPart> least;
  for (std::size_t i = 0; i < kPart; ++i) {
    const auto pair = [&](std::size_t part) {
      return lesser(bytes[i + part * kPart], bytes[i + (part + 1) * kPart]);
    };
    least[i] = lesser(lesser(pair(0), pair(2)), lesser(pair(4), pair(6)));
  }
  for (const std::uint64_t pairs : std::bit_cast<std::array<std::uint64_t, 2>>(least)) {
    // Clear the low bit of each second byte, so that both pairs become zero.
    const std::uint64_t rest = pairs & 0xFEFFFEFFFEFFFEFF;
    if ((rest - 0x0001000100010001) & ~rest & 0x8000800080008000) return true;
  }
  return false;
}

}  // namespace

std::size_t findStartCode(std::span<const std::byte> bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    if (bytes.size() - at >= kStride && !mayHoldStartCode(bytes.subspan(at).first<kStride>())) {
      at += kStride;
      continue;
    }
    // Find codes by their last byte: zeros may fill whole packets.
    std::size_t next = at;
    while (next < at + kStride + 2) {
      const void* one =
          next < bytes.size() ? std::memchr(bytes.data() + next, 1, bytes.size() - next) : nullptr;
      if (!one) return bytes.size();
      next = static_cast<std::size_t>(static_cast<const std::byte*>(one) - bytes.data()) + 1;
      if (next >= 3 && bytes[next - 2] == std::byte{} && bytes[next - 3] == std::byte{}) {
        return next - 3;
      }
    }
    at += (next - 2 - at) / kStride * kStride;
  }
  return bytes.size();
}

void MpegScan::scanBlock(std::span<const std::byte> block) {
  ByteReader in(block);
  if (block.size() > 4) code_ = in.u32be();
  while (in.remaining() > 0 && step(block, in)) {
  }
}

// Handles the current code and reads the next one. False when the scan leaves the block.
bool MpegScan::step(std::span<const std::byte> block, ByteReader& in) {
  if (!isStartCode(code_)) {
    slide(block, in);
    return true;
  }
  if (code_ == kProgramEnd) return false;
  if (code_ == kPack) {
    readPack(in);
  } else if (code_ < kFirstPacket) {
    in.skip(in.u16be());
  } else if (!readPacket(in)) {
    return false;
  }
  const std::uint32_t next = in.u32be();
  if (in.ok()) code_ = next;
  return in.ok();
}

// Shifts bytes into the code until it is a start code or the block ends.
void MpegScan::slide(std::span<const std::byte> block, ByteReader& in) {
  const auto shift = [&] { code_ = code_ << 8 | in.u8(); };
  shift();
  // In a block of more than four bytes the code is the four bytes before the position.
  if (isStartCode(code_) || block.size() <= 4) return;
  const std::size_t from = in.position() - 3;
  const std::size_t found = from + findStartCode(block.subspan(from));
  const std::size_t last = std::min(found + 3, block.size() - 1);  // of the new code's bytes
  if (last < in.position()) return;
  in.skip(std::max(in.position(), last - 3) - in.position());
  while (in.position() <= last) shift();
}

void MpegScan::readPack(ByteReader& in) {
  const std::uint8_t marker = in.u8();
  if (marker >> 4 == 0b0010) isMpeg2 = false;
  if (marker >> 6 == 0b01) isMpeg2 = true;
  if (isMpeg2) {
    in.skip(8);
    // QUIRK: two bits of the stuffing length. It has three. Kept: the scan slides to the next code.
    in.skip(in.u8() & 3);
  } else {
    // QUIRK: six bytes. Seven are left of the header. Kept: the scan slides to the next code.
    in.skip(6);
  }
}

// Reads the header of a packet and returns how many bytes it counts for.
int MpegScan::readPacketHeader(ByteReader& in) const {
  if (isMpeg2) {
    in.skip(2);
    const int rest = in.u8();
    in.skip(static_cast<std::size_t>(rest));
    return rest + 3;
  }
  // QUIRK: counts nine bytes of time stamps, present or not. A packet without them would be
  // longer. Kept: where the scan goes on, and so what it finds, depends on it.
  int header = 9;
  std::uint8_t flags;
  do {
    flags = in.u8();
    ++header;
  } while (flags == 0xFF);
  if (flags >> 6 == 0b01) {
    in.skip(1);
    flags = in.u8();
    header += 2;
  }
  if (flags & 0x20) in.skip(4);
  if (flags & 0x10) in.skip(5);
  return header;
}

bool MpegScan::readPacket(ByteReader& in) {
  const std::uint32_t id = code_ & 0xFF;
  const int length = in.u16be();
  const int header = readPacketHeader(in);
  const std::uint32_t payload = in.u32be();
  if (!in.ok()) return false;

  const bool isVideo = (id & 0x20) != 0;
  if (!isVideo && !readAudio(payload)) return false;
  if (isVideo) {
    videoSeen = true;
    if (payload == kSequence && !readSequence(in)) return false;
  }
  // QUIRK: does not subtract the bytes of a sequence header from the rest of the packet. The scan
  // misses a code directly behind it. Kept: as above.
  if (length - header > 4) in.skip(static_cast<std::size_t>(length - header - 4));
  return true;
}

bool MpegScan::readAudio(std::uint32_t payload) {
  constexpr std::uint32_t kLastId = 19;
  audioSeen = true;
  const std::uint32_t slot = code_ & 0x1F;
  if (slot > kLastId) return false;
  // QUIRK: 19 is an audio stream as well, though it has no slot. Kept: it does not end the block.
  if (slot >= kSlots || payload >> 20 != 0xFFF) return true;
  const MpegAudioHeader header = decodeMpegAudioHeader(payload);
  if (header.frameLength == 0) return true;
  audio[slot] = {true, header.bitRate, header.sampleRate, header.channels};
  totalBitRate += header.bitRate;
  return true;
}

bool MpegScan::readSequence(ByteReader& in) {
  // QUIRK: the limit is that of a full block, less some bytes. Kept: a header behind it is not
  // read.
  constexpr std::size_t kLastPlace = 0x7FF4;
  if (in.position() > kLastPlace) return false;
  int b[7];
  for (int& value : b) value = in.u8();
  if (!in.ok()) return false;
  Video& to = video[code_ & 0x0F];
  to.present = true;
  // QUIRK: leaves out the four low bits of the width, in b[1]. Kept: nothing reports the width.
  to.width = b[0] << 4;
  to.height = (b[1] & 0x0F) * 256 + b[2];
  to.aspectRatioCode = b[3] >> 4;
  to.frameRateCode = b[3] & 0x0F;
  // QUIRK: does not shift the two low bits of the rate, so they count 64 times. Kept: data rates
  // are compared with those in existing collections.
  to.bitRate = ((b[4] * 256 + b[5]) * 4 + (b[6] & 0xC0)) * 400;
  totalBitRate += to.bitRate;
  return true;
}

MpegScan scanBeginning(File& file) {
  constexpr int kBlocks = 16;
  constexpr int kFailures = 16;  // in a row
  std::vector<std::byte> buffer(MpegScan::kBlockSize);
  MpegScan scan;
  file.seek(0);
  int failures = 0;
  for (int blocks = 0; blocks < kBlocks && !(scan.audioSeen && scan.videoSeen);) {
    const std::optional<std::size_t> count = file.read(buffer);
    if (!count) {
      if (++failures == kFailures) break;
      continue;
    }
    if (*count == 0) break;
    failures = 0;
    ++blocks;
    scan.scanBlock(std::span(buffer).first(*count));
  }
  return scan;
}

}  // namespace tessaron
