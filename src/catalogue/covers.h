#pragma once
// The covers of a collection, in an image cache beside it.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
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
/// asked for; a truncated section at the end is ignored. Others may replace the file meanwhile; on
/// Windows, which replaces no open files, there are no covers to read then. One thread at a time.
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
  /// The size of the item's cover in bytes; 0 when there is none.
  std::uint32_t sizeOf(std::u16string_view key) const;
  /// The bytes of the picture, or of the whole cover where a thumbnail is missing; empty when there
  /// is none or reading fails.
  std::string read(std::u16string_view key, CoverSize size) const;
  /// Whether the cache ends inside a section or has another signature.
  bool isDamaged() const { return isDamaged_; }
  /// The file as it was when it was opened: changes to the cache change one of them.
  std::uint64_t fileSize() const { return fileSize_; }

 private:
  struct Place {
    std::pair<std::uint64_t, std::uint64_t> key;
    std::uint32_t variant;
    std::uint32_t offset;
    std::uint32_t size;
  };

  const Place* find(std::u16string_view key, CoverSize size) const;

  std::u16string path_;
  std::unique_ptr<File> file_;  // null without a cache, and where open files cannot be replaced
  std::vector<Place> places_;   // by key and variant
  std::uint64_t fileSize_ = 0;
  std::uint64_t fileNumber_ = 0;
  bool isDamaged_ = false;
};

/// What a cache gets instead of an item's old cover: a new one with its thumbnails, or none.
struct CoverChange {
  std::u16string key;  ///< the item's
  std::string whole;   ///< the bytes of the picture; empty: the cover is removed
  std::string small;
  std::string medium;
};

/// Changes covers in the cache at `path`, and creates it when it is missing; pictures that are no
/// covers stay. New covers are appended; where one takes the place of another, or the file ends
/// inside a section, the file is replaced in one step. Others who change the cache wait. Returns
/// why that failed, as the end of a sentence about the file; empty when done. After a failure the
/// file holds none of the changes, or the first of them.
TESSARON_API std::string changeCovers(const std::u16string& path,
                                      std::span<const CoverChange> changes);

/// Removes the covers of all items whose keys are not in `keys`, and appends their keys to
/// `removed`, cut to 31 UTF-16 units; `isTrial` leaves the file as it is. Otherwise as
/// `changeCovers`.
TESSARON_API std::string pruneCovers(const std::u16string& path,
                                     const std::set<std::u16string>& keys, bool isTrial,
                                     std::vector<std::u16string>& removed);

/// What is wrong with a cache.
struct CacheState {
  bool isCache = true;         ///< whether it begins as one
  std::size_t sections = 0;    ///< how many are whole
  std::uint64_t damaged = 0;   ///< bytes behind them
  std::size_t unreadable = 0;  ///< whole sections that hold no picture
  std::size_t repeated = 0;    ///< whole sections whose keys an earlier one has: never found
  bool hasReadError = false;   ///< a read failed: the device may be at fault
};

/// Examines a cache. With `sound` that gets the headers of the sections worth keeping, in order.
TESSARON_API CacheState examineCache(File& file, std::vector<CACHESECTIONHEADER>* sound = nullptr);

}  // namespace tessaron
