#include "platform/picture_tags.h"

#include <algorithm>
#include <array>
#include <exiv2/error.hpp>
#include <exiv2/exif.hpp>
#include <optional>
#include <string_view>

#include "platform/file.h"

namespace tessaron {
namespace {

using Bytes = std::vector<std::byte>;

constexpr std::uint16_t kExifPointer = 0x8769;
constexpr std::uint16_t kGpsPointer = 0x8825;
constexpr std::uint16_t kFirstOutsideGps = 32;

const Exiv2::byte* raw(const std::byte* bytes) {
  return reinterpret_cast<const Exiv2::byte*>(bytes);
}
Exiv2::byte* raw(std::byte* bytes) { return reinterpret_cast<Exiv2::byte*>(bytes); }

template <std::size_t Size>
std::optional<std::array<std::byte, Size>> readArray(File& file, std::uint64_t offset) {
  std::array<std::byte, Size> bytes;
  if (readFully(file, offset, bytes) != Size) return std::nullopt;
  return bytes;
}

// Where in a JPEG file the Exif data begin, which are a TIFF file of their own.
std::optional<std::uint64_t> findExif(File& file) {
  constexpr int kMostSegments = 256;
  constexpr std::string_view kExif("Exif\0\0", 6);
  std::uint64_t at = 2;
  for (int i = 0; i < kMostSegments; ++i) {
    const auto head = readArray<4 + kExif.size()>(file, at);
    if (!head || (*head)[0] != std::byte{0xFF}) return std::nullopt;
    const auto marker = std::to_integer<int>((*head)[1]);
    if (marker == 0xFF) {  // fills a gap
      ++at;
      continue;
    }
    if (marker == 0xDA || marker == 0xD9) return std::nullopt;  // pixels; the end
    const bool isExif = std::equal(kExif.begin(), kExif.end(), head->begin() + 4,
                                   [](char c, std::byte b) { return std::byte(c) == b; });
    if (marker == 0xE1 && isExif) return at + head->size();
    at += 2 + std::uint64_t{Exiv2::getUShort(raw(&(*head)[2]), Exiv2::bigEndian)};
  }
  return std::nullopt;
}

struct Entry {
  std::uint16_t number;
  std::uint16_t type;
  std::uint32_t count;
  Bytes value;
};

// The header of a picture reduced to the entries that are wanted, as a small TIFF file. Exiv2 reads
// all that a header has, maker's notes and previews too, and a directory may claim the same
// megabytes in many entries; of this one it reads kilobytes.
class Extract {
 public:
  Extract(File& file, std::uint64_t begin, std::span<const std::uint16_t> wanted)
      : file_(file), begin_(begin), wanted_(wanted) {}

  /// Empty when there is nothing.
  Bytes make() {
    window_.resize(kWindow);
    window_.resize(readFully(file_, begin_, window_).value_or(0));
    const auto head = readAt<8>(0);
    if (!head) return {};
    order_ = (*head)[0] == std::byte{'M'} ? Exiv2::bigEndian : Exiv2::littleEndian;
    std::vector<Entry> main = readDirectory(number32(&(*head)[4]), false);
    block_.assign(head->begin(), head->end());
    for (Entry& entry : main) {
      const bool isGps = entry.number == kGpsPointer;
      if (!isGps && entry.number != kExifPointer) continue;
      const std::vector<Entry> inner = readDirectory(number32(entry.value.data()), isGps);
      entry.value = bytes32(static_cast<std::uint32_t>(block_.size()));
      append(inner);
    }
    const Bytes at = bytes32(static_cast<std::uint32_t>(block_.size()));
    std::ranges::copy(at, block_.begin() + 4);
    append(main);
    return block_;
  }

 private:
  static constexpr std::size_t kWindow = std::size_t{16} << 10;
  static constexpr std::size_t kInline = 4;  // what stands in an entry itself, not elsewhere

  std::uint16_t number16(const std::byte* at) const { return Exiv2::getUShort(raw(at), order_); }
  std::uint32_t number32(const std::byte* at) const { return Exiv2::getULong(raw(at), order_); }
  Bytes bytes16(std::uint16_t number) const {
    Bytes bytes(2);
    Exiv2::us2Data(raw(bytes.data()), number, order_);
    return bytes;
  }
  Bytes bytes32(std::uint32_t number) const {
    Bytes bytes(4);
    Exiv2::ul2Data(raw(bytes.data()), number, order_);
    return bytes;
  }

  bool isWanted(std::uint16_t number, bool isGps) const {
    if ((number < kFirstOutsideGps) != isGps) return false;
    return (!isGps && (number == kExifPointer || number == kGpsPointer)) ||
           std::ranges::find(wanted_, number) != wanted_.end();
  }

  // From the beginning of the block on. Most of what is wanted stands in its first kilobytes.
  bool readBytes(std::uint64_t offset, std::span<std::byte> bytes) {
    if (offset + bytes.size() > window_.size()) {
      return readFully(file_, begin_ + offset, bytes) == bytes.size();
    }
    std::ranges::copy(std::span(window_).subspan(offset, bytes.size()), bytes.begin());
    return true;
  }
  template <std::size_t Size>
  std::optional<std::array<std::byte, Size>> readAt(std::uint64_t offset) {
    std::array<std::byte, Size> bytes;
    if (!readBytes(offset, bytes)) return std::nullopt;
    return bytes;
  }

  // The first entry of each number that is wanted.
  std::vector<Entry> readDirectory(std::uint32_t offset, bool isGps) {
    constexpr int kMostEntries = 1024;
    std::vector<Entry> entries;
    std::uint64_t at = offset;
    const auto count = readAt<2>(at);
    const int most = count ? std::min<int>(number16(count->data()), kMostEntries) : 0;
    at += 2;
    for (int i = 0; i < most; ++i, at += 12) {
      const auto bytes = readAt<12>(at);
      if (!bytes) break;
      Entry entry{number16(bytes->data()), number16(&(*bytes)[2]), number32(&(*bytes)[4]), {}};
      if (!isWanted(entry.number, isGps) ||
          std::ranges::find(entries, entry.number, &Entry::number) != entries.end()) {
        continue;
      }
      if (readValue(entry, at + 8)) entries.push_back(std::move(entry));
    }
    return entries;
  }

  bool readValue(Entry& entry, std::uint64_t at) {
    const bool isPointer = entry.number == kExifPointer || entry.number == kGpsPointer;
    if (isPointer && (entry.type != Exiv2::unsignedLong || entry.count != 1)) return false;
    if (entry.type > Exiv2::tiffDouble) return false;
    const auto width = static_cast<std::uint64_t>(
        Exiv2::TypeInfo::typeSize(static_cast<Exiv2::TypeId>(entry.type)));
    const std::uint64_t size = width * entry.count;
    if (size == 0 || size > kLongestPictureTag) return false;
    if (size > kInline) {
      const auto place = readAt<4>(at);
      if (!place) return false;
      at = number32(place->data());
    }
    entry.value.resize(static_cast<std::size_t>(size));
    return readBytes(at, entry.value);
  }

  void append(const std::vector<Entry>& entries) {
    const auto put = [&](const Bytes& bytes) {
      block_.insert(block_.end(), bytes.begin(), bytes.end());
    };
    std::size_t next = block_.size() + 2 + 12 * entries.size() + 4;
    put(bytes16(static_cast<std::uint16_t>(entries.size())));
    for (const Entry& entry : entries) {
      put(bytes16(entry.number));
      put(bytes16(entry.type));
      put(bytes32(entry.count));
      if (entry.value.size() > kInline) {
        put(bytes32(static_cast<std::uint32_t>(next)));
        next += entry.value.size();
      } else {
        Bytes padded = entry.value;
        padded.resize(kInline);
        put(padded);
      }
    }
    put(bytes32(0));  // no further directory
    for (const Entry& entry : entries) {
      if (entry.value.size() > kInline) put(entry.value);
    }
  }

  File& file_;
  std::uint64_t begin_;
  std::span<const std::uint16_t> wanted_;
  Exiv2::ByteOrder order_ = Exiv2::littleEndian;
  Bytes window_;
  Bytes block_;
};

// What Exiv2 makes of it. Of no kind that would start its XMP toolkit, which is not made for
// threads.
std::vector<PictureTag> decode(const Bytes& block) {
  static const bool silent = [] {
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    return true;
  }();
  (void)silent;
  std::vector<PictureTag> tags;
  Exiv2::ExifData data;
  const Exiv2::ByteOrder order =
      Exiv2::ExifParser::decode(data, raw(block.data()), static_cast<std::uint32_t>(block.size()));
  for (const Exiv2::Exifdatum& datum : data) {
    // Its own types stand for bytes of which it knows the meaning.
    const bool isOwn = datum.typeId() > Exiv2::tiffDouble;
    PictureTag tag{datum.tag(),
                   static_cast<std::uint16_t>(isOwn ? Exiv2::undefined : datum.typeId()),
                   Bytes(static_cast<std::size_t>(datum.size()))};
    datum.copy(raw(tag.bytes.data()), isOwn ? order : Exiv2::littleEndian);
    tags.push_back(std::move(tag));
  }
  return tags;
}

}  // namespace

std::vector<PictureTag> readPictureTags(const std::u16string& path,
                                        std::span<const std::uint16_t> wanted) {
  std::error_code error;
  const auto file = openFile(path, {}, error);
  const auto head = file ? readArray<2>(*file, 0) : std::nullopt;
  if (!head) return {};
  const bool isJpeg = (*head)[0] == std::byte{0xFF};
  const std::optional<std::uint64_t> begin = isJpeg ? findExif(*file) : 0;
  if (!begin) return {};
  try {
    return decode(Extract(*file, *begin, wanted).make());
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace tessaron
