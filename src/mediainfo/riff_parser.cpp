#include "mediainfo/riff_parser.h"

#include <algorithm>
#include <vector>

#include "mediainfo/labels.h"
#include "mediainfo/stream_properties_internal.h"
#include "support/byte_reader.h"
#include "support/text.h"
#include "support/units.h"

namespace {

using tessaron::ByteReader;
using tessaron::MediaStream;

constexpr std::uint32_t tag(const char (&name)[5]) {
  std::uint32_t code = 0;
  for (int i = 3; i >= 0; --i) code = code << 8 | static_cast<unsigned char>(name[i]);
  return code;
}

constexpr std::size_t kWindow = 8 << 10;
constexpr std::uint64_t kIndexBytes = 256 << 10;  // read of an index: enough for an average
constexpr std::size_t kMaxStreams = 100;          // chunk names have two digits for the number
constexpr std::size_t kMaxOfAKind = 19;
constexpr int kMaxChunks = 1000;
constexpr int kMaxDepth = 8;

/// A stream as its headers and the index describe it.
struct Stream {
  MediaStream known;
  bool isListed = false;  // audio or video
  std::uint32_t handler = 0;
  std::uint32_t scale = 0;
  std::uint32_t rate = 0;
  std::uint32_t sampleSize = 0;
  std::uint64_t length = 0;  // in units of scale / rate seconds
  std::uint64_t firstIndex = 0;
  std::uint64_t indexedBytes = 0;
  std::uint64_t indexedChunks = 0;

  double unitsPerSecond() const { return scale == 0 ? 0 : static_cast<double>(rate) / scale; }
};

class AviReader {
 public:
  explicit AviReader(tessaron::File& file) : file_(file), size_(file.size().value_or(0)) {}

  bool read();
  std::vector<Stream> streams;
  double seconds() const;
  double bitRate() const;
  std::u16string software;

 private:
  std::span<const std::byte> view(std::uint64_t offset, std::uint64_t count);
  void readChunks(std::uint64_t at, std::uint64_t end, int depth);
  void readChunk(std::uint32_t id, std::uint64_t at, std::uint64_t end);
  void readMainHeader(ByteReader in);
  void readStreamHeader(ByteReader in);
  void readFormat(ByteReader in);
  void readSuperIndex(ByteReader in);
  void readIndex(std::uint64_t at, std::uint64_t end);
  void readStandardIndex(Stream& stream);
  void finish();

  tessaron::File& file_;
  std::uint64_t size_;
  std::vector<std::byte> window_;
  std::uint64_t windowAt_ = 0;
  int chunks_ = 0;
  std::uint32_t frameMicroseconds_ = 0;
  std::uint32_t maxBytesPerSecond_ = 0;
  std::uint32_t totalFrames_ = 0;
};

// Returns up to `count` bytes at `offset`, at most kWindow, fewer at the end of the file. Valid
// until the next call.
std::span<const std::byte> AviReader::view(std::uint64_t offset, std::uint64_t count) {
  count = std::min<std::uint64_t>(count, kWindow);
  if (offset < windowAt_ || offset + count > windowAt_ + window_.size()) {
    window_.resize(kWindow);
    window_.resize(readFully(file_, offset, window_).value_or(0));
    windowAt_ = offset;
  }
  const std::span<const std::byte> rest = std::span(window_).subspan(
      std::min<std::size_t>(static_cast<std::size_t>(offset - windowAt_), window_.size()));
  return rest.first(std::min<std::size_t>(rest.size(), static_cast<std::size_t>(count)));
}

bool AviReader::read() {
  ByteReader in(view(0, 12));
  const std::uint32_t id = in.u32le();
  in.skip(4);
  if (id != tag("RIFF") || in.u32le() != tag("AVI ")) return false;
  readChunks(0, size_, 0);
  finish();
  return true;
}

void AviReader::readChunks(std::uint64_t at, std::uint64_t end, int depth) {
  while (at < end && end - at >= 8 && ++chunks_ <= kMaxChunks) {
    ByteReader in(view(at, 12));
    const std::uint32_t id = in.u32le();
    const std::uint64_t size = in.u32le();
    const std::uint32_t form = in.u32le();
    const bool isList = id == tag("RIFF") || id == tag("LIST");
    // An interrupted recording has no sizes yet: the chunk extends to the end.
    const bool isOpen = size == 0xFFFFFFFF || (isList && size == 0);
    const std::uint64_t content = at + 8;
    const std::uint64_t contentEnd = isOpen ? end : std::min(end, content + size);
    if (!isList) {
      readChunk(id, content, contentEnd);
    } else if (id == tag("RIFF") && form != tag("AVIX") && at > 0) {
      return;  // a second file, appended
    } else if (form != tag("movi") && depth < kMaxDepth) {
      readChunks(content + 4, contentEnd, depth + 1);
    }
    if (isOpen) return;
    at = content + size + size % 2;
  }
}

void AviReader::readChunk(std::uint32_t id, std::uint64_t at, std::uint64_t end) {
  const auto content = [&] { return ByteReader(view(at, end - at)); };
  switch (id) {
    case tag("avih"):
      return readMainHeader(content());
    case tag("strh"):
      return readStreamHeader(content());
    case tag("strf"):
      return readFormat(content());
    case tag("indx"):
      return readSuperIndex(content());
    case tag("idx1"):
      return readIndex(at, end);
    case tag("dmlh"): {
      totalFrames_ = std::max(totalFrames_, content().u32le());
      return;
    }
    case tag("ISFT"): {
      const auto bytes = view(at, end - at);
      const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
      software = tessaron::fromUtf8(text.substr(0, text.find('\0')));
      return;
    }
    default:
      return;
  }
}

void AviReader::readMainHeader(ByteReader in) {
  frameMicroseconds_ = in.u32le();
  maxBytesPerSecond_ = in.u32le();
  in.skip(8);
  totalFrames_ = std::max(totalFrames_, in.u32le());
}

void AviReader::readStreamHeader(ByteReader in) {
  if (streams.size() == kMaxStreams) return;
  Stream& stream = streams.emplace_back();
  const std::uint32_t type = in.u32le();
  stream.known.isVideo = type == tag("vids");
  stream.isListed = stream.known.isVideo || type == tag("auds");
  stream.handler = in.u32le();
  in.skip(12);
  stream.scale = in.u32le();
  stream.rate = in.u32le();
  in.skip(4);
  stream.length = in.u32le();
  in.skip(8);
  stream.sampleSize = in.u32le();
}

void AviReader::readFormat(ByteReader in) {
  if (streams.empty()) return;
  Stream& stream = streams.back();
  MediaStream& known = stream.known;
  if (known.isVideo) {
    in.skip(4);
    known.width = in.u32le();
    const std::uint32_t height = in.u32le();
    known.height = height >> 31 ? 0 - height : height;  // negative for rows from top to bottom
    in.skip(4);
    known.codes = {in.u32le(), stream.handler};
    if (in.ok() && known.codes[0] == 0) known.codecName = "RGB";
    return;
  }
  known.codes[0] = in.u16le();
  known.channels = in.u16le();
  known.sampleRate = in.u32le();
  known.bitRate = in.u32le() * 8.0;
  in.skip(2);
  known.sampleBits = in.u16le();
  constexpr std::uint32_t kExtensible = 0xFFFE;
  if (known.codes[0] == kExtensible) {
    in.skip(8);
    if (const std::uint16_t subFormat = in.u16le(); in.ok()) known.codes[0] = subFormat;
  }
}

// Reads the index of a stream's indexes: one entry for each part of a file above 1 GiB.
void AviReader::readSuperIndex(ByteReader in) {
  if (streams.empty()) return;
  Stream& stream = streams.back();
  const std::uint16_t longs = in.u16le();
  in.skip(1);
  const std::uint8_t type = in.u8();
  if (longs != 4 || type != 0) return;
  const std::uint32_t entries = in.u32le();
  in.skip(16);
  std::uint64_t length = 0;
  for (std::uint32_t i = 0; i < entries && in.remaining() >= 16; ++i) {
    const std::uint64_t offset = in.u64le();
    in.skip(4);
    length += in.u32le();
    if (i == 0) stream.firstIndex = offset;
  }
  if (stream.known.isVideo || stream.length == 0) stream.length = std::max(stream.length, length);
}

void AviReader::readIndex(std::uint64_t at, std::uint64_t end) {
  constexpr std::uint64_t kEntry = 16;
  end = std::min(end, at + kIndexBytes);
  while (end - at >= kEntry) {
    const auto part = view(at, (end - at) / kEntry * kEntry);
    if (part.size() < kEntry) return;
    for (ByteReader in(part); in.remaining() >= kEntry;) {
      const std::size_t tens = in.u8() - std::size_t{'0'};
      const std::size_t ones = in.u8() - std::size_t{'0'};
      in.skip(10);
      const std::uint32_t size = in.u32le();
      if (tens > 9 || ones > 9 || tens * 10 + ones >= streams.size()) continue;
      Stream& stream = streams[tens * 10 + ones];
      stream.indexedBytes += size;
      ++stream.indexedChunks;
    }
    at += part.size() / kEntry * kEntry;
  }
}

void AviReader::readStandardIndex(Stream& stream) {
  ByteReader in(view(stream.firstIndex, kWindow));
  in.skip(8);
  const std::uint16_t longs = in.u16le();
  in.skip(1);
  const std::uint8_t type = in.u8();
  const std::uint32_t entries = in.u32le();
  in.skip(16);
  if (longs != 2 || type != 1) return;
  for (std::uint32_t i = 0; i < entries && in.remaining() >= 8; ++i) {
    in.skip(4);
    stream.indexedBytes += in.u32le() & 0x7FFFFFFF;  // the highest bit marks key frames
    ++stream.indexedChunks;
  }
}

// Computes run times, frame rates and data rates from headers and indexes.
void AviReader::finish() {
  bool isFirstVideo = true;
  for (Stream& stream : streams) {
    MediaStream& known = stream.known;
    if (known.isVideo && isFirstVideo) {
      isFirstVideo = false;
      stream.length = std::max<std::uint64_t>(stream.length, totalFrames_);
      if (stream.unitsPerSecond() == 0) {
        stream.scale = frameMicroseconds_;
        stream.rate = 1000000;
      }
    }
    // An interrupted recording claims more frames than its file can hold: each takes at least the
    // eight bytes of its chunk header.
    if (stream.length > size_ / (known.isVideo ? 8 : 1)) stream.length = 0;
    const double units = stream.unitsPerSecond();
    if (units > 0) known.seconds = static_cast<double>(stream.length) / units;
    if (known.isVideo) {
      known.frameRate = units;
      if (stream.indexedChunks == 0 && stream.firstIndex > 0) readStandardIndex(stream);
      if (stream.indexedChunks > 0) {
        known.bitRate = static_cast<double>(stream.indexedBytes) * 8 /
                        static_cast<double>(stream.indexedChunks) * units;
      }
    } else if (known.bitRate == 0) {
      known.bitRate = units * stream.sampleSize * 8;
    }
  }
}

double AviReader::seconds() const {
  double most = 0;
  for (const Stream& stream : streams) most = std::max(most, stream.known.seconds);
  return most;
}

double AviReader::bitRate() const {
  return seconds() > 0 ? static_cast<double>(size_) * 8 / seconds() : maxBytesPerSecond_ * 8.0;
}

}  // namespace

CRiffFileParser::CRiffFileParser() = default;
CRiffFileParser::CRiffFileParser(const CRiffFileParser&) = default;
CRiffFileParser& CRiffFileParser::operator=(const CRiffFileParser&) = default;
CRiffFileParser::~CRiffFileParser() = default;

bool CRiffFileParser::parseByHandle(tessaron::File& file, PropertyMap& metaInfo,
                                    StreamList& audioStreams, StreamList& videoStreams) {
  AviReader reader(file);
  if (!reader.read()) return false;
  CAudioFormatTagInfo formatTags;
  CFourCCInfo fourCCs;
  std::size_t audio = 0;
  std::size_t video = 0;
  for (const Stream& stream : reader.streams) {
    if (!stream.isListed || ++(stream.known.isVideo ? video : audio) > kMaxOfAKind) continue;
    (stream.known.isVideo ? videoStreams : audioStreams)
        .push_back(streamProperties(stream.known, formatTags, fourCCs));
  }
  if (reader.bitRate() > 0) {
    metaInfo[tessaron::label::kDataRate] = tessaron::dataRateText(reader.bitRate());
  }
  if (!reader.software.empty()) metaInfo[tessaron::label::kCreationSoftware] = reader.software;
  return true;
}
