#include "support/picture_load.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

#include "support/byte_reader.h"

namespace tessaron {
namespace {

struct CloseMemory {
  void operator()(FIMEMORY* memory) const { FreeImage_CloseMemory(memory); }
};
using Memory = std::unique_ptr<FIMEMORY, CloseMemory>;

struct Unload {
  void operator()(FIBITMAP* bitmap) const { FreeImage_Unload(bitmap); }
};
using Bitmap = std::unique_ptr<FIBITMAP, Unload>;

// FreeImage reads from it, but takes it as if it would write.
Memory openMemory(std::span<const std::byte> bytes) {
  const auto* begin = reinterpret_cast<const BYTE*>(bytes.data());
  return Memory(FreeImage_OpenMemory(const_cast<BYTE*>(begin), static_cast<DWORD>(bytes.size())));
}

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
std::optional<std::uint64_t> pixelBytes(FREE_IMAGE_FORMAT format, FIMEMORY* memory,
                                        std::span<const std::byte> bytes) {
  if (format == FIF_GIF) return gifPixels(bytes);
  if (!FreeImage_FIFSupportsNoPixels(format)) return std::nullopt;
  const Bitmap header(FreeImage_LoadFromMemory(format, memory, FIF_LOAD_NOPIXELS));
  FreeImage_SeekMemory(memory, 0, SEEK_SET);
  if (!header) return std::nullopt;
  return std::uint64_t{FreeImage_GetWidth(header.get())} * FreeImage_GetHeight(header.get()) *
         FreeImage_GetBPP(header.get()) / 8;
}

bool isAllowed(FREE_IMAGE_FORMAT format, FIMEMORY* memory, std::span<const std::byte> bytes) {
  const std::optional<std::uint64_t> taken = pixelBytes(format, memory, bytes);
  return taken && *taken <= kMostPictureBytes && *taken / densestCoding(format) <= bytes.size();
}

}  // namespace

bool loadPicture(std::span<const std::byte> bytes, fipImage& picture) {
  const Memory memory = openMemory(bytes);
  const FREE_IMAGE_FORMAT format = FreeImage_GetFileTypeFromMemory(memory.get());
  if (format == FIF_UNKNOWN || !isAllowed(format, memory.get(), bytes)) return false;
  FIBITMAP* bitmap = FreeImage_LoadFromMemory(format, memory.get());
  if (!bitmap) return false;
  picture = bitmap;
  return true;
}

bool loadPicture(File& file, std::uint64_t size, fipImage& picture) {
  constexpr std::uint64_t kHead = 64 << 10;
  if (size > kMostPictureBytes) return false;
  std::vector<std::byte> bytes(static_cast<std::size_t>(std::min(size, kHead)));
  bytes.resize(readFully(file, 0, bytes).value_or(0));
  if (size > kHead && bytes.size() == kHead) {
    if (FreeImage_GetFileTypeFromMemory(openMemory(bytes).get()) == FIF_UNKNOWN) return false;
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
