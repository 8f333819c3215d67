#include "support/pictures/loading.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <vector>

#include "support/byte_reader.h"
#include "support/pictures/bitmap_file.h"

namespace tessaron {
namespace {

struct Unload {
  void operator()(FIBITMAP* bitmap) const { FreeImage_Unload(bitmap); }
};
using Bitmap = std::unique_ptr<FIBITMAP, Unload>;

// While it lives, libtiff says nothing on this thread. Its handlers are the whole process's: others
// go on to get what they have asked for.
class QuietTiff {
 public:
  QuietTiff() : before_(quiet) {
    static std::once_flag once;
    std::call_once(once, [] {
      onError = TIFFSetErrorHandler(forwardError);
      onWarning = TIFFSetWarningHandler(forwardWarning);
    });
    quiet = true;
  }
  ~QuietTiff() { quiet = before_; }
  QuietTiff(const QuietTiff&) = delete;
  QuietTiff& operator=(const QuietTiff&) = delete;

 private:
  static void forwardError(const char* module, const char* format, std::va_list arguments) {
    if (!quiet && onError) onError(module, format, arguments);
  }
  static void forwardWarning(const char* module, const char* format, std::va_list arguments) {
    if (!quiet && onWarning) onWarning(module, format, arguments);
  }

  static thread_local bool quiet;
  static TIFFErrorHandler onError, onWarning;
  bool before_;
};
thread_local bool QuietTiff::quiet = false;
TIFFErrorHandler QuietTiff::onError = nullptr, QuietTiff::onWarning = nullptr;

// The kinds of pictures that are decoded, told by their first bytes. FreeImage would try all that
// it has on a file whose name says nothing: layered ones, raw ones of cameras, and their libraries.
FREE_IMAGE_FORMAT formatOf(std::span<const std::byte> head) {
  using namespace std::string_view_literals;
  const std::string_view text(reinterpret_cast<const char*>(head.data()), head.size());
  struct Mark {
    std::string_view bytes;
    FREE_IMAGE_FORMAT format;
  };
  constexpr Mark kMarks[] = {
      {"\xFF\xD8\xFF"sv, FIF_JPEG},
      {"\x89PNG\r\n\x1A\n"sv, FIF_PNG},
      {"GIF87a"sv, FIF_GIF},
      {"GIF89a"sv, FIF_GIF},
      {"BM"sv, FIF_BMP},
      {"II*\0"sv, FIF_TIFF},
      {"MM\0*"sv, FIF_TIFF},
      {"\0\0\1\0"sv, FIF_ICO},
  };
  for (const auto& [bytes, format] : kMarks)
    if (text.starts_with(bytes)) return format;
  if (text.starts_with("RIFF"sv) &&
      text.substr(std::min<std::size_t>(8, text.size()), 4) == "WEBP"sv)
    return FIF_WEBP;
  // TARGA has no mark, only numbers of which few are possible.
  ByteReader reader(head);
  reader.skip(1);
  const std::uint8_t palette = reader.u8();
  const std::uint8_t coding = reader.u8();
  reader.skip(9);
  const std::uint16_t width = reader.u16le();
  const std::uint16_t height = reader.u16le();
  const std::uint8_t bits = reader.u8();
  const bool isTarga = palette <= 1 && (coding & ~8) >= 1 && (coding & ~8) <= 3 && width > 0 &&
                       height > 0 && bits >= 8 && bits <= 32 && (bits % 8 == 0 || bits == 15);
  return reader.ok() && isTarga ? FIF_TARGA : FIF_UNKNOWN;
}

// A file as FreeImage reads it: its first bytes are there, the rest is read where it is wanted.
class Input {
 public:
  explicit Input(std::span<const std::byte> bytes) : head_(bytes), size_(bytes.size()) {}
  Input(std::span<const std::byte> head, File& file, std::uint64_t size)
      : head_(head), size_(size), file_(&file) {}

  std::uint64_t size() const { return size_; }
  std::span<const std::byte> head() const { return head_; }

  FREE_IMAGE_FORMAT format() const { return formatOf(head_); }
  /// From now on the byte at `offset` reads as `value`.
  void patch(std::uint64_t offset, std::byte value) { patches_.push_back({offset, value}); }
  /// From now on the file goes on with `tail` behind its end.
  void append(std::vector<std::byte> tail) { tail_ = std::move(tail); }
  std::size_t readAt(std::uint64_t offset, std::span<std::byte> buffer) {
    at_ = offset;
    return readTo(buffer);
  }
  Bitmap load(FREE_IMAGE_FORMAT format, int flags) {
    at_ = 0;
    return Bitmap(FreeImage_LoadFromHandle(format, &io, this, flags));
  }

 private:
  std::size_t readTo(std::span<std::byte> buffer) {
    const std::uint64_t left = size_ - std::min(at_, size_);
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), left));
    std::size_t given = 0;
    if (wanted > 0 && at_ + wanted <= head_.size()) {
      std::copy_n(head_.data() + at_, wanted, buffer.data());
      given = wanted;
    } else if (wanted > 0 && file_) {
      given = readFully(*file_, at_, buffer.first(wanted)).value_or(0);
    } else if (wanted == 0 && at_ - size_ < tail_.size()) {
      const auto rest = std::span(tail_).subspan(static_cast<std::size_t>(at_ - size_));
      given = std::min(rest.size(), buffer.size());
      std::ranges::copy(rest.first(given), buffer.begin());
    }
    for (const auto& [offset, value] : patches_)
      if (offset >= at_ && offset - at_ < given)
        buffer[static_cast<std::size_t>(offset - at_)] = value;
    // FreeImage's readers use their headers also where a file ends inside them.
    constexpr std::size_t kLongestHeader = 1024;
    if (buffer.size() <= kLongestHeader) std::ranges::fill(buffer.subspan(given), std::byte{0});
    at_ += given;
    return given;
  }

  static unsigned DLL_CALLCONV read(void* buffer, unsigned size, unsigned count, fi_handle handle) {
    const std::span bytes(static_cast<std::byte*>(buffer), std::size_t{size} * count);
    const std::size_t given = static_cast<Input*>(handle)->readTo(bytes);
    return size == 0 ? 0 : static_cast<unsigned>(given / size);
  }
  static unsigned DLL_CALLCONV write(void*, unsigned, unsigned, fi_handle) { return 0; }
  static int DLL_CALLCONV seek(fi_handle handle, long offset, int origin) {
    auto& input = *static_cast<Input*>(handle);
    const std::uint64_t from = origin == SEEK_SET   ? 0
                               : origin == SEEK_CUR ? input.at_
                                                    : input.size_ + input.tail_.size();
    const std::int64_t to = static_cast<std::int64_t>(from) + offset;
    if (to < 0) return -1;
    input.at_ = static_cast<std::uint64_t>(to);
    return 0;
  }
  static long DLL_CALLCONV tell(fi_handle handle) {
    return static_cast<long>(static_cast<Input*>(handle)->at_);
  }

  struct Patch {
    std::uint64_t offset;
    std::byte value;
  };

  static FreeImageIO io;
  std::vector<Patch> patches_;
  std::vector<std::byte> tail_;
  std::span<const std::byte> head_;
  std::uint64_t size_;
  File* file_ = nullptr;
  std::uint64_t at_ = 0;
};
FreeImageIO Input::io{read, write, seek, tell};

// The largest image of a GIF, or its screen: FreeImage cannot tell them without decoding.
std::optional<std::uint64_t> gifPixels(std::span<const std::byte> bytes) {
  ByteReader reader(bytes);
  reader.skip(6);  // "GIF89a"
  const auto pixels = [&] {
    const std::uint64_t width = reader.u16le();
    return width * reader.u16le();
  };
  const auto skipPalette = [&](std::uint8_t flags) {
    if (flags & 0x80) reader.skip(std::size_t{3} << ((flags & 7) + 1));
  };
  std::uint64_t most = pixels();
  const std::uint8_t flags = reader.u8();
  reader.skip(2);
  skipPalette(flags);
  while (reader.ok()) {
    const std::uint8_t mark = reader.u8();
    if (mark == 0x2C) {
      reader.skip(4);
      most = std::max(most, pixels());
      skipPalette(reader.u8());
      reader.skip(1);
    } else if (mark == 0x21) {
      reader.skip(1);
    } else {
      break;
    }
    while (const std::uint8_t size = reader.u8()) reader.skip(size);
  }
  return most;
}

// What a JPEG declares in its start of frame. FreeImage would decode a progressive one to tell.
std::optional<std::uint64_t> jpegBytes(std::span<const std::byte> bytes) {
  ByteReader reader(bytes);
  while (reader.ok()) {
    if (reader.u8() != 0xFF) continue;
    std::uint8_t marker = 0xFF;
    while (marker == 0xFF) marker = reader.u8();
    constexpr std::uint8_t kNoFrames[] = {0xC4, 0xC8, 0xCC};
    if (marker < 0xC0 || (marker >= 0xD0 && marker <= 0xD9)) continue;  // no segment
    const std::size_t length = reader.u16be();
    ByteReader segment(reader.bytes(length < 2 ? 0 : length - 2));
    if (marker > 0xCF || std::ranges::find(kNoFrames, marker) != std::end(kNoFrames)) continue;
    segment.skip(1);
    const std::uint64_t height = segment.u16be();
    return height * segment.u16be() * 3;
  }
  return std::nullopt;
}

// Walks the directories of a TIFF file.
class TiffScan {
 public:
  explicit TiffScan(Input& input) : input_(input) {
    std::array<std::byte, 8> head{};
    if (input.readAt(0, head) < head.size()) return;
    isBigEndian_ = head[0] == std::byte{'M'};
    const std::uint32_t first = u32(std::span(head).subspan(4));
    for (pending_.push_back(first); !pending_.empty() && seen_.size() < kMaxDirectories;) {
      const std::uint32_t offset = pending_.back();
      pending_.pop_back();
      if (offset != 0 && seen_.insert(offset).second) readDirectory(offset, offset == first);
    }
  }

  // FreeImage reads behind the end of an IPTC block that is damaged, and swaps bytes there in a
  // big-endian file: the entry gets a number that nobody reads.
  void hideIptc() {
    for (const std::uint64_t place : iptc_) input_.patch(place, std::byte{0xBA});
  }
  // Whether the file has the bytes of the first picture, if that is not compressed.
  bool holdsPixels() const {
    constexpr std::uint32_t kPlain = 1, kReducedColor = 6;
    const bool isPlain = compression_ <= kPlain && photometric_ != kReducedColor;
    if (!isPlain || width_ == 0 || height_ == 0) return true;
    constexpr std::uint64_t kMaxSamples = 0xFFFF, kMaxBits = 64;
    const std::uint64_t pixel =
        std::min(std::uint64_t{samples_}, kMaxSamples) * std::min(std::uint64_t{bits_}, kMaxBits);
    const std::uint64_t row = (width_ * pixel + 7) / 8;
    return row <= input_.size() / height_;
  }

 private:
  static constexpr std::size_t kMaxDirectories = 1000;
  static constexpr std::size_t kMaxBelow = 100;  // of a directory
  static constexpr std::uint16_t kSamples = 277, kShort = 3;

  std::uint16_t u16(std::span<const std::byte> bytes) const {
    ByteReader reader(bytes);
    return isBigEndian_ ? reader.u16be() : reader.u16le();
  }
  std::uint32_t u32(std::span<const std::byte> bytes) const {
    ByteReader reader(bytes);
    return isBigEndian_ ? reader.u32be() : reader.u32le();
  }
  std::vector<std::byte> read(std::uint64_t offset, std::size_t size) {
    std::vector<std::byte> bytes(size);
    bytes.resize(input_.readAt(offset, bytes));
    return bytes;
  }

  void readDirectory(std::uint32_t offset, bool isFirst) {
    constexpr std::size_t kEntry = 12;
    const std::size_t count = u16(read(offset, 2));
    const std::vector<std::byte> table = read(offset + std::uint64_t{2}, count * kEntry + 4);
    std::span<const std::byte> rest(table);
    for (std::size_t i = 0; i < count && rest.size() >= kEntry; ++i, rest = rest.subspan(kEntry)) {
      readEntry(rest.first(kEntry), offset + 2 + std::uint64_t{kEntry} * i, isFirst);
    }
    if (rest.size() >= 4) pending_.push_back(u32(rest));
    if (isFirst && samples_ == 0) {
      samples_ = 1;
      addSamples(std::span(table).first(table.size() - rest.size()), rest);
    }
  }

  // Puts a directory into the place of the first one that has what that lacks: the number of
  // samples a pixel. FreeImage takes its absence for 65535 and reads behind the end of its pixels.
  void addSamples(std::span<const std::byte> entries, std::span<const std::byte> next) {
    constexpr std::size_t kEntry = 12;
    const std::uint64_t at = input_.size() + input_.size() % 2;
    if (at > 0xFFFFFFFF) return;
    std::vector<std::byte> directory(static_cast<std::size_t>(at - input_.size()));
    const auto copy = [&](std::span<const std::byte> from) {
      directory.insert(directory.end(), from.begin(), from.end());
    };
    put16(directory, static_cast<std::uint16_t>(entries.size() / kEntry + 1));
    std::size_t before = 0;
    while (before < entries.size() && u16(entries.subspan(before)) < kSamples) before += kEntry;
    copy(entries.first(before));
    for (const std::uint16_t part : {kSamples, kShort}) put16(directory, part);
    put32(directory, 1);
    for (const std::uint16_t part : {std::uint16_t{1}, std::uint16_t{0}}) put16(directory, part);
    copy(entries.subspan(before));
    copy(next);
    input_.append(std::move(directory));
    std::vector<std::byte> place;
    put32(place, static_cast<std::uint32_t>(at));
    for (std::size_t i = 0; i < place.size(); ++i) input_.patch(4 + i, place[i]);
    pending_.push_back(static_cast<std::uint32_t>(at));  // its IPTC block is to be hidden, too
  }

  void put16(std::vector<std::byte>& to, std::uint16_t value) const {
    const auto high = static_cast<std::byte>(value >> 8);
    const auto low = static_cast<std::byte>(value & 0xFF);
    to.push_back(isBigEndian_ ? high : low);
    to.push_back(isBigEndian_ ? low : high);
  }
  void put32(std::vector<std::byte>& to, std::uint32_t value) const {
    const auto high = static_cast<std::uint16_t>(value >> 16);
    const auto low = static_cast<std::uint16_t>(value & 0xFFFF);
    put16(to, isBigEndian_ ? high : low);
    put16(to, isBigEndian_ ? low : high);
  }

  void readEntry(std::span<const std::byte> entry, std::uint64_t at, bool isFirst) {
    constexpr std::uint16_t kBelow = 330, kIptc = 33723;
    const std::uint16_t number = u16(entry);
    const bool isShort = u16(entry.subspan(2)) == kShort;
    const std::uint32_t count = u32(entry.subspan(4));
    const auto place = entry.subspan(8);
    const std::uint32_t value = isShort ? u16(place) : u32(place);
    if (number == kIptc) iptc_.push_back(at + (isBigEndian_ ? 1 : 0));
    if (number == kBelow && count == 1) pending_.push_back(value);
    if (number == kBelow && count > 1) {
      const auto offsets = read(value, 4 * std::min<std::size_t>(count, kMaxBelow));
      for (std::size_t i = 0; i + 4 <= offsets.size(); i += 4)
        pending_.push_back(u32(std::span(offsets).subspan(i)));
    }
    if (!isFirst) return;
    if (number == 256) width_ = value;
    if (number == 257) height_ = value;
    if (number == 258) bits_ = isShort && count > 2 ? u16(read(u32(place), 2)) : value;
    if (number == 259) compression_ = value;
    if (number == 262) photometric_ = value;
    if (number == kSamples) samples_ = value;
  }

  Input& input_;
  bool isBigEndian_ = false;
  std::vector<std::uint32_t> pending_;
  std::set<std::uint32_t> seen_;
  std::vector<std::uint64_t> iptc_;  // the low bytes of the entries' numbers
  std::uint32_t width_ = 0, height_ = 0, bits_ = 1, compression_ = 1, photometric_ = 0,
                samples_ = 0;
};

// How many bytes of pixels a byte of the file stands for at most.
std::uint64_t densestCoding(FREE_IMAGE_FORMAT format) {
  switch (format) {
    case FIF_JPEG:
      return 3 * 512;  // a bit for every block of 8 by 8 pixels
    case FIF_PNG:
      return 1032;  // deflate
    case FIF_TIFF:  // facsimile: a bit for every white line
    case FIF_WEBP:  // one color takes some bytes in all
      return 1 << 16;
    default:
      return 4096;  // LZW: 12 bits for up to 4096 bytes; nothing else comes near
  }
}

// How much memory the pixels take; nothing when that cannot be told without decoding them.
std::optional<std::uint64_t> pixelBytes(FREE_IMAGE_FORMAT format, Input& input, Bitmap& header) {
  if (format == FIF_GIF) return gifPixels(input.head());
  if (format == FIF_JPEG) return jpegBytes(input.head());
  if (format == FIF_JNG || !FreeImage_FIFSupportsNoPixels(format)) return std::nullopt;
  header = input.load(format, FIF_LOAD_NOPIXELS);
  if (!header) return std::nullopt;
  return std::uint64_t{FreeImage_GetWidth(header.get())} * FreeImage_GetHeight(header.get()) *
         FreeImage_GetBPP(header.get()) / 8;
}

// Whether a TARGA file lacks pixels. Of compressed rows FreeImage needs some bytes each: it reads
// them in pieces as long as what is left of the file by the picture's height, and uses what it has
// freed where that is nothing.
bool isBrokenTarga(std::span<const std::byte> head, std::uint64_t size) {
  ByteReader reader(head);
  std::size_t offset = 18;
  offset += reader.u8();
  const bool hasPalette = reader.u8() != 0;
  const bool isCompressed = reader.u8() >= 9;
  reader.skip(2);
  const std::size_t colors = reader.u16le();
  const std::size_t colorBytes = (reader.u8() + std::size_t{7}) / 8;
  if (hasPalette) offset += colors * colorBytes;
  reader.skip(4);
  const std::uint64_t width = reader.u16le();
  const std::uint64_t height = reader.u16le();
  const std::uint64_t pixel = (reader.u8() + std::uint64_t{7}) / 8;
  constexpr std::uint64_t kLeast = 8;
  return height == 0 || size < offset + height * (isCompressed ? kLeast : width * pixel);
}

// Whether the file lacks bytes that its header claims for sure. Hides from FreeImage what it cannot
// read safely.
bool isBroken(FREE_IMAGE_FORMAT format, Input& input) {
  if (format == FIF_TARGA) return isBrokenTarga(input.head(), input.size());
  if (format != FIF_TIFF) return false;
  TiffScan scan(input);
  scan.hideIptc();
  return !scan.holdsPixels();
}

// The format of a picture that may be decoded, FIF_UNKNOWN for all else. `header` becomes the
// picture without its pixels, where FreeImage can tell it.
FREE_IMAGE_FORMAT checkedFormat(Input& input, Bitmap& header) {
  const FREE_IMAGE_FORMAT format = input.format();
  if (format == FIF_UNKNOWN || isBroken(format, input)) return FIF_UNKNOWN;
  const std::optional<std::uint64_t> taken = pixelBytes(format, input, header);
  const bool isAllowed =
      taken && *taken <= kMostPictureBytes && *taken / densestCoding(format) <= input.size();
  return isAllowed ? format : FIF_UNKNOWN;
}

// What the header of a GIF says of one whose pixels are cut off: the screen's size, and as many
// bits as FreeImage gives a picture with the screen's palette.
bool measureGif(Input& input, PictureMeasures& measures) {
  Bitmap none;
  if (checkedFormat(input, none) == FIF_UNKNOWN) return false;
  ByteReader reader(input.head());
  reader.skip(6);  // "GIF89a"
  const std::uint32_t width = reader.u16le(), height = reader.u16le();
  const std::uint8_t flags = reader.u8();
  if (!reader.ok() || width == 0 || height == 0) return false;
  const int paletteBits = flags & 0x80 ? (flags & 7) + 1 : 8;
  constexpr double kDotsPerCentimeter = 28.35;
  measures = {width, height,
              paletteBits == 1   ? 1u
              : paletteBits <= 4 ? 4u
                                 : 8u,
              kDotsPerCentimeter, kDotsPerCentimeter};
  return true;
}

constexpr std::uint64_t kHead = 64 << 10;

std::vector<std::byte> readHead(File& file, std::uint64_t size) {
  std::vector<std::byte> bytes(static_cast<std::size_t>(std::min(size, kHead)));
  bytes.resize(readFully(file, 0, bytes).value_or(0));
  return bytes;
}

bool mayBeLoaded(const BitmapHeader& header, std::uint64_t size) {
  return header.fits(size) && header.pixelBytes() <= kMostPictureBytes;
}

bool loadFrom(Input input, fipImage& picture) {
  Bitmap header;
  const FREE_IMAGE_FORMAT format = checkedFormat(input, header);
  if (format == FIF_UNKNOWN) return false;
  Bitmap bitmap = input.load(format, 0);
  if (!bitmap) return false;
  picture = bitmap.release();
  return true;
}

}  // namespace

PictureMeasures measuresOf(const fipImage& picture) {
  return {picture.getWidth(), picture.getHeight(), picture.getBitsPerPixel(),
          picture.getHorizontalResolution(), picture.getVerticalResolution()};
}

bool loadPicture(std::span<const std::byte> bytes, fipImage& picture) {
  const QuietTiff quiet;
  if (formatOf(bytes) != FIF_BMP) return loadFrom(Input(bytes), picture);
  const std::optional<BitmapHeader> header = readBitmapHeader(bytes);
  if (!header || !mayBeLoaded(*header, bytes.size())) return false;
  if (header->isCommon(bytes.size())) return loadFrom(Input(bytes), picture);
  return loadFrom(Input(plainBitmap(*header, bytes)), picture);
}

bool loadPicture(File& file, std::uint64_t size, fipImage& picture) {
  if (size > kMostPictureBytes) return false;
  std::vector<std::byte> bytes = readHead(file, size);
  if (size > kHead && bytes.size() == kHead) {
    if (formatOf(bytes) == FIF_UNKNOWN) return false;
    bytes.resize(static_cast<std::size_t>(size));
    bytes.resize(kHead + readFully(file, kHead, std::span(bytes).subspan(kHead)).value_or(0));
  }
  return loadPicture(bytes, picture);
}

bool loadPicture(const std::u16string& path, fipImage& picture) {
  std::error_code error;
  const std::unique_ptr<File> file = openFile(path, {}, error);
  return file && loadPicture(*file, file->size().value_or(0), picture);
}

bool measurePicture(File& file, std::uint64_t size, PictureMeasures& measures) {
  const QuietTiff quiet;
  const std::vector<std::byte> head = readHead(file, size);
  Input input(head, file, size);
  const FREE_IMAGE_FORMAT format = input.format();
  fipImage picture;
  if (format == FIF_GIF || format == FIF_JPEG) {  // FreeImage has to decode them
    if (!loadPicture(file, size, picture)) return format == FIF_GIF && measureGif(input, measures);
  } else if (format == FIF_BMP) {
    const std::optional<BitmapHeader> header = readBitmapHeader(head);
    if (size > kMostPictureBytes || !header || !mayBeLoaded(*header, size)) return false;
    const std::vector<std::byte> plain = plainBitmapHead(*header, head);
    Bitmap bitmap = Input(plain).load(format, FIF_LOAD_NOPIXELS);
    if (!bitmap) return false;
    picture = bitmap.release();
  } else {
    Bitmap header;
    if (size > kMostPictureBytes || checkedFormat(input, header) == FIF_UNKNOWN) return false;
    picture = header.release();
  }
  measures = measuresOf(picture);
  return true;
}

}  // namespace tessaron
