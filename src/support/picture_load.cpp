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

// Bytes as FreeImage reads them. What it misses comes as zeros: its readers use their headers also
// where a file ends inside them.
class Input {
 public:
  explicit Input(std::span<const std::byte> bytes) : bytes_(bytes) {}

  FREE_IMAGE_FORMAT format() {
    const FREE_IMAGE_FORMAT format = FreeImage_GetFileTypeFromHandle(&io, this);
    at_ = 0;
    return format;
  }
  Bitmap load(FREE_IMAGE_FORMAT format, int flags) {
    at_ = 0;
    return Bitmap(FreeImage_LoadFromHandle(format, &io, this, flags));
  }

 private:
  static unsigned DLL_CALLCONV read(void* buffer, unsigned size, unsigned count, fi_handle handle) {
    auto& input = *static_cast<Input*>(handle);
    const std::size_t wanted = std::size_t{size} * count;
    const auto left = input.bytes_.subspan(std::min(input.at_, input.bytes_.size()));
    const std::size_t given = std::min(wanted, left.size());
    auto* out = static_cast<std::byte*>(buffer);
    std::copy_n(left.data(), given, out);
    std::fill_n(out + given, wanted - given, std::byte{0});
    input.at_ += given;
    return size == 0 ? 0 : static_cast<unsigned>(given / size);
  }
  static unsigned DLL_CALLCONV write(void*, unsigned, unsigned, fi_handle) { return 0; }
  static int DLL_CALLCONV seek(fi_handle handle, long offset, int origin) {
    auto& input = *static_cast<Input*>(handle);
    const std::size_t from = origin == SEEK_SET   ? 0
                             : origin == SEEK_CUR ? input.at_
                                                  : input.bytes_.size();
    const std::int64_t to = static_cast<std::int64_t>(from) + offset;
    if (to < 0) return -1;
    input.at_ = static_cast<std::size_t>(to);
    return 0;
  }
  static long DLL_CALLCONV tell(fi_handle handle) {
    return static_cast<long>(static_cast<Input*>(handle)->at_);
  }

  static FreeImageIO io;
  std::span<const std::byte> bytes_;
  std::size_t at_ = 0;
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
std::optional<std::uint64_t> pixelBytes(FREE_IMAGE_FORMAT format, Input& input,
                                        std::span<const std::byte> bytes) {
  if (format == FIF_GIF) return gifPixels(bytes);
  if (format == FIF_JPEG) return jpegBytes(bytes);
  if (format == FIF_JNG || !FreeImage_FIFSupportsNoPixels(format)) return std::nullopt;
  const Bitmap header = input.load(format, FIF_LOAD_NOPIXELS);
  if (!header) return std::nullopt;
  return std::uint64_t{FreeImage_GetWidth(header.get())} * FreeImage_GetHeight(header.get()) *
         FreeImage_GetBPP(header.get()) / 8;
}

}  // namespace

bool loadPicture(std::span<const std::byte> bytes, fipImage& picture) {
  const QuietTiff quiet;
  Input input(bytes);
  const FREE_IMAGE_FORMAT format = input.format();
  if (format == FIF_UNKNOWN) return false;
  const std::optional<std::uint64_t> taken = pixelBytes(format, input, bytes);
  if (!taken || *taken > kMostPictureBytes || *taken / densestCoding(format) > bytes.size()) {
    return false;
  }
  Bitmap bitmap = input.load(format, 0);
  if (!bitmap) return false;
  picture = bitmap.release();
  return true;
}

bool loadPicture(File& file, std::uint64_t size, fipImage& picture) {
  constexpr std::uint64_t kHead = 64 << 10;
  if (size > kMostPictureBytes) return false;
  std::vector<std::byte> bytes(static_cast<std::size_t>(std::min(size, kHead)));
  bytes.resize(readFully(file, 0, bytes).value_or(0));
  if (size > kHead && bytes.size() == kHead) {
    if (Input(bytes).format() == FIF_UNKNOWN) return false;
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

}  // namespace tessaron
