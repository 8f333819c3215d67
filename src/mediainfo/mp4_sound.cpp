#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "mediainfo/mp4_sound_internal.h"
#include "support/byte_reader.h"

namespace tessaron {
namespace {

constexpr int kMaxBoxes = 1000;
constexpr std::size_t kMaxConfiguration = 4096;  // bytes of an "esds" box
constexpr std::size_t kSampleEntry = 28;         // bytes of a sound's entry before its boxes

// Reads numbers of any width, highest bit first. Reads zeros past the end.
class BitReader {
 public:
  explicit BitReader(std::span<const std::byte> bytes) : bytes_(bytes) {}

  std::uint32_t take(int count) {
    std::uint32_t value = 0;
    for (; count > 0; --count, ++at_) {
      const std::size_t index = at_ / 8;
      const unsigned byte = index < bytes_.size() ? std::to_integer<unsigned>(bytes_[index]) : 0;
      value = value << 1 | (byte >> (7 - at_ % 8) & 1);
    }
    return value;
  }

 private:
  std::span<const std::byte> bytes_;
  std::size_t at_ = 0;
};

// Decodes an AudioSpecificConfig: object type, sample rate, channel configuration.
std::optional<std::uint32_t> channelsOf(std::span<const std::byte> configuration) {
  constexpr std::uint32_t kLongType = 31, kExplicitRate = 15, kParametricStereo = 29;
  constexpr std::array<std::uint8_t, 16> kChannels = {0, 1, 2, 3, 4, 5,  6, 8,
                                                      0, 0, 0, 7, 8, 24, 8, 0};
  if (configuration.size() < 2) return std::nullopt;
  BitReader bits(configuration);
  std::uint32_t type = bits.take(5);
  if (type == kLongType) type += 1 + bits.take(6);
  if (bits.take(4) == kExplicitRate) bits.take(24);
  const std::uint32_t channels = kChannels[bits.take(4)];
  if (channels == 0) return std::nullopt;
  return type == kParametricStereo && channels == 1 ? 2 : channels;
}

// A descriptor: tag and content, empty past the end.
struct Descriptor {
  std::uint8_t tag;
  std::span<const std::byte> content;
};

Descriptor readDescriptor(ByteReader& reader) {
  const std::uint8_t tag = reader.u8();
  std::size_t size = 0;
  for (int i = 0; i < 4; ++i) {
    const std::uint8_t part = reader.u8();
    size = size << 7 | (part & 0x7F);
    if (part < 0x80) break;
  }
  return {tag, reader.bytes(std::min(size, reader.remaining()))};
}

std::optional<std::uint32_t> readConfiguration(std::span<const std::byte> esds) {
  constexpr std::uint8_t kStream = 3, kDecoder = 4, kSpecific = 5, kAac = 0x40, kMpeg2Aac = 0x66;
  ByteReader box(esds);
  box.skip(4);  // version and flags
  const Descriptor stream = readDescriptor(box);
  if (stream.tag != kStream) return std::nullopt;
  ByteReader inStream(stream.content);
  inStream.skip(2);
  const std::uint8_t flags = inStream.u8();
  if (flags & 0x80) inStream.skip(2);
  if (flags & 0x40) inStream.skip(inStream.u8());
  if (flags & 0x20) inStream.skip(2);
  const Descriptor decoder = readDescriptor(inStream);
  if (decoder.tag != kDecoder) return std::nullopt;
  ByteReader inDecoder(decoder.content);
  const std::uint8_t codec = inDecoder.u8();
  if (codec != kAac && (codec < kMpeg2Aac || codec > kMpeg2Aac + 2)) return std::nullopt;
  inDecoder.skip(12);
  const Descriptor specific = readDescriptor(inDecoder);
  if (specific.tag != kSpecific) return std::nullopt;
  return channelsOf(specific.content);
}

// Walks down the boxes to the configuration of the first audio track.
class BoxWalk {
 public:
  explicit BoxWalk(File& file) : file_(file) {}

  std::optional<std::uint32_t> find(std::uint64_t at, std::uint64_t end, std::size_t level = 0) {
    constexpr std::array<std::string_view, 8> kWay = {"moov", "trak", "mdia", "minf",
                                                      "stbl", "stsd", "mp4a", "esds"};
    // Bytes of fields before the child boxes.
    constexpr std::array<std::size_t, 8> kBefore = {0, 0, 0, 0, 0, 8, kSampleEntry, 0};
    constexpr std::size_t kTrack = 1, kMedia = 3, kEntry = 6;
    while (const std::optional<Box> box = readHeader(at, end)) {
      const std::uint64_t begin = at + box->header;
      if (level == kMedia && box->name == "hdlr" && isSoundHandler(begin)) inSound_ = true;
      if (box->name == kWay[level]) {
        const std::uint64_t content = begin + kBefore[level];
        const auto found = level + 1 == kWay.size()   ? readBox(begin, box->size - box->header)
                           : at + box->size > content ? find(content, at + box->size, level + 1)
                                                      : std::nullopt;
        if (found || (level <= kTrack && inSound_)) return found;
      }
      if (level == kEntry) return std::nullopt;  // the first sample entry has another codec
      at += box->size;
    }
    return std::nullopt;
  }

 private:
  struct Box {
    std::string name;
    std::uint64_t size;    // bytes, with the header
    std::uint64_t header;  // bytes
  };

  // The header of the box at `at`; nothing at the end, for a damaged one, or after too many boxes.
  std::optional<Box> readHeader(std::uint64_t at, std::uint64_t end) {
    constexpr std::uint64_t kHeader = 8, kLongHeader = 16;
    if (at >= end || end - at < kHeader || ++boxes_ > kMaxBoxes) return std::nullopt;
    std::array<std::byte, kLongHeader> head{};
    if (readFully(file_, at, head).value_or(0) < kHeader) return std::nullopt;
    ByteReader reader(head);
    Box box{{}, reader.u32be(), kHeader};
    const auto name = reader.bytes(4);
    box.name.assign(reinterpret_cast<const char*>(name.data()), name.size());
    if (box.size == 1) {
      box.size = reader.u64be();
      box.header = kLongHeader;
    }
    if (box.size == 0 || box.size > end - at) box.size = end - at;
    if (box.size < box.header) return std::nullopt;
    return box;
  }

  bool isSoundHandler(std::uint64_t at) {
    constexpr std::string_view kSound = "soun";
    std::array<std::byte, 4> type{};
    constexpr std::uint64_t kTypeOffset = 8;  // behind version, flags and a reserved field
    return readFully(file_, at + kTypeOffset, type) == type.size() &&
           std::ranges::equal(type, std::as_bytes(std::span(kSound)));
  }

  std::optional<std::uint32_t> readBox(std::uint64_t at, std::uint64_t size) {
    std::vector<std::byte> bytes(
        static_cast<std::size_t>(std::min<std::uint64_t>(size, kMaxConfiguration)));
    bytes.resize(readFully(file_, at, bytes).value_or(0));
    return readConfiguration(bytes);
  }

  File& file_;
  int boxes_ = 0;
  bool inSound_ = false;  // inside or past the first audio track
};

}  // namespace

std::optional<std::uint32_t> mp4Channels(File& file) {
  return BoxWalk(file).find(0, file.size().value_or(0));
}

}  // namespace tessaron
