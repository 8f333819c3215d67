#include "graphics/image_cache.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <exception>
#include <limits>
#include <span>
#include <system_error>
#include <type_traits>

#include "graphics/image_cache_internal.h"
#include "platform/system.h"
#include "platform/text.h"
#include "support/byte_reader.h"

namespace {

using tessaron::ByteReader;
using tessaron::File;
using tessaron::OpenMode;

constexpr std::size_t kHeaderSize = sizeof(CACHESECTIONHEADER);
constexpr std::size_t kKeySize = sizeof(CACHESECTIONHEADER::primaryKey);
constexpr std::size_t kTagSize = std::extent_v<decltype(CACHESECTIONHEADER::tag)>;
constexpr std::uint64_t kEndOfOffsets = std::numeric_limits<std::uint32_t>::max();
// Longest zero padding for a section whose size exceeds the file; bytes.
constexpr std::uint64_t kMaxMissing = 1 << 20;

using FileHeaderBytes = std::array<std::byte, sizeof(CACHEFILEHEADER)>;
using SectionHeaderBytes = std::array<std::byte, kHeaderSize>;

template <typename Number>
void put(std::span<std::byte>& out, Number value) {
  for (std::size_t i = 0; i < sizeof value; ++i) out[i] = static_cast<std::byte>(value >> 8 * i);
  out = out.subspan(sizeof value);
}

SectionHeaderBytes encode(const CACHESECTIONHEADER& header) {
  SectionHeaderBytes bytes;
  std::span<std::byte> out(bytes);
  put(out, header.dataSize);
  put(out, header.dataOffset);
  for (const std::uint8_t byte : header.primaryKey) put(out, byte);
  for (const std::uint8_t byte : header.secondaryKey) put(out, byte);
  put(out, header.variant);
  for (const char16_t unit : header.tag) put(out, static_cast<std::uint16_t>(unit));
  return bytes;
}

CACHESECTIONHEADER decode(const SectionHeaderBytes& bytes) {
  ByteReader in(bytes);
  CACHESECTIONHEADER header;
  header.dataSize = in.u32le();
  header.dataOffset = in.u32le();
  for (std::uint8_t& byte : header.primaryKey) byte = in.u8();
  for (std::uint8_t& byte : header.secondaryKey) byte = in.u8();
  header.variant = in.u32le();
  for (char16_t& unit : header.tag) unit = in.u16le();
  return header;
}

FileHeaderBytes encode(const CACHEFILEHEADER& header) {
  FileHeaderBytes bytes;
  std::span<std::byte> out(bytes);
  put(out, header.signature);
  for (const std::uint8_t byte : header.reserved) put(out, byte);
  return bytes;
}

// The tag up to its first NUL, at most `maxUnits` units of it.
std::u16string_view cutTag(std::u16string_view tag, std::size_t maxUnits) {
  return tag.substr(0, std::min(tag.find(u'\0'), maxUnits));
}

std::uint64_t wholeSize(const CACHESECTIONHEADER& section) {
  return kHeaderSize + std::uint64_t{section.dataSize};
}

// Leading sections without gaps between them, which are copied in one go.
struct Run {
  std::uint64_t begin;  // of the first header
  std::uint64_t size = 0;
  std::size_t count = 0;
};

Run firstRun(std::span<const CACHESECTIONHEADER> sections) {
  Run run{.begin = sections[0].dataOffset - kHeaderSize};
  while (run.count < sections.size() &&
         sections[run.count].dataOffset - kHeaderSize == run.begin + run.size)
    run.size += wholeSize(sections[run.count++]);
  return run;
}

// Pads the last section of a working file that ends at `end` with zeros.
bool completeCut(File& work, CACHESECTIONHEADER& section, std::uint64_t end) {
  const std::uint64_t begin = section.dataOffset - kHeaderSize;
  const std::uint64_t whole = std::min(begin + wholeSize(section), end + kMaxMissing);
  section.dataSize = static_cast<std::uint32_t>(whole - section.dataOffset);
  const SectionHeaderBytes header = encode(section);
  return work.seek(begin) && work.write(std::span(header).first(sizeof section.dataSize)) &&
         work.seek(whole) && work.setEnd();
}

bool isKey(const unsigned char* key) { return tessaron::isReadable(key, kKeySize); }

}  // namespace

namespace tessaron {

CacheWalk::CacheWalk(File& file) : file_(&file), at_(sizeof(CACHEFILEHEADER)) {
  FileHeaderBytes start{};
  const std::optional<std::uint64_t> size = file.size();
  const std::optional<std::size_t> started = readFully(file, 0, start);
  if (!size || !started) {
    at_ = 0;
    hasReadError_ = true;
    return;
  }
  size_ = *size;
  isCache_ = size_ == 0 ||
             (*started == start.size() && ByteReader(start).u16le() == CACHEFILEHEADER{}.signature);
  isWhole_ = size_ <= at_;
}

bool CacheWalk::next() {
  while (at_ < size_) {
    SectionHeaderBytes bytes{};
    const std::optional<std::size_t> got = readFully(*file_, at_, bytes);
    const std::uint64_t data = at_ + kHeaderSize;
    hasReadError_ = !got;
    if (got.value_or(0) == 0 || data > kEndOfOffsets) return false;
    section_ = decode(bytes);
    section_.dataOffset = static_cast<std::uint32_t>(data);
    at_ = data + section_.dataSize;
    isWhole_ = at_ == size_;
    if (section_.dataSize > 0) return true;
  }
  return false;
}

CacheLoad loadCache(File& cache, File& work, std::vector<CACHESECTIONHEADER>& sections) {
  sections.clear();
  CacheWalk walk(cache);
  while (walk.next()) sections.push_back(walk.section());
  CacheLoad result = walk.hasReadError() ? CacheLoad::ReadError : CacheLoad::Whole;
  std::uint64_t end = 0;  // of the working file
  for (std::size_t i = 0; i < sections.size();) {
    const Run run = firstRun(std::span(sections).subspan(i));
    const std::optional<std::uint64_t> copied = copyBytes(cache, run.begin, work, end, run.size);
    if (!copied) return CacheLoad::Failed;
    if (*copied < run.size && run.begin + *copied < cache.size().value_or(UINT64_MAX))
      result = CacheLoad::ReadError;
    for (const std::uint64_t copiedTo = end + *copied, runTo = end + run.size; end < runTo; ++i) {
      CACHESECTIONHEADER& section = sections[i];
      section.dataOffset = static_cast<std::uint32_t>(end + kHeaderSize);
      if (end + wholeSize(section) > copiedTo) {
        sections.resize(i + 1);
        return completeCut(work, section, copiedTo) ? result : CacheLoad::Failed;
      }
      end += wholeSize(section);
    }
  }
  return result;
}

CACHESECTIONHEADER makeSection(const unsigned char* primaryKey, const unsigned char* secondaryKey,
                               std::uint32_t variant, std::u16string_view tag) {
  CACHESECTIONHEADER section;
  std::copy_n(primaryKey, kKeySize, section.primaryKey);
  if (secondaryKey) std::copy_n(secondaryKey, kKeySize, section.secondaryKey);
  section.variant = variant;
  std::ranges::copy(cutTag(tag, kTagSize - 1), section.tag);
  return section;
}

bool writeCache(File& to, File& from, std::span<const CACHESECTIONHEADER> sections) {
  if (!to.seek(0) || !to.write(encode(CACHEFILEHEADER{}))) return false;
  for (std::uint64_t end = sizeof(CACHEFILEHEADER); !sections.empty();) {
    const Run run = firstRun(sections);
    if (copyBytes(from, run.begin, to, end, run.size) != run.size) return false;
    end += run.size;
    sections = sections.subspan(run.count);
  }
  return true;
}

bool appendSection(File& file, CACHESECTIONHEADER& section, std::span<const std::byte> data) {
  const std::optional<std::uint64_t> end = file.size();
  if (!end || *end + kHeaderSize > kEndOfOffsets) return false;
  section.dataSize = static_cast<std::uint32_t>(data.size());
  section.dataOffset = 0;  // on disk
  const bool done = file.seek(*end) && file.write(encode(section)) && file.write(data);
  section.dataOffset = static_cast<std::uint32_t>(*end + kHeaderSize);
  if (!done && file.seek(*end)) file.setEnd();
  return done;
}

bool matchesSection(const CACHESECTIONHEADER& section, const unsigned char* primaryKey,
                    const unsigned char* secondaryKey, std::uint32_t variant,
                    std::u16string_view tag) {
  static constexpr unsigned char kNoKey[kKeySize] = {};
  // QUIRK: A stored tag keeps 31 units, a tag looked up keeps 32: longer tags never match. It looks
  // like an off-by-one error. Kept: callers never get an image whose long tag only begins the same.
  return section.variant == variant && std::memcmp(section.primaryKey, primaryKey, kKeySize) == 0 &&
         std::memcmp(section.secondaryKey, secondaryKey ? secondaryKey : kNoKey, kKeySize) == 0 &&
         equalIgnoringCase(cutTag({section.tag, kTagSize}, kTagSize), cutTag(tag, kTagSize));
}

}  // namespace tessaron

CACHEFILEHEADER::CACHEFILEHEADER() = default;
CACHEFILEHEADER::CACHEFILEHEADER(const CACHEFILEHEADER&) = default;
CACHEFILEHEADER& CACHEFILEHEADER::operator=(const CACHEFILEHEADER&) = default;
CACHEFILEHEADER::~CACHEFILEHEADER() = default;

CACHESECTIONHEADER::CACHESECTIONHEADER() = default;
CACHESECTIONHEADER::CACHESECTIONHEADER(const CACHESECTIONHEADER&) = default;
CACHESECTIONHEADER& CACHESECTIONHEADER::operator=(const CACHESECTIONHEADER&) = default;
CACHESECTIONHEADER::~CACHESECTIONHEADER() = default;

CImageCacheMan::CImageCacheMan(std::u16string path) : cachePath(std::move(path)) { init(); }

CImageCacheMan::~CImageCacheMan() { deinit(); }

CImageCacheMan::CImageCacheMan(const CImageCacheMan& other)
    : cachePath(other.cachePath),
      maxEntries(other.maxEntries),
      cacheFile(other.cacheFile),
      workFile(other.workFile),
      sections(other.sections) {}

CImageCacheMan& CImageCacheMan::operator=(const CImageCacheMan& other) {
  if (this == &other) return *this;
  deinit();
  cachePath = other.cachePath;
  maxEntries = other.maxEntries;
  cacheFile = other.cacheFile;
  workFile = other.workFile;
  sections = other.sections;
  return *this;
}

void CImageCacheMan::init() {
  deinit();
  std::error_code error;
  OpenMode mode{.write = true, .disposition = OpenMode::Disposition::OpenAlways};
  std::shared_ptr<File> cache = tessaron::openFile(cachePath, mode, error);
  if (!cache) return;  // another process may be using the working file
  mode.disposition = OpenMode::Disposition::CreateAlways;
  mode.deleteOnClose = true;
  mode.randomAccess = true;
  std::shared_ptr<File> work = tessaron::openFile(cachePath + u",$~tmp~$", mode, error);
  if (!work || !load(*cache, *work)) {
    sections.clear();
    return;
  }
  cacheFile = openedCache_ = std::move(cache);
  workFile = openedWork_ = std::move(work);
}

bool CImageCacheMan::load(File& cache, File& work) {
  const tessaron::CacheLoad loaded = tessaron::loadCache(cache, work, sections);
  isReadOnly_ = loaded == tessaron::CacheLoad::ReadError;
  return loaded != tessaron::CacheLoad::Failed;
}

void CImageCacheMan::deinit() {
  if (openedCache_ && openedWork_) {
    if (sections.size() > maxEntries)
      sections.erase(sections.begin(), sections.end() - static_cast<std::ptrdiff_t>(maxEntries));
    // QUIRK: The file is overwritten in place; a failure midway loses sections. Elsewhere files are
    // replaced in one step. Kept: readers of the open file go on with the same one.
    if (!isReadOnly_ && openedCache_->seek(0) && openedCache_->setEnd())
      tessaron::writeCache(*openedCache_, *openedWork_, sections);
  }
  openedCache_.reset();
  openedWork_.reset();
  cacheFile.reset();
  workFile.reset();
  sections.clear();
}

bool CImageCacheMan::isOpen() const { return !cacheFile.expired() && !workFile.expired(); }

bool CImageCacheMan::getFromCache(std::vector<unsigned char>& bytes,
                                  const unsigned char* primaryKey,
                                  const unsigned char* secondaryKey, std::uint32_t variant,
                                  std::u16string tag) {
  const std::shared_ptr<File> work = workFile.lock();
  if (!work || !isKey(primaryKey)) return false;
  if (!isKey(secondaryKey)) secondaryKey = nullptr;
  const auto found = std::find_if(sections.begin(), sections.end(), [&](const auto& section) {
    return tessaron::matchesSection(section, primaryKey, secondaryKey, variant, tag);
  });
  if (found == sections.end()) return false;
  try {
    bytes.resize(found->dataSize);
  } catch (const std::exception&) {  // too large for a vector or for the memory
    return false;
  }
  const std::size_t got =
      readFully(*work, found->dataOffset, std::as_writable_bytes(std::span(bytes))).value_or(0);
  std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(got), bytes.end(), std::uint8_t{0});
  return true;
}

bool CImageCacheMan::saveToCache(const unsigned char* data, std::uint32_t size,
                                 const unsigned char* primaryKey, const unsigned char* secondaryKey,
                                 std::uint32_t variant, std::u16string tag) {
  if (size == 0 || !tessaron::isReadable(data, size) || !isKey(primaryKey)) return false;
  // QUIRK: True although nothing is stored, when the cache is not open or the disk is full. A save
  // that failed should be false. Kept: callers save every image that they load, and go on without
  // the cache where it fails.
  const std::shared_ptr<File> work = workFile.lock();
  const std::optional<std::uint64_t> end = work ? work->size() : std::nullopt;
  if (!end) return true;
  if (*end + kHeaderSize > kEndOfOffsets) return false;
  CACHESECTIONHEADER section =
      tessaron::makeSection(primaryKey, isKey(secondaryKey) ? secondaryKey : nullptr, variant, tag);
  if (tessaron::appendSection(*work, section, std::as_bytes(std::span(data, size))))
    sections.push_back(section);
  return true;
}
