#include "catalogue/covers.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <set>

#include "platform/system.h"
#include "support/fingerprint.h"
#include "support/fold.h"
#include "support/text.h"

namespace tessaron {
namespace {

/// The secondary key of all covers. Others may keep pictures in the same cache.
constexpr std::array<unsigned char, 16> kCoverMark = {'t', 'e', 's', 's', 'a', 'r', 'o', 'n',
                                                      ' ', 'c', 'o', 'v', 'e', 'r', 's', 0};

void putKey(std::uint64_t first, std::uint64_t second, unsigned char* bytes) {
  for (std::size_t i = 0; i < 8; ++i) {
    bytes[i] = static_cast<unsigned char>(first >> 8 * i);
    bytes[8 + i] = static_cast<unsigned char>(second >> 8 * i);
  }
}

std::pair<std::uint64_t, std::uint64_t> keyIn(const CACHESECTIONHEADER& section) {
  std::uint64_t first = 0, second = 0;
  for (std::size_t i = 8; i-- > 0;) {
    first = first << 8 | section.primaryKey[i];
    second = second << 8 | section.primaryKey[8 + i];
  }
  return {first, second};
}

std::u16string_view tagOf(const CACHESECTIONHEADER& section) {
  const std::u16string_view tag(section.tag, std::size(section.tag));
  return tag.substr(0, tag.find(u'\0'));
}

bool startsWith(std::span<const std::byte> bytes, std::string_view head, std::size_t at = 0) {
  return bytes.size() >= at + head.size() &&
         std::memcmp(bytes.data() + at, head.data(), head.size()) == 0;
}

}  // namespace

std::optional<CoverFormat> coverFormat(std::span<const std::byte> bytes) {
  using namespace std::string_view_literals;
  if (startsWith(bytes, "\xFF\xD8\xFF"sv)) return CoverFormat{"image/jpeg", "jpg"};
  if (startsWith(bytes, "\x89PNG\r\n\x1A\n"sv)) return CoverFormat{"image/png", "png"};
  if (startsWith(bytes, "GIF87a"sv) || startsWith(bytes, "GIF89a"sv))
    return CoverFormat{"image/gif", "gif"};
  if (startsWith(bytes, "RIFF"sv) && startsWith(bytes, "WEBP"sv, 8))
    return CoverFormat{"image/webp", "webp"};
  return std::nullopt;
}

std::u16string coverCachePath(std::u16string_view collection) {
  std::filesystem::path path(collection);
  return path.replace_filename(u"ImageCache.db").u16string();
}

bool isCover(const CACHESECTIONHEADER& section) {
  return std::ranges::equal(section.secondaryKey, kCoverMark);
}

CACHESECTIONHEADER coverSection(std::u16string_view key, CoverSize size) {
  const std::string text = toUtf8(key);
  std::array<unsigned char, 16> primary;
  putKey(fingerprint(text), fingerprint("cover of " + text), primary.data());
  return makeSection(primary.data(), kCoverMark.data(), static_cast<std::uint32_t>(size), key);
}

namespace {

std::unique_ptr<File> openShared(std::u16string_view path, std::error_code& error) {
  OpenMode mode;
  mode.shareWrite = true;
  mode.shareDelete = true;
  return openFile(path, mode, error);
}

}  // namespace

CoverReader::CoverReader(std::u16string_view path, std::error_code& error) : path_(path) {
  file_ = openShared(path, error);
  if (!file_) {
    if (error == std::errc::no_such_file_or_directory) error.clear();
    return;
  }
  CacheWalk walk(*file_);
  isDamaged_ = !walk.isCache();
  if (!isDamaged_) {
    while (walk.next() && !walk.isCut()) {
      const CACHESECTIONHEADER& section = walk.section();
      if (isCover(section))
        places_.push_back({keyIn(section), section.variant, section.dataOffset, section.dataSize});
    }
    isDamaged_ = !walk.isWhole();
  }
  // Of sections with the same key the first one counts.
  std::ranges::stable_sort(places_, {}, [](const Place& p) { return std::pair(p.key, p.variant); });
  fileSize_ = file_->size().value_or(0);
  fileNumber_ = file_->status().value_or(FileStatus{}).number;
  if (!replacesOpenFiles()) file_.reset();
}

CoverReader::~CoverReader() = default;

const CoverReader::Place* CoverReader::find(std::u16string_view key, CoverSize size) const {
  const std::pair wanted(keyIn(coverSection(key, size)), static_cast<std::uint32_t>(size));
  const auto place = std::ranges::lower_bound(
      places_, wanted, {}, [](const Place& p) { return std::pair(p.key, p.variant); });
  const bool isFound = place != places_.end() && std::pair(place->key, place->variant) == wanted;
  return isFound ? &*place : nullptr;
}

bool CoverReader::has(std::u16string_view key, CoverSize size) const { return find(key, size); }

std::uint32_t CoverReader::sizeOf(std::u16string_view key) const {
  const Place* place = find(key, CoverSize::Whole);
  return place ? place->size : 0;
}

std::string CoverReader::read(std::u16string_view key, CoverSize size) const {
  const Place* place = find(key, size);
  if (!place) return size == CoverSize::Whole ? std::string() : read(key, CoverSize::Whole);
  std::unique_ptr<File> opened;
  if (!file_) {
    std::error_code error;
    opened = openShared(path_, error);
    if (!opened || opened->status().value_or(FileStatus{}).number != fileNumber_) return {};
  }
  std::string data(place->size, '\0');
  const auto count =
      readFully(file_ ? *file_ : *opened, place->offset, std::as_writable_bytes(std::span(data)));
  return count == data.size() ? data : std::string();
}

namespace {

using Keys = std::set<std::pair<std::uint64_t, std::uint64_t>>;

bool appendCover(File& file, const CoverChange& change) {
  for (const auto& [size, data] :
       {std::pair(CoverSize::Whole, &change.whole), std::pair(CoverSize::Small, &change.small),
        std::pair(CoverSize::Medium, &change.medium)}) {
    if (data->empty()) continue;
    CACHESECTIONHEADER section = coverSection(change.key, size);
    if (!appendSection(file, section, std::as_bytes(std::span(*data)))) return false;
  }
  return true;
}

/// Why a cache cannot take the changes besides `kept` bytes; empty when it can.
std::string roomError(std::uint64_t kept, std::span<const CoverChange> changes) {
  for (const CoverChange& change : changes)
    kept += 3 * sizeof(CACHESECTIONHEADER) + change.whole.size() + change.small.size() +
            change.medium.size();
  return kept > std::numeric_limits<std::uint32_t>::max() ? "it has 4 GiB and takes no more" : "";
}

/// Drops the sections for which `isDropped` is true, and appends the changes.
std::string rewrite(const std::u16string& path, std::span<const CoverChange> changes, bool isTrial,
                    const std::function<bool(const CACHESECTIONHEADER&)>& isDropped) {
  std::error_code error;
  const FolderLock lock(path, error);
  if (error) return error.message();
  OpenMode mode;
  mode.write = true;
  std::unique_ptr<File> file = openFile(path, mode, error);
  if (!file && error == std::errc::resource_unavailable_try_again)
    return "another program has it open";
  if (!file && error != std::errc::no_such_file_or_directory) return error.message();

  std::vector<CACHESECTIONHEADER> kept;
  std::uint64_t end = sizeof(CACHEFILEHEADER);
  bool mustReplace = !file && !changes.empty();
  if (file) {
    CacheWalk walk(*file);
    if (!walk.isCache()) return "it is no image cache; \"tessaron cache repair\" sets it aside";
    while (walk.next() && !walk.isCut()) {
      if (isDropped(walk.section())) {
        mustReplace = true;
        continue;
      }
      kept.push_back(walk.section());
      end += sizeof(CACHESECTIONHEADER) + std::uint64_t{walk.section().dataSize};
    }
    if (walk.hasReadError()) return "an error while reading";
    mustReplace = mustReplace || !walk.isWhole() || file->size() == std::uint64_t{0};
  }
  if (isTrial) return {};
  if (std::string reason = roomError(end, changes); !reason.empty()) return reason;
  if (!mustReplace) {
    for (const CoverChange& change : changes)
      if (!appendCover(*file, change)) return "an error while writing";
    return {};
  }
  const std::unique_ptr<File> none = memoryFile("");
  error = replaceFile(path, [&](File& to) {
    const bool isWritten =
        writeCache(to, file ? *file : *none, kept) &&
        std::ranges::all_of(changes, [&](const auto& change) { return appendCover(to, change); });
    if (!replacesOpenFiles()) file.reset();  // others may open the cache a bit too early
    return isWritten;
  });
  return error ? error.message() : std::string();
}

}  // namespace

std::string changeCovers(const std::u16string& path, std::span<const CoverChange> changes) {
  Keys changed;
  for (const CoverChange& change : changes)
    changed.insert(keyIn(coverSection(change.key, CoverSize::Whole)));
  return rewrite(path, changes, false, [&](const CACHESECTIONHEADER& section) {
    return isCover(section) && changed.contains(keyIn(section));
  });
}

std::string pruneCovers(const std::u16string& path, const std::set<std::u16string>& keys,
                        bool isTrial, std::vector<std::u16string>& removed) {
  Keys known;
  for (const std::u16string& key : keys) known.insert(keyIn(coverSection(key, CoverSize::Whole)));
  return rewrite(path, {}, isTrial, [&](const CACHESECTIONHEADER& section) {
    if (!isCover(section) || known.contains(keyIn(section))) return false;
    if (section.variant == static_cast<std::uint32_t>(CoverSize::Whole))
      removed.emplace_back(tagOf(section));
    return true;
  });
}

CacheState examineCache(File& file, std::vector<CACHESECTIONHEADER>* sound) {
  CacheState state;
  CacheWalk walk(file);
  state.isCache = walk.isCache();
  state.hasReadError = walk.hasReadError();
  if (!state.isCache || state.hasReadError) return state;
  std::set<std::string> seen;
  std::uint64_t end = sizeof(CACHEFILEHEADER);
  while (walk.next() && !walk.isCut()) {
    const CACHESECTIONHEADER& section = walk.section();
    end = section.dataOffset + std::uint64_t{section.dataSize};
    ++state.sections;
    std::string keys(std::begin(section.primaryKey), std::end(section.primaryKey));
    keys.append(std::begin(section.secondaryKey), std::end(section.secondaryKey));
    keys += std::to_string(section.variant) + ' ' + toUtf8(foldText(tagOf(section)));
    std::array<std::byte, 16> head{};
    const auto got =
        readFully(file, section.dataOffset,
                  std::span(head).first(std::min<std::size_t>(head.size(), section.dataSize)));
    const bool isPicture = !isCover(section) || (got && coverFormat(std::span(head).first(*got)));
    const bool isFirst = seen.insert(std::move(keys)).second;
    if (!isPicture) ++state.unreadable;
    if (!isFirst) ++state.repeated;
    if (sound && isPicture && isFirst) sound->push_back(section);
  }
  state.hasReadError = walk.hasReadError();
  if (const auto size = file.size(); size && *size > end) state.damaged = *size - end;
  return state;
}

}  // namespace tessaron
