#include "serve/served_covers.h"

#include "catalogue/collection_index.h"
#include "cli/paths.h"

namespace tessaron::tool {

ServedCovers::ServedCovers(const std::string& collection)
    : path_(coverCachePath(widePath(collection))) {}

CoverReader& ServedCovers::reader() {
  std::string version = CollectionIndex::versionAt(path_);
  if (!reader_ || version != version_) {
    std::error_code error;  // a cache that cannot be read has no covers
    reader_ = std::make_unique<CoverReader>(path_, error);
    version_ = std::move(version);
  }
  return *reader_;
}

std::string ServedCovers::version() {
  const std::lock_guard lock(mutex_);
  reader();
  return version_;
}

bool ServedCovers::has(std::u16string_view asin) {
  const std::lock_guard lock(mutex_);
  return (reader_ ? *reader_ : reader()).has(asin);
}

std::string ServedCovers::read(std::u16string_view asin, CoverSize size) {
  const std::lock_guard lock(mutex_);
  std::string bytes = reader().read(asin, size);
  if (bytes.empty() && size != CoverSize::Whole) bytes = reader().read(asin, CoverSize::Whole);
  return bytes;
}

}  // namespace tessaron::tool
