#include "support/picture_load.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <vector>

#include "support/byte_reader.h"

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

// A file as FreeImage reads it: its first bytes are there, the rest is read where it is wanted.
// What FreeImage misses comes as zeros: its readers use their headers also where a file ends inside
// them.
class Input {
 public:
  explicit Input(std::span<const std::byte> bytes) : head_(bytes), size_(bytes.size()) {}
  Input(std::span<const std::byte> head, File& file, std::uint64_t size)
      : head_(head), size_(size), file_(&file) {}

  std::uint64_t size() const { return size_; }
  std::span<const std::byte> head() const { return head_; }

  FREE_IMAGE_FORMAT format() {
    at_ = 0;
    return FreeImage_GetFileTypeFromHandle(&io, this);
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
    }
    std::ranges::fill(buffer.subspan(given), std::byte{0});
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
                                                    : input.size_;
    const std::int64_t to = static_cast<std::int64_t>(from) + offset;
    if (to < 0) return -1;
    input.at_ = static_cast<std::uint64_t>(to);
    return 0;
  }
  static long DLL_CALLCONV tell(fi_handle handle) {
    return static_cast<long>(static_cast<Input*>(handle)->at_);
  }

  static FreeImageIO io;
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

// How many bytes of pixels a byte of the file stands for at most.
std::uint64_t densestCoding(FREE_IMAGE_FORMAT format) {
  switch (format) {
    case FIF_JPEG:
      return 3 * 512;  // a bit for every block of 8 by 8 pixels
    case FIF_PNG:
      return 1032;  // deflate
    case FIF_TIFF:
      return 1 << 16;  // facsimile: a bit for every white line
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

// Whether a TARGA file's compressed rows are too few for FreeImage: it reads them in pieces as long
// as what is left of the file by the picture's height, and uses what it has freed where that is
// nothing.
bool isBrokenTarga(FREE_IMAGE_FORMAT format, std::span<const std::byte> bytes) {
  if (format != FIF_TARGA) return false;
  ByteReader reader(bytes);
  std::size_t offset = 18;
  offset += reader.u8();
  const bool hasPalette = reader.u8() != 0;
  const bool isCompressed = reader.u8() >= 9;
  reader.skip(2);
  const std::size_t colors = reader.u16le();
  const std::size_t colorBytes = (reader.u8() + std::size_t{7}) / 8;
  if (hasPalette) offset += colors * colorBytes;
  reader.skip(6);
  const std::size_t height = reader.u16le();
  constexpr std::size_t kLeast = 8;
  return isCompressed && (height == 0 || bytes.size() < offset + height * kLeast);
}

// The format of a picture that may be decoded, FIF_UNKNOWN for all else. `header` becomes the
// picture without its pixels, where FreeImage can tell it.
FREE_IMAGE_FORMAT checkedFormat(Input& input, Bitmap& header) {
  const FREE_IMAGE_FORMAT format = input.format();
  if (format == FIF_UNKNOWN) return format;
  const std::optional<std::uint64_t> taken = pixelBytes(format, input, header);
  const bool isAllowed =
      taken && *taken <= kMostPictureBytes && *taken / densestCoding(format) <= input.size();
  return isAllowed ? format : FIF_UNKNOWN;
}

constexpr std::uint64_t kHead = 64 << 10;

std::vector<std::byte> readHead(File& file, std::uint64_t size) {
  std::vector<std::byte> bytes(static_cast<std::size_t>(std::min(size, kHead)));
  bytes.resize(readFully(file, 0, bytes).value_or(0));
  return bytes;
}

}  // namespace

PictureMeasures measuresOf(const fipImage& picture) {
  return {picture.getWidth(), picture.getHeight(), picture.getBitsPerPixel(),
          picture.getHorizontalResolution(), picture.getVerticalResolution()};
}

bool loadPicture(std::span<const std::byte> bytes, fipImage& picture) {
  const QuietTiff quiet;
  Input input(bytes);
  Bitmap header;
  const FREE_IMAGE_FORMAT format = checkedFormat(input, header);
  if (format == FIF_UNKNOWN || isBrokenTarga(format, bytes)) return false;
  Bitmap bitmap = input.load(format, 0);
  if (!bitmap) return false;
  picture = bitmap.release();
  return true;
}

bool loadPicture(File& file, std::uint64_t size, fipImage& picture) {
  if (size > kMostPictureBytes) return false;
  std::vector<std::byte> bytes = readHead(file, size);
  if (size > kHead && bytes.size() == kHead) {
    const QuietTiff quiet;
    if (Input(bytes, file, size).format() == FIF_UNKNOWN) return false;
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
    if (!loadPicture(file, size, picture)) return false;
  } else {
    Bitmap header;
    if (size > kMostPictureBytes || checkedFormat(input, header) == FIF_UNKNOWN) return false;
    picture = header.release();
  }
  measures = measuresOf(picture);
  return true;
}

}  // namespace tessaron
