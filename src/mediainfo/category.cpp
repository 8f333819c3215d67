#include "mediainfo/category.h"

#include <algorithm>

namespace tessaron {
namespace {

constexpr MediaCategoryName kNames[] = {
    {kArchiveCategory, "archive"}, {kDocumentCategory, "document"}, {kFontCategory, "font"},
    {kAudioCategory, "audio"},     {kImageCategory, "image"},       {kVideoCategory, "video"}};

}  // namespace

std::span<const MediaCategoryName> mediaCategoryNames() { return kNames; }

const char* nameOfMediaCategory(std::int32_t category) {
  const auto found = std::ranges::find(kNames, category, &MediaCategoryName::category);
  return found != std::end(kNames) ? found->name : "other";
}

std::int32_t findMediaCategory(std::string_view name) {
  const auto found = std::ranges::find(kNames, name, &MediaCategoryName::name);
  return found != std::end(kNames) ? found->category : 0;
}

}  // namespace tessaron
