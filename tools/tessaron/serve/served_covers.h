#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "catalogue/covers.h"

namespace tessaron::tool {

/// The covers in the image cache beside a served collection. Follows changes of the cache's file.
/// Several threads may use it at once.
class ServedCovers {
 public:
  explicit ServedCovers(const std::string& collection);

  /// The version of the cache, see `CollectionIndex::versionAt`.
  std::string version();
  /// Whether the item with that ASIN had a cover when the version was asked for last.
  bool has(std::u16string_view asin);
  /// The bytes of a cover, or of its thumbnail; where there is no thumbnail, the cover. Empty when
  /// there is none.
  std::string read(std::u16string_view asin, CoverSize size);

 private:
  CoverReader& reader();

  std::u16string path_;
  std::mutex mutex_;
  std::string version_;
  std::unique_ptr<CoverReader> reader_;
};

}  // namespace tessaron::tool
