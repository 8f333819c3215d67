#include "output/thumbnails.h"

#include <fmt/format.h>

#include <filesystem>
#include <string_view>

#include "cli/paths.h"
#include "mediainfo/orientation.h"
#include "support/text.h"

namespace tessaron::tool {
namespace {

std::uint64_t hashOf(std::string_view text) {
  std::uint64_t hash = 14695981039346656037u;  // FNV-1a
  for (const char byte : text) hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211u;
  return hash;
}

/// The start of a name, cut between characters, short enough for a suffix.
std::string beginningOf(const std::string& name) {
  constexpr std::size_t kMaxBytes = 100;
  std::size_t end = 0;
  for (std::size_t at = 0; at < name.size() && at < kMaxBytes; ++at)
    if ((static_cast<unsigned char>(name[at]) & 0xC0) != 0x80) end = at;
  return name.size() <= kMaxBytes ? name : name.substr(0, end);
}

/// Rotates the picture according to its orientation. False when out of memory.
bool turn(fipImage& picture, const PropertyMap& properties) {
  const auto found = properties.find(label::kOrientation);
  if (found == properties.end()) return true;
  for (const Orientation& orientation : kOrientations) {
    if (found->second != orientationText(orientation)) continue;
    constexpr double kDegrees[] = {0, 180, 90, -90};  // counterclockwise
    const double degrees = kDegrees[static_cast<std::size_t>(orientation.turn)];
    if (orientation.isMirrored && !picture.flipHorizontal()) return false;
    return degrees == 0 || picture.rotate(degrees) ||
           (picture.convertTo24Bits() && picture.rotate(degrees));
  }
  return true;
}

}  // namespace

std::string ThumbnailNames::choose(const std::string& path) {
  const std::filesystem::path whole = std::filesystem::absolute(filePath(path)).lexically_normal();
  const std::string beginning = beginningOf(pathText(whole.filename()));
  std::string name;
  for (std::uint64_t hash = hashOf(pathText(whole));; ++hash) {
    name = fmt::format("{}-{:016x}.png", beginning, hash);
    if (used_.insert(name).second) return name;
  }
}

std::string thumbnailOf(CFileInfo& file) {
  constexpr unsigned kSize = 256;
  if (file.thumbnails.empty() || !file.thumbnails[0].isValid()) return {};
  fipImage& picture = file.thumbnails[0];
  if ((picture.getWidth() > kSize || picture.getHeight() > kSize) &&
      picture.makeThumbnail(kSize) == FALSE)
    return {};
  if (!turn(picture, file.metaInfo)) return {};
  const auto save = [&](fipMemoryIO& memory) { return picture.saveToMemory(FIF_PNG, memory); };
  fipMemoryIO memory;
  if (!save(memory) && !(picture.convertTo32Bits() && save(memory))) return {};
  BYTE* bytes = nullptr;
  DWORD size = 0;
  memory.acquire(&bytes, &size);
  return {reinterpret_cast<const char*>(bytes), size};
}

}  // namespace tessaron::tool
