#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string_view>

#include "support/byte_reader.h"
#include "support/pictures/picture_header_internal.h"

namespace tessaron {
namespace {

constexpr std::uint16_t kExifPointer = 0x8769;
constexpr std::uint16_t kGpsPointer = 0x8825;
constexpr std::uint16_t kFirstOutsideGps = 32;
constexpr std::uint16_t kShort = 3;
constexpr std::uint16_t kLong = 4;
constexpr std::size_t kEntrySize = 12;
constexpr std::size_t kInline = 4;  // bytes of a value that fits into the entry
constexpr std::size_t kMaxValue = std::size_t{64} << 10;
// The bytes that an element of each type takes.
constexpr std::array<std::uint32_t, 13> kWidths = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};

std::string readString(File& file, std::uint64_t offset, std::size_t size) {
  std::string text(size, '\0');
  text.resize(readFully(file, offset, std::as_writable_bytes(std::span(text))).value_or(0));
  return text;
}

ByteReader readerOf(std::string_view text) { return ByteReader(std::as_bytes(std::span(text))); }

// Returns the offset of a JPEG file's Exif data, which are an embedded TIFF file.
std::optional<std::uint64_t> findExif(File& file) {
  constexpr int kMaxSegments = 256;
  constexpr std::string_view kExif("Exif\0\0", 6);
  std::uint64_t at = 2;
  for (int i = 0; i < kMaxSegments; ++i) {
    const std::string head = readString(file, at, 4 + kExif.size());
    ByteReader reader = readerOf(head);
    if (reader.u8() != 0xFF) return std::nullopt;
    const std::uint8_t marker = reader.u8();
    const std::uint16_t length = reader.u16be();
    if (!reader.ok() || marker == 0xDA || marker == 0xD9) return std::nullopt;  // pixels, the end
    if (marker == 0xE1 && head.ends_with(kExif)) return at + head.size();
    at += marker == 0xFF ? 1 : 2 + std::uint64_t{length};  // 0xFF fills a gap
  }
  return std::nullopt;
}

class Extract {
 public:
  Extract(File& file, std::uint64_t begin, std::span<const std::uint16_t> wanted)
      : file_(file), begin_(begin), wanted_(wanted) {}

  std::string make() {
    window_ = readString(file_, begin_, kWindow);
    using namespace std::string_view_literals;
    const std::string_view mark = std::string_view(window_).substr(0, 4);
    if (mark != "II*\0"sv && mark != "MM\0*"sv) return {};
    bigEndian_ = mark[0] == 'M';
    ByteReader reader = readerOf(std::string_view(window_).substr(4));
    readDirectory(u32(reader), true);
    if (exif_) readDirectory(*exif_, false);
    if (gps_) readDirectory(*gps_, false);
    return entries_.empty() ? std::string() : std::string(mark) + rest();
  }

 private:
  static constexpr std::size_t kWindow = std::size_t{16} << 10;

  struct Entry {
    std::uint16_t type;
    std::uint32_t count;
    std::string value;
  };

  std::uint16_t u16(ByteReader& reader) const {
    return bigEndian_ ? reader.u16be() : reader.u16le();
  }
  std::uint32_t u32(ByteReader& reader) const {
    return bigEndian_ ? reader.u32be() : reader.u32le();
  }
  std::string bytes(std::uint32_t number, std::size_t size) const {
    std::string text;
    for (std::size_t i = 0; i < size; ++i) text += static_cast<char>(number >> 8 * i);
    if (bigEndian_) std::ranges::reverse(text);
    return text;
  }

  // Reads at an offset in the TIFF file. Most reads hit the first kilobytes.
  std::string read(std::uint64_t offset, std::size_t size) {
    if (offset + size > window_.size()) return readString(file_, begin_ + offset, size);
    return window_.substr(static_cast<std::size_t>(offset), size);
  }

  void readDirectory(std::uint32_t offset, bool isMain) {
    constexpr std::uint16_t kMaxEntries = 1024;
    const std::string head = read(offset, 2);
    ByteReader count = readerOf(head);
    const std::string table =
        read(offset + std::uint64_t{2}, kEntrySize * std::min(u16(count), kMaxEntries));
    for (ByteReader reader = readerOf(table); reader.remaining() >= kEntrySize;) {
      const std::uint16_t number = u16(reader);
      Entry entry{u16(reader), u32(reader), {}};
      const std::size_t at = reader.position();
      const std::uint32_t place = u32(reader);
      if (isMain && entry.type == kLong && number == kExifPointer) exif_ = place;
      if (isMain && entry.type == kLong && number == kGpsPointer) gps_ = place;
      if (std::ranges::find(wanted_, number) == wanted_.end() || entries_.contains(number) ||
          (isMain && number < kFirstOutsideGps) || entry.type >= kWidths.size()) {
        continue;
      }
      const std::uint64_t size = std::uint64_t{kWidths[entry.type]} * entry.count;
      if (size == 0 || size > kMaxValue) continue;
      const auto length = static_cast<std::size_t>(size);
      entry.value = length > kInline ? read(place, length) : table.substr(at, length);
      if (entry.value.size() == length) entries_[number] = std::move(entry);
    }
  }

  // Returns what follows the signature: the directory, then the pixel and the values.
  std::string rest() {
    const auto add = [this](std::uint16_t number, std::uint32_t value) {
      entries_[number] = {kLong, 1, bytes(value, 4)};
    };
    add(0x0100, 1);                               // width
    add(0x0101, 1);                               // height
    entries_[0x0102] = {kShort, 1, bytes(8, 2)};  // bits
    entries_[0x0103] = {kShort, 1, bytes(1, 2)};  // plain
    entries_[0x0106] = {kShort, 1, bytes(1, 2)};  // zero is black
    add(0x0111, 0);                               // where the pixel is
    entries_[0x0115] = {kShort, 1, bytes(1, 2)};  // samples
    add(0x0116, 1);                               // rows
    add(0x0117, 1);                               // bytes
    const std::size_t tableAt = 8;
    const std::size_t valuesAt = tableAt + 2 + kEntrySize * entries_.size() + 4;
    add(0x0111, static_cast<std::uint32_t>(valuesAt));
    std::string values(2, '\0');  // the pixel
    std::string table = bytes(tableAt, 4) + bytes(static_cast<std::uint32_t>(entries_.size()), 2);
    for (auto& [number, entry] : entries_) {
      table += bytes(number, 2) + bytes(entry.type, 2) + bytes(entry.count, 4);
      if (entry.value.size() > kInline) {
        table += bytes(static_cast<std::uint32_t>(valuesAt + values.size()), 4);
        values += entry.value;
        values.resize(values.size() + values.size() % 2);
      } else {
        entry.value.resize(kInline);
        table += entry.value;
      }
    }
    return table + bytes(0, 4) + values;
  }

  File& file_;
  std::uint64_t begin_;
  std::span<const std::uint16_t> wanted_;
  bool bigEndian_ = false;
  std::string window_;
  std::map<std::uint16_t, Entry> entries_;
  std::optional<std::uint32_t> exif_, gps_;
};

}  // namespace

std::string extractPictureHeader(File& file, std::span<const std::uint16_t> wanted) {
  const bool isJpeg = readString(file, 0, 3) == "\xFF\xD8\xFF";
  const std::optional<std::uint64_t> begin = isJpeg ? findExif(file) : 0;
  return begin ? Extract(file, *begin, wanted).make() : std::string();
}

}  // namespace tessaron
