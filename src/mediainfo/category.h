#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

/// Category of a media file, as CFileInfo::category and the bits of CFileInfo::detectMask. Frozen:
/// collections store these numbers.
enum MediaCategory : std::int32_t {
  kOtherCategory = 1,
  kArchiveCategory = 2,
  kDocumentCategory = 4,
  kFontCategory = 8,
  kAudioCategory = 16,
  kImageCategory = 32,
  kVideoCategory = 64,
};

struct MediaCategoryName {
  MediaCategory category;
  const char* name;  ///< lower case, English
};

/// Names of the categories that can be detected: all but "other", in the order of their numbers.
TESSARON_API std::span<const MediaCategoryName> mediaCategoryNames();

/// Name of a category; "other" for every number that names none.
TESSARON_API const char* nameOfMediaCategory(std::int32_t category);

/// Category with this name; 0 for none.
TESSARON_API std::int32_t findMediaCategory(std::string_view name);

}  // namespace tessaron
