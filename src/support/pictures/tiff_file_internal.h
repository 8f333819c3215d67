#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "support/pictures/loading.h"
#include "support/pictures/picture_source_internal.h"

namespace tessaron {

/// The first picture of a TIFF file, as its directory declares it. FreeImage corrupts memory over
/// unexpected layouts of pixels and over blocks that only describe a picture, so it gets a
/// directory of our own, and only for layouts that it handles.
class TiffFile {
 public:
  /// Nothing when the file is damaged or its pixels are laid out in a way that is not read.
  static std::optional<TiffFile> read(PictureSource& source);

  /// As the decoded picture will have them.
  PictureMeasures measures() const;
  /// Bytes of the decoded picture, and those that decoding takes at most.
  std::uint64_t pixelBytes() const;
  std::uint64_t memory() const;
  /// Whether the file has the bytes of the pixels, as far as that is known before they are decoded.
  bool holdsPixels() const;
  /// The same file with nothing in its directory but what decoding needs.
  PictureView view(PictureSource& source) const;

 private:
  struct Entry {
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    std::vector<std::byte> value;  // the four bytes of the entry, in the file's order
  };

  std::uint16_t u16(std::span<const std::byte> bytes) const;
  std::uint32_t u32(std::span<const std::byte> bytes) const;
  void put16(std::vector<std::byte>& to, std::uint32_t value) const;
  void put32(std::vector<std::byte>& to, std::uint32_t value) const;
  bool readDirectory(PictureSource& source);
  std::optional<std::uint32_t> number(PictureSource& source, std::uint16_t tag,
                                      std::uint32_t missing) const;
  std::optional<float> resolution(PictureSource& source, std::uint16_t tag);
  bool readFields(PictureSource& source);
  bool isSupported() const;
  bool isTiled() const { return tileWidth_ != 0 || tileHeight_ != 0; }
  void setNumbers(std::uint16_t tag, std::uint32_t value, std::uint32_t count);
  TiffFile cleaned() const;
  std::vector<std::byte> directory(std::uint64_t at) const;

  bool isBigEndian_ = false;
  std::uint64_t fileSize_ = 0;
  std::map<std::uint16_t, Entry> entries_;
  std::uint32_t width_ = 0, height_ = 0, bits_ = 0, samples_ = 0, compression_ = 0;
  std::uint32_t photometric_ = 0, planes_ = 0, sampleFormat_ = 0, unit_ = 0;
  std::uint32_t tileWidth_ = 0, tileHeight_ = 0;
  float across_ = 300, down_ = 300;  // dots per unit; what FreeImage assumes
};

}  // namespace tessaron
