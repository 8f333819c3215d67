// Opens, uses and closes a cache whose sections are the input.

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz.h"
#include "graphics/image_cache.h"
#include "graphics/image_cache_internal.h"
#include "platform/file.h"
#include "support/unreliable_file.h"

namespace {

// What could not be read is told, and the sections in front of it are found. Behind the end of the
// file nothing is lost.
void checkFailingReads(const std::string& content, int failing) {
  const auto fails = [failing](int read) { return read >= failing; };
  UnreliableFile walked(content), loaded(content), work(""), sound(content), whole("");
  walked.fails = loaded.fails = fails;
  tessaron::CacheWalk walk(walked);
  std::size_t count = 0;
  while (walk.next()) ++count;
  CHECK(walk.hasReadError() == (walked.reads > failing));
  std::vector<CACHESECTIONHEADER> sections;
  const tessaron::CacheLoad load = tessaron::loadCache(loaded, work, sections);
  CHECK(load != tessaron::CacheLoad::ReadError || loaded.reads > failing);
  CHECK(sections.size() <= count);
  if (load == tessaron::CacheLoad::ReadError) return;
  CHECK(load == tessaron::loadCache(sound, whole, sections));
  CHECK(work.size() == whole.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("image_cache_fuzz." + std::to_string(getpid()));
  std::string content(1026, '\0');
  content += asText(data, size);
  std::ofstream(path, std::ios::binary) << content;
  checkFailingReads(content, static_cast<int>(size % 8));
  const unsigned char key[16] = {1, 2, 3};
  std::vector<unsigned char> bytes;
  {
    CImageCacheMan cache(path.u16string());
    CHECK(cache.isOpen());
    CImageCacheMan first(cache), copy(first);
    copy = first;
    for (const CACHESECTIONHEADER& section : cache.sections) {
      const std::u16string tag(section.tag, 32);
      const bool found =
          copy.getFromCache(bytes, section.primaryKey, section.secondaryKey, section.variant, tag);
      CHECK(found && bytes.size() <= size + (1 << 20));
    }
    CHECK(cache.saveToCache(key, sizeof key, key, nullptr, 1, u"new"));
    cache.deinit();
    CHECK(!copy.isOpen() && !copy.getFromCache(bytes, key, nullptr, 1, u"new"));
  }
  // Whatever it was, it is a sound cache now.
  std::error_code error;
  const auto file = tessaron::openFile(path.u16string(), {}, error);
  tessaron::CacheWalk walk(*file);
  std::size_t count = 0;
  while (walk.next()) ++count;
  CHECK(walk.isCache() && walk.isWhole() && count <= 200);
  CHECK(tessaron::matchesSection(walk.section(), key, nullptr, 1, u"NEW"));
  std::filesystem::remove(path);
  return 0;
}
