#include <algorithm>
#include <cstring>
#include <limits>
#include <span>
#include <string_view>

#include "mediainfo/tag_stream_internal.h"
#include "support/byte_reader.h"

namespace tessaron {
namespace {

constexpr std::uint64_t kMaxSize = std::uint64_t{1} << 34;  // bytes; tags beyond are not read
constexpr std::size_t kGuidSize = 16;
constexpr std::size_t kMaxId3 = std::size_t{4} << 20;
constexpr std::size_t kMaxFrame = std::size_t{64} << 10;
constexpr std::size_t kPadding = 32;  // bytes; longer than a footer or a frame's header

// Offsets in the header of a tag, and its flags.
constexpr std::size_t kId3Version = 3;
constexpr std::size_t kId3Flags = 5;
constexpr char kUnsynchronized = '\x80';
constexpr char kExtended = 0x40;
constexpr int kLastPlainVersion = 3;  // later ones unsynchronize frame by frame

std::span<const std::byte> bytesOf(const std::string& text) {
  return std::as_bytes(std::span(text));
}

// Decodes a number of four bytes with seven bits each.
std::uint32_t synchSafe(std::uint32_t number) {
  return (number & 0x7F) | (number >> 1 & 0x3F80) | (number >> 2 & 0x1FC000) |
         (number >> 3 & 0xFE00000);
}

// Undoes unsynchronization: removes the zero after each 0xFF.
void resynchronize(std::string& bytes) {
  bool afterMark = false;
  std::erase_if(bytes, [&](char byte) {
    const bool drop = afterMark && byte == 0;
    afterMark = byte == '\xFF';
    return drop;
  });
}

bool isFrameId(std::string_view id, int version) {
  // Version 3 may hold frames of version 2, their shorter ids padded.
  if (version == 3 && id[3] == 0) id.remove_suffix(1);
  return std::ranges::all_of(
      id, [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); });
}

// Whether a frame holds text, a URL or a comment.
bool isText(std::string_view id) {
  return id[0] == 'T' || id[0] == 'W' || id.starts_with("COM") || id == "ULT" || id == "USLT" ||
         id == "GRP1" || id == "MVNM" || id == "MVIN";
}

// Whether a Windows Media object begins with a count of attributes.
bool holdsAttributes(const TagLib::ByteVector& guid) {
  using namespace std::string_view_literals;
  constexpr std::string_view kObjects[] = {
      "\x40\xA4\xD0\xD2\x07\xE3\xD2\x11\x97\xF0\x00\xA0\xC9\x5E\xA8\x50"sv,
      "\xEA\xCB\xF8\xC5\xAF\x5B\x77\x48\x84\x67\xAA\x8C\x44\xFA\x4C\xCA"sv,
      "\x94\x1C\x23\x44\x98\x94\xD1\x49\xA1\x41\x1D\x13\x4E\x45\x70\x54"sv,
  };
  return std::ranges::find(kObjects, std::string_view(guid.data(), guid.size())) !=
         std::end(kObjects);
}

// The frame flags for compression and encryption.
std::uint16_t packedFlags(int version) { return version == 3 ? 0x00C0 : 0x000C; }

std::uint32_t readFrameSize(ByteReader& reader, int version) {
  if (version < 3) {
    const std::uint32_t high = reader.u8();
    return high << 16 | reader.u16be();
  }
  const std::uint32_t size = reader.u32be();
  // Some writers of version 4 write sizes as in version 3.
  const bool isSynchSafe = version > 3 && (size & 0x80808080) == 0;
  return isSynchSafe ? synchSafe(size) : size;
}

// Returns the text frames of a tag, with valid headers, and padding.
std::string textFrames(const std::string& body, int version) {
  const std::size_t idSize = version < 3 ? 3 : 4;
  std::string frames;
  ByteReader reader(bytesOf(body));
  for (;;) {
    const std::size_t at = reader.position();
    reader.skip(idSize);
    const std::uint32_t size = readFrameSize(reader, version);
    const std::uint16_t flags = version < 3 ? 0 : reader.u16be();
    const std::size_t header = reader.position() - at;
    reader.skip(size);
    if (!reader.ok()) break;
    const std::string_view id(&body[at], idSize);
    if (!isFrameId(id, version)) break;
    if (!isText(id) || size == 0 || size > kMaxFrame || (flags & packedFlags(version)) != 0) {
      continue;
    }
    frames.append(body, at, header + size);
  }
  // Zero padding, so that TagLib neither looks for a footer nor takes following bytes for a frame.
  frames.append(kPadding, '\0');
  return frames;
}

}  // namespace

TagStream::TagStream(File& file)
    : file_(file),
      size_(std::min({file.size().value_or(0), kMaxSize,
                      static_cast<std::uint64_t>(std::numeric_limits<long>::max())})) {}

void TagStream::seek(long offset, Position from) {
  const auto base = static_cast<std::int64_t>(from == Beginning ? 0
                                              : from == Current ? at_
                                                                : size_);
  at_ = std::min<std::uint64_t>(
      static_cast<std::uint64_t>(std::max<std::int64_t>(base + offset, 0)), size_);
}

TagLib::ByteVector TagStream::readBlock(unsigned long length) {
  const std::uint64_t begin = at_;
  const auto held = static_cast<std::size_t>(std::min<std::uint64_t>(length, size_ - at_));
  at_ += held;
  if (limits_.reads == 0) return {};
  --limits_.reads;
  const bool isId3Body = id3Length_ != 0 && begin == id3Begin_ && length == id3Length_;
  id3Length_ = 0;
  if (isId3Body) return readId3(begin, held);
  TagLib::ByteVector block = readPlain(begin, held);
  if (block.size() == kGuidSize) {
    attributeCountAt_ = holdsAttributes(block) ? at_ + sizeof(std::uint64_t) : 0;
  }
  if (block.size() == 2 && begin == attributeCountAt_) limitAttributes(block);
  if (length == kId3Header && block.size() == kId3Header && block.startsWith("ID3")) {
    expectId3(block);
  }
  return block;
}

void TagStream::limitAttributes(TagLib::ByteVector& count) {
  const unsigned wanted = count.toUShort(false);
  const unsigned granted = std::min(wanted, limits_.attributes);
  limits_.attributes -= granted;
  count = TagLib::ByteVector::fromShort(static_cast<short>(granted), false);
}

TagLib::ByteVector TagStream::readPlain(std::uint64_t offset, std::size_t held) {
  const std::size_t real = std::min(held, limits_.blockData);
  const std::size_t length = limits_.zeros ? held : real;
  if (length > limits_.bytes) return {};
  limits_.bytes -= length;
  TagLib::ByteVector block(static_cast<unsigned>(length), '\0');
  if (length == 0) return block;
  const auto target = std::as_writable_bytes(std::span(block.data(), real));
  const std::size_t got = readFully(file_, offset, target).value_or(0);
  if (got < real) block.resize(static_cast<unsigned>(got));
  return block;
}

void TagStream::expectId3(TagLib::ByteVector& header) {
  std::copy(header.begin(), header.end(), id3Header_.begin());
  ByteReader reader(std::as_bytes(std::span(id3Header_)));
  reader.skip(kId3Flags + 1);
  id3Begin_ = at_;
  id3Length_ = synchSafe(reader.u32be());
  // The frames passed on have neither.
  header[kId3Flags] &= ~kExtended;
  if (id3Header_[kId3Version] <= kLastPlainVersion) header[kId3Flags] &= ~kUnsynchronized;
}

TagLib::ByteVector TagStream::readId3(std::uint64_t offset, std::size_t held) {
  const int version = static_cast<unsigned char>(id3Header_[kId3Version]);
  const char flags = id3Header_[kId3Flags];
  if (version < 2 || version > 4) return {};
  std::string body(std::min(held, kMaxId3), '\0');
  body.resize(readFully(file_, offset, std::as_writable_bytes(std::span(body))).value_or(0));
  if ((flags & kUnsynchronized) != 0 && version <= kLastPlainVersion) resynchronize(body);
  if ((flags & kExtended) != 0 && version > 2) {
    const std::uint32_t size = ByteReader(bytesOf(body)).u32be();
    body.erase(0, version > 3 ? synchSafe(size) : std::size_t{size} + 4);
  }
  const std::string frames = textFrames(body, version);
  return {frames.data(), static_cast<unsigned>(frames.size())};
}

}  // namespace tessaron
