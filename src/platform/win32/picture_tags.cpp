#include "platform/picture_tags.h"

#include <cstring>
#include <memory>

#include "platform/gdiplus.h"

namespace tessaron {

std::vector<PictureTag> readPictureTags(const std::u16string& path,
                                        std::span<const std::uint16_t> wanted) {
  std::vector<PictureTag> tags;
  if (!startGdiplus()) return tags;
  Gdiplus::Image image(gdiplusText(path.c_str()));
  if (image.GetLastStatus() != Gdiplus::Ok) return tags;
  for (const std::uint16_t number : wanted) {
    const UINT size = image.GetPropertyItemSize(number);
    if (size < sizeof(Gdiplus::PropertyItem) ||
        size > kLongestPictureTag + sizeof(Gdiplus::PropertyItem)) {
      continue;
    }
    const auto buffer = std::make_unique<std::byte[]>(size);
    auto* const item = reinterpret_cast<Gdiplus::PropertyItem*>(buffer.get());
    if (image.GetPropertyItem(number, size, item) != Gdiplus::Ok) continue;
    const auto* const value = static_cast<const std::byte*>(item->value);
    tags.push_back({number, item->type, {value, value + item->length}});
  }
  return tags;
}

}  // namespace tessaron
