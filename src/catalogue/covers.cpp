#include "catalogue/covers.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>

#include "support/fingerprint.h"
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

CoverReader::CoverReader(std::u16string_view path, std::error_code& error) {
  OpenMode mode;
  mode.shareWrite = true;
  mode.shareDelete = true;
  file_ = openFile(path, mode, error);
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
        places_.try_emplace({keyIn(section), section.variant},
                            Place{section.dataOffset, section.dataSize});
    }
    isDamaged_ = !walk.isWhole();
  }
  fileSize_ = file_->size().value_or(0);
}

CoverReader::~CoverReader() = default;

bool CoverReader::has(std::u16string_view key, CoverSize size) const {
  return places_.contains({keyIn(coverSection(key, size)), static_cast<std::uint32_t>(size)});
}

std::string CoverReader::read(std::u16string_view key, CoverSize size) const {
  const auto found =
      places_.find({keyIn(coverSection(key, size)), static_cast<std::uint32_t>(size)});
  if (found == places_.end()) return {};
  std::string data(found->second.size, '\0');
  const auto count =
      readFully(*file_, found->second.offset, std::as_writable_bytes(std::span(data)));
  return count == data.size() ? data : std::string();
}

}  // namespace tessaron
