// Descriptions of files, charts, caches and packages.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "c_interface/guard.h"
#include "graphics/image_cache.h"
#include "graphics/pie_chart.h"
#include "mediainfo/content_info.h"
#include "mediainfo/file_json.h"
#include "platform/directory.h"
#include "platform/file.h"
#include "platform/gdiplus.h"
#include "support/json_writer.h"
#include "support/text.h"
#include "themes/theme_package.h"

namespace c = tessaron::c;
using tessaron::fromUtf8;
using tessaron::toUtf8;

tsr_status tsr_describe_file(const char* path, char** description) {
  return c::guarded([&] {
    c::require(path, description);
    ContentInfo file;
    const bool isOpened = file.fromFile(tessaron::resolvedPath(fromUtf8(path)));
    if (!isOpened || file.isUnreadable()) c::fail(TSR_UNREADABLE, path, "it cannot be read");
    std::string text;
    tessaron::JsonWriter json(text);
    tessaron::writeFileInfo(file, json);
    *description = c::handOut(text);
    return TSR_OK;
  });
}

tsr_status tsr_draw_chart(const char* const* names, const double* values, size_t count, int width,
                          int height, const char* path) {
  return c::guarded([&] {
    c::require(names, values, path);
    constexpr int kMaxSide = 16384;
    if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide)
      throw c::Failure{TSR_INVALID_ARGUMENT, "a chart has 1 to 16384 pixels each way"};
    GPPieChart chart(width, height);
    if (!chart.canvas) throw c::Failure{TSR_INTERNAL, "the drawing library is not there"};
    for (std::size_t i = 0; i < count; ++i) {
      c::require(names[i]);
      if (!std::isfinite(values[i]) || values[i] < 0)
        throw c::Failure{TSR_INVALID_ARGUMENT, "a value is negative or no number"};
      chart.feed(scdata(fromUtf8(names[i]), 1, static_cast<float>(values[i])));
    }
    chart.normalize(true);
    chart.draw();
    CLSID encoder{};
    std::string content;
    if (chart.GetEncoderClsid(u"image/png", &encoder) < 0 ||
        !tessaron::encodeBitmap(*chart.canvas, encoder, content) || content.empty())
      throw c::Failure{TSR_INTERNAL, "the chart cannot be encoded"};
    c::requireNone(tessaron::replaceFile(fromUtf8(path), content), TSR_UNWRITABLE, path);
    return TSR_OK;
  });
}

struct tsr_cache {
  explicit tsr_cache(const char* path) : images(fromUtf8(path)) {}
  CImageCacheMan images;
  bool hasChanged = false;
};

namespace {

std::u16string tagOf(const char* tag) { return fromUtf8(tag ? tag : ""); }

// Whether the cache file holds these sections, the newest last.
bool holds(const std::u16string& path, const std::vector<CACHESECTIONHEADER>& sections) {
  std::error_code error;
  const std::unique_ptr<tessaron::File> file = tessaron::openFile(path, {}, error);
  if (!file) return false;
  tessaron::CacheWalk walk(*file);
  for (const CACHESECTIONHEADER& wanted : sections) {
    if (!walk.next() || walk.isCut() || walk.section().dataSize != wanted.dataSize ||
        std::memcmp(walk.section().primaryKey, wanted.primaryKey, sizeof wanted.primaryKey) != 0)
      return false;
  }
  return !walk.next() && walk.isWhole();
}

}  // namespace

tsr_status tsr_cache_open(const char* path, uint32_t max_images, tsr_cache** cache) {
  return c::guarded([&] {
    c::require(path, cache);
    auto opened = std::make_unique<tsr_cache>(path);
    if (!opened->images.isOpen())
      c::fail(TSR_UNREADABLE, path, "it cannot be opened, or another process has it open");
    if (max_images > 0) opened->images.maxEntries = max_images;
    *cache = opened.release();
    return TSR_OK;
  });
}

tsr_status tsr_cache_get(tsr_cache* cache, const unsigned char* key,
                         const unsigned char* second_key, uint32_t variant, const char* tag,
                         unsigned char** image, size_t* size) {
  return c::guarded([&] {
    c::require(cache, key, image, size);
    std::vector<unsigned char> bytes;
    if (!cache->images.getFromCache(bytes, key, second_key, variant, tagOf(tag)))
      throw c::Failure{TSR_NOT_FOUND, "there is no such image"};
    auto* copy = c::handOut({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    *image = reinterpret_cast<unsigned char*>(copy);
    *size = bytes.size();
    return TSR_OK;
  });
}

tsr_status tsr_cache_put(tsr_cache* cache, const unsigned char* key,
                         const unsigned char* second_key, uint32_t variant, const char* tag,
                         const unsigned char* image, size_t size) {
  return c::guarded([&] {
    c::require(cache, key, image);
    if (size == 0 || size > std::numeric_limits<std::uint32_t>::max())
      throw c::Failure{TSR_INVALID_ARGUMENT, "an image has 1 byte to 4 GiB"};
    if (!cache->images.saveToCache(image, static_cast<std::uint32_t>(size), key, second_key,
                                   variant, tagOf(tag)))
      throw c::Failure{TSR_UNWRITABLE, "the cache cannot take the image"};
    cache->hasChanged = true;
    return TSR_OK;
  });
}

tsr_status tsr_cache_close(tsr_cache* cache) {
  if (!cache) return TSR_OK;
  const std::unique_ptr<tsr_cache> owned(cache);
  return c::guarded([&] {
    std::vector<CACHESECTIONHEADER> sections = cache->images.sections;
    const std::size_t kept = std::min<std::size_t>(sections.size(), cache->images.maxEntries);
    sections.erase(sections.begin(), sections.end() - static_cast<std::ptrdiff_t>(kept));
    const std::u16string path = cache->images.cachePath;
    cache->images.deinit();
    if (cache->hasChanged && !holds(path, sections))
      c::fail(TSR_UNWRITABLE, toUtf8(path), "not all images are in the cache");
    return TSR_OK;
  });
}

namespace {

void writeText(tessaron::JsonWriter& json, const char* key, const std::u16string& text) {
  json.key(key);
  json.text(text);
}

void writePackage(const CThemePackage& package, tessaron::JsonWriter& json) {
  json.beginObject();
  writeText(json, "identifier", package.identifierText);
  writeText(json, "name", package.name);
  writeText(json, "author", package.author);
  writeText(json, "email", package.email);
  writeText(json, "url", package.url);
  writeText(json, "description", package.description);
  json.key("entries");
  json.beginArray();
  for (const auto& entry : package.report.entries) {
    json.beginObject();
    json.key("id");
    json.number(entry.id);
    json.key("packedSize");
    json.number(entry.packedSize);
    json.key("size");
    json.number(entry.size);
    json.key("names");
    json.beginArray();
    for (const std::u16string& name : entry.names) json.text(name);
    json.endArray();
    json.endObject();
  }
  json.endArray();
  json.key("problems");
  json.beginArray();
  for (const auto& problem : package.report.problems) {
    json.beginObject();
    json.key("entry");
    json.number(problem.entry);
    writeText(json, "name", problem.name);
    writeText(json, "reason", fromUtf8(problem.reason));
    json.endObject();
  }
  json.endArray();
  json.endObject();
}

}  // namespace

tsr_status tsr_list_package(const char* path, char** listing) {
  return c::guarded([&] {
    c::require(path, listing);
    CThemePackage package;
    package.path = fromUtf8(path);
    package.Inspect(true);
    const tessaron::PackageReport& report = package.report;
    c::requireNone(report.openError, TSR_UNREADABLE, path);
    using Failure = tessaron::PackageReport::Failure;
    if (report.failure == Failure::CannotRead) c::fail(TSR_UNREADABLE, path, report.failureReason);
    if (!report.isPackage) c::fail(TSR_DAMAGED, path, "this is no package");
    if (report.failure != Failure::None) c::fail(TSR_DAMAGED, path, report.failureReason);
    std::string text;
    tessaron::JsonWriter json(text);
    writePackage(package, json);
    *listing = c::handOut(text);
    return TSR_OK;
  });
}
