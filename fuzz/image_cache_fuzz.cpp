// Opens, uses and closes a cache whose sections are the input.

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "graphics/image_cache.h"
#include "platform/file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("image_cache_fuzz." + std::to_string(getpid()));
  std::string content(1026, '\0');
  content.append(reinterpret_cast<const char*>(data), size);
  std::ofstream(path, std::ios::binary) << content;
  const unsigned char key[16] = {1, 2, 3};
  std::vector<unsigned char> bytes;
  {
    CImageCacheMan cache(path.u16string());
    if (!cache.isOpen()) std::abort();
    for (const CACHESECTIONHEADER& section : cache.sections) {
      const std::u16string tag(section.tag, 32);
      const bool found =
          cache.getFromCache(bytes, section.primaryKey, section.secondaryKey, section.variant, tag);
      if (!found || bytes.size() > size + (1 << 20)) std::abort();
    }
    if (!cache.saveToCache(key, sizeof key, key, nullptr, 1, u"new")) std::abort();
  }
  // Whatever it was, it is a sound cache now.
  std::error_code error;
  const auto file = tessaron::openFile(path.u16string(), {}, error);
  const tessaron::CacheContents contents = tessaron::readCacheContents(*file);
  if (!contents.isCache || !contents.isWhole || contents.sections.size() > 200) std::abort();
  if (!tessaron::matchesSection(contents.sections.back(), key, nullptr, 1, u"NEW")) std::abort();
  std::filesystem::remove(path);
  return 0;
}
