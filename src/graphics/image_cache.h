#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file.h"
#include "tessaron_export.h"

// The cache file: a CACHEFILEHEADER, then sections up to the end of the file, each a
// CACHESECTIONHEADER with its data behind it. No padding, no count, all numbers little-endian.
// Frozen: files in this format are out in the world.

/// Stands once, at the start of the file. Not looked at when a cache is opened.
struct TESSARON_API CACHEFILEHEADER {
  std::uint16_t signature = 0x4D43;  ///< the bytes "CM"
  std::uint8_t reserved[1024] = {};  ///< zero

  CACHEFILEHEADER();
  CACHEFILEHEADER(const CACHEFILEHEADER&);
  CACHEFILEHEADER& operator=(const CACHEFILEHEADER&);
  ~CACHEFILEHEADER();
};
static_assert(sizeof(CACHEFILEHEADER) == 1026);

struct TESSARON_API CACHESECTIONHEADER {
  std::uint32_t dataSize = 0;    ///< bytes; a section of none is dropped when it is read
  std::uint32_t dataOffset = 0;  ///< in an index: where the data stands; on disk: no meaning
  std::uint8_t primaryKey[16] = {};
  std::uint8_t secondaryKey[16] = {};  ///< zero when there is none
  std::uint32_t variant = 0;
  char16_t tag[32] = {};  ///< up to a NUL; the rest is zero

  CACHESECTIONHEADER();
  CACHESECTIONHEADER(const CACHESECTIONHEADER&);
  CACHESECTIONHEADER& operator=(const CACHESECTIONHEADER&);
  ~CACHESECTIONHEADER();
};
static_assert(sizeof(CACHESECTIONHEADER) == 108);

namespace tessaron {

/// Sections that a cache file keeps when it is closed.
constexpr std::uint32_t kMaxCacheSections = 200;

}  // namespace tessaron

/// Encoded images in one file, found by two keys, a number and a tag. The bytes of an image are the
/// caller's business.
///
/// While a cache is open its file stays as it was, held against other writers; all work is done in
/// a working file beside it (the path followed by ",$~tmp~$") that vanishes with the process.
/// Closing writes the newest 200 sections back. For one thread at a time.
///
/// A copy has an index of its own over the same open files. Only the object that opened them closes
/// them, and writes the sections of its own index; for its copies the cache is then closed, and
/// what they have saved is lost. Assigning to an object that has opened files
/// closes these first.
class TESSARON_API CImageCacheMan {
 public:
  std::u16string cachePath;  ///< full path of the cache file
  /// Sections that are kept at most when the cache is closed.
  std::uint32_t maxEntries = tessaron::kMaxCacheSections;
  std::weak_ptr<tessaron::File> cacheFile;   ///< expired when the cache is not open
  std::weak_ptr<tessaron::File> workFile;    ///< expired when the cache is not open
  std::vector<CACHESECTIONHEADER> sections;  ///< oldest first; offsets into the working file

  /// Opens the cache at `path`; creates it when it is missing.
  explicit CImageCacheMan(std::u16string path);
  /// Closes the cache.
  ~CImageCacheMan();
  CImageCacheMan(const CImageCacheMan& other);
  CImageCacheMan& operator=(const CImageCacheMan& other);

  /// Closes what is open, then opens both files and loads the index. Where a file cannot be opened
  /// (another process holds it), or the working file cannot take the sections, nothing is open
  /// afterwards and the cache file stays as it is; `isOpen` tells.
  ///
  /// A file with another signature is read all the same. Where the file ends inside a section,
  /// zeros stand for what is missing: up to the section's size, which is cut so that no more than 1
  /// MiB is missing. Loading ends there, where a read fails, and where a section would not start
  /// below 4 GiB.
  void init();

  /// Writes the newest `maxEntries` sections to the cache file and closes both files. The file is
  /// overwritten in its place: when that fails midway, sections are lost. When it cannot be emptied
  /// first, it stays as it is. Does nothing to files when this object has not opened them.
  void deinit();

  /// Whether this object, or the one that it was copied from, has the cache open.
  bool isOpen() const;

  /// Finds the oldest section with these keys, and fills `bytes` with its data. `primaryKey` and
  /// `secondaryKey` point to 16 bytes; a null or unreadable `secondaryKey` counts as zeros. Tags
  /// are compared without regard to case, up to their first NUL; one of 32 or more UTF-16 units is
  /// never found. False, `bytes` untouched, when there is no such section, `primaryKey` is
  /// unreadable, or memory does not suffice. What the working file fails to give is zero.
  bool getFromCache(std::vector<unsigned char>& bytes, const unsigned char* primaryKey,
                    const unsigned char* secondaryKey, std::uint32_t variant, std::u16string tag);

  /// Appends a section, also when there is one with these keys. `tag` is kept up to its first NUL
  /// and at most 31 UTF-16 units of it. False when `size` is 0, when `data` or `primaryKey` is
  /// unreadable, and when the working file has grown to 4 GiB. True otherwise, also when the cache
  /// is not open or the disk is full; the section is then not there.
  bool saveToCache(const unsigned char* data, std::uint32_t size, const unsigned char* primaryKey,
                   const unsigned char* secondaryKey, std::uint32_t variant, std::u16string tag);

 private:
  bool load(tessaron::File& cache, tessaron::File& work);

  // What this object has opened itself; a copy has none.
  std::shared_ptr<tessaron::File> openedCache_;
  std::shared_ptr<tessaron::File> openedWork_;
};

namespace tessaron {

/// Goes through the headers in a cache file, and reads nothing else of it.
class TESSARON_API CacheWalk {
 public:
  /// Begins in front of the first section. `file` must outlive the walk.
  explicit CacheWalk(File& file);

  /// Whether the file begins with a whole header and its signature, or is empty.
  bool isCache() const { return isCache_; }
  /// Moves on to the next section with data. False when there is none, or none that can be read.
  bool next();
  /// The section that `next` moved to; `dataOffset` tells where in the file its data stands.
  const CACHESECTIONHEADER& section() const { return section_; }
  /// Whether that section claims more data than the file holds; it is the last one then.
  bool isCut() const { return at_ > size_; }
  /// Whether the file could be read up to its end, and that is a section's end. Known once `next`
  /// has returned false.
  bool isWhole() const { return isWhole_; }
  /// Whether reading the file has failed: it may then be sound, whatever else is told here.
  bool hasReadFailed() const { return hasReadFailed_; }

 private:
  File* file_;
  std::uint64_t size_ = 0;
  std::uint64_t at_;  ///< where the next section begins
  bool isCache_ = false;
  bool isWhole_ = false;
  bool hasReadFailed_ = false;
  CACHESECTIONHEADER section_;
};

/// A section without data. `secondaryKey` may be null; `tag` is cut as by
/// CImageCacheMan::saveToCache.
TESSARON_API CACHESECTIONHEADER makeSection(const unsigned char* primaryKey,
                                            const unsigned char* secondaryKey,
                                            std::uint32_t variant, std::u16string_view tag);

/// Writes a cache file with those sections of `from` that begin in front of their data offsets, in
/// the order given; `to` must be empty. False when not all of it could be written or read.
TESSARON_API bool writeCache(File& to, File& from, std::span<const CACHESECTIONHEADER> sections);

/// Appends a section with `data` to a file, and sets its size and data offset. False when that
/// fails, or the data would stand beyond 4 GiB; the file is then as long as it was, if it can be
/// cut.
TESSARON_API bool appendSection(File& file, CACHESECTIONHEADER& section,
                                std::span<const std::byte> data);

/// Whether a section is what a lookup asks for: see CImageCacheMan::getFromCache. `secondaryKey`
/// may be null.
TESSARON_API bool matchesSection(const CACHESECTIONHEADER& section, const unsigned char* primaryKey,
                                 const unsigned char* secondaryKey, std::uint32_t variant,
                                 std::u16string_view tag);

}  // namespace tessaron
