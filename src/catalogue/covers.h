#pragma once
// The covers of a collection, in an image cache beside it.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "graphics/image_cache.h"
#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// A cover as it was fetched or attached, and its thumbnails.
enum class CoverSize : std::uint32_t { Whole = 0, Small = 1, Medium = 2 };

/// The longest side of the thumbnails, in pixels.
inline constexpr std::uint32_t kSmallCover = 120;
inline constexpr std::uint32_t kMediumCover = 400;

/// What a file must begin with to be kept as a cover: JPEG, PNG, GIF or WebP.
struct CoverFormat {
  std::string_view mediaType;  ///< "image/jpeg"
  std::string_view extension;  ///< "jpg"
};

/// The format of a picture by its first bytes; nothing for all that browsers do not show.
TESSARON_API std::optional<CoverFormat> coverFormat(std::span<const std::byte> bytes);

/// The path of the cache of covers of the collection at `collection`: "ImageCache.db" in its
/// folder.
TESSARON_API std::u16string coverCachePath(std::u16string_view collection);

/// The section that holds an item's cover: the item's key as hash and tag, the size as variant.
TESSARON_API CACHESECTIONHEADER coverSection(std::u16string_view key, CoverSize size);

/// Whether a section holds a cover of any item.
TESSARON_API bool isCover(const CACHESECTIONHEADER& section);

/// Looks up covers in a cache file. Reads the headers once, when it is made, and a cover when it is
/// asked for; a truncated section at the end is ignored. One thread at a time.
class TESSARON_API CoverReader {
 public:
  /// Opens the cache at `path`. Without one, or with one that is no cache, there are no covers;
  /// `error` then tells why, and is empty for a missing file.
  CoverReader(std::u16string_view path, std::error_code& error);
  ~CoverReader();
  CoverReader(const CoverReader&) = delete;
  CoverReader& operator=(const CoverReader&) = delete;

  /// Whether the item with this key has a cover of this size.
  bool has(std::u16string_view key, CoverSize size = CoverSize::Whole) const;
  /// The bytes of the picture; empty when there is none or reading fails.
  std::string read(std::u16string_view key, CoverSize size) const;
  /// Whether the cache ends inside a section or has another signature.
  bool isDamaged() const { return isDamaged_; }
  /// The file as it was when it was opened: changes to the cache change one of them.
  std::uint64_t fileSize() const { return fileSize_; }

 private:
  using Key = std::pair<std::uint64_t, std::uint64_t>;
  struct Place {
    std::uint32_t offset = 0;
    std::uint32_t size = 0;
  };

  std::unique_ptr<File> file_;
  std::map<std::pair<Key, std::uint32_t>, Place> places_;
  std::uint64_t fileSize_ = 0;
  bool isDamaged_ = false;
};

}  // namespace tessaron
