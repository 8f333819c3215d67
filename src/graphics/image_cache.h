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
// CACHESECTIONHEADER followed by its data. No padding, no count, all numbers little-endian.
// Frozen: applications have written files in this format.

/// The start of the file. Ignored when a cache is opened. A value: each thread may use its own.
struct TESSARON_API CACHEFILEHEADER {
  std::uint16_t signature = 0x4D43;  ///< the bytes "CM"
  std::uint8_t reserved[1024] = {};  ///< zero

  CACHEFILEHEADER();
  CACHEFILEHEADER(const CACHEFILEHEADER&);
  CACHEFILEHEADER& operator=(const CACHEFILEHEADER&);
  ~CACHEFILEHEADER();
};
static_assert(sizeof(CACHEFILEHEADER) == 1026);

/// One section: its keys and the size of its data. A value: each thread may use its own.
struct TESSARON_API CACHESECTIONHEADER {
  std::uint32_t dataSize = 0;    ///< bytes; reading drops a section of size 0
  std::uint32_t dataOffset = 0;  ///< in an index: position of the data; on disk: no meaning
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

/// How many sections a cache file keeps when it is closed.
constexpr std::uint32_t kMaxCacheSections = 200;

}  // namespace tessaron

/// Stores encoded images in one file and finds them by two keys, a number and a tag. The bytes of
/// an image are never interpreted.
///
/// While a cache is open its file stays unchanged and locked against other writers; all work is
/// done in a working file beside it (the path followed by ",$~tmp~$") that the system deletes with
/// the process. Closing writes the newest 200 sections back. One thread at a time: an object and
/// its copies share files; caches of different paths are independent.
///
/// A copy has its own index over the same open files. Only the object that opened the files closes
/// them, and writes the sections of its own index; its copies are then closed, and what they have
/// saved is lost. Assigning to an object that has opened files closes these first.
class TESSARON_API CImageCacheMan {
 public:
  std::u16string cachePath;  ///< full path of the cache file
  /// How many sections closing keeps at most.
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

  /// Closes what is open, then opens both files and loads the index. When a file cannot be opened
  /// (another process holds it) or the working file cannot be written, nothing is open afterwards
  /// and the cache file stays unchanged; see `isOpen`.
  ///
  /// The signature is ignored. A section that exceeds the file is padded with at most 1 MiB of
  /// zeros, and its size is cut to that. Loading ends there, at a read error, and at a section that
  /// starts at or above 4 GiB. After a read error closing leaves the cache file unchanged: what is
  /// saved until then is lost, what could not be read is not.
  void init();

  /// Writes the newest `maxEntries` sections to the cache file and closes both files. The file is
  /// overwritten in place: a failure midway loses sections. When it cannot be emptied first, it
  /// stays unchanged. Does nothing to the files of another object.
  void deinit();

  /// Whether this object, or the one it was copied from, has the cache open.
  bool isOpen() const;

  /// Finds the oldest section with these keys and puts its data into `bytes`. `primaryKey` and
  /// `secondaryKey` point to 16 bytes; a null or unreadable `secondaryKey` counts as zeros. Tags
  /// are compared up to their first NUL, ignoring case; a tag of 32 or more UTF-16 units is never
  /// found. False, and `bytes` unchanged, when there is no such section, `primaryKey` is
  /// unreadable, or memory is short. Data that cannot be read from the working file is zero.
  bool getFromCache(std::vector<unsigned char>& bytes, const unsigned char* primaryKey,
                    const unsigned char* secondaryKey, std::uint32_t variant, std::u16string tag);

  /// Appends a section, even when one with these keys exists. Of `tag` at most 31 UTF-16 units up
  /// to its first NUL are kept. False when `size` is 0, when `data` or `primaryKey` is unreadable,
  /// or when the working file has reached 4 GiB. True otherwise, even when the cache is not open or
  /// the disk is full; nothing is stored then.
  bool saveToCache(const unsigned char* data, std::uint32_t size, const unsigned char* primaryKey,
                   const unsigned char* secondaryKey, std::uint32_t variant, std::u16string tag);

 private:
  bool load(tessaron::File& cache, tessaron::File& work);

  // The files that this object has opened itself; none in a copy.
  std::shared_ptr<tessaron::File> openedCache_;
  std::shared_ptr<tessaron::File> openedWork_;
  bool isReadOnly_ = false;  // not all of the cache file could be read
};

namespace tessaron {

/// Iterates over the headers in a cache file and reads nothing else. One thread at a time, which
/// also has the file to itself.
class TESSARON_API CacheWalk {
 public:
  /// Starts before the first section. `file` must outlive the walk.
  explicit CacheWalk(File& file);

  /// Whether the file starts with a complete header with the signature, or is empty.
  bool isCache() const { return isCache_; }
  /// Moves to the next section with data. False when there is none or a read fails.
  bool next();
  /// The section that `next` moved to; `dataOffset` is the position of its data in the file.
  const CACHESECTIONHEADER& section() const { return section_; }
  /// Whether that section claims more data than the file has; it is the last one then.
  bool isCut() const { return at_ > size_; }
  /// Whether the last section ends where the file ends. Known once `next` has returned false.
  bool isWhole() const { return isWhole_; }
  /// Whether the walk ended because a read failed; the file may be sound then.
  bool hasReadError() const { return hasReadError_; }

 private:
  File* file_;
  std::uint64_t size_ = 0;
  std::uint64_t at_;  ///< where the next section begins
  bool isCache_ = false;
  bool isWhole_ = false;
  bool hasReadError_ = false;
  CACHESECTIONHEADER section_;
};

/// A section without data. `secondaryKey` may be null; `tag` is cut as by
/// CImageCacheMan::saveToCache.
TESSARON_API CACHESECTIONHEADER makeSection(const unsigned char* primaryKey,
                                            const unsigned char* secondaryKey,
                                            std::uint32_t variant, std::u16string_view tag);

/// Writes a cache file of these sections of `from`, in the order given; each header is read from
/// before its section's data offset. `to` must be empty. False when reading or writing fails.
TESSARON_API bool writeCache(File& to, File& from, std::span<const CACHESECTIONHEADER> sections);

/// Appends a section with `data` to a file, and sets its size and data offset. False when that
/// fails or the data would start at or above 4 GiB; the file is then cut to its old size if it can
/// be.
TESSARON_API bool appendSection(File& file, CACHESECTIONHEADER& section,
                                std::span<const std::byte> data);

/// Whether a section matches the keys of a lookup: see CImageCacheMan::getFromCache. `secondaryKey`
/// may be null.
TESSARON_API bool matchesSection(const CACHESECTIONHEADER& section, const unsigned char* primaryKey,
                                 const unsigned char* secondaryKey, std::uint32_t variant,
                                 std::u16string_view tag);

}  // namespace tessaron
