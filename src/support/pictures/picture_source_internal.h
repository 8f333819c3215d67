#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/file.h"
#include "platform/picture.h"

namespace tessaron {

struct UnloadBitmap {
  void operator()(FIBITMAP* bitmap) const { FreeImage_Unload(bitmap); }
};
using Bitmap = std::unique_ptr<FIBITMAP, UnloadBitmap>;

/// The bytes of a picture, in memory or in a file of which a window is held.
class PictureSource {
 public:
  /// `bytes` must outlive the source.
  explicit PictureSource(std::span<const std::byte> bytes);
  /// The first `size` bytes of `file`, which must outlive the source.
  PictureSource(File& file, std::uint64_t size);

  /// Bytes that there are; what the file claims, not what can be read.
  std::uint64_t size() const { return size_; }
  /// The beginning, at most kHeadSize bytes.
  std::span<const std::byte> head() const { return head_; }
  /// Fills `buffer` from `offset` on. Returns how many bytes there were.
  std::size_t read(std::uint64_t offset, std::span<std::byte> buffer);
  /// Up to `count` bytes from `offset` on.
  std::vector<std::byte> bytes(std::uint64_t offset, std::size_t count);

  static constexpr std::size_t kHeadSize = std::size_t{64} << 10;

 private:
  std::uint64_t size_;
  File* file_ = nullptr;
  std::vector<std::byte> headBytes_;
  std::span<const std::byte> head_;
  std::vector<std::byte> window_;
  std::uint64_t windowAt_ = 0;
};

/// What FreeImage sees of a picture: parts of its source and bytes that replace others, in a row.
/// Reads end where it ends.
class PictureView {
 public:
  /// `source` must outlive the view.
  explicit PictureView(PictureSource& source) : source_(&source) {}

  /// Appends `size` bytes at `offset` of the source.
  void addRange(std::uint64_t offset, std::uint64_t size);
  /// Appends bytes.
  void addBytes(std::vector<std::byte> bytes);

  std::uint64_t size() const { return size_; }
  /// Loads the picture as one of `format`; null when FreeImage cannot.
  Bitmap load(FREE_IMAGE_FORMAT format, int flags);

 private:
  struct Part {
    std::uint64_t begin;  // in the view
    std::uint64_t size;
    std::uint64_t offset;          // in the source
    std::vector<std::byte> bytes;  // instead of the source's, when there are any
  };

  std::size_t read(std::span<std::byte> buffer);
  std::size_t readPart(std::span<std::byte> buffer);
  static unsigned DLL_CALLCONV readItems(void* buffer, unsigned size, unsigned count,
                                         fi_handle handle);
  static unsigned DLL_CALLCONV write(void*, unsigned, unsigned, fi_handle) { return 0; }
  static int DLL_CALLCONV seek(fi_handle handle, long offset, int origin);
  static long DLL_CALLCONV tell(fi_handle handle);

  PictureSource* source_;
  std::vector<Part> parts_;
  std::uint64_t size_ = 0;
  std::uint64_t at_ = 0;
};

}  // namespace tessaron
