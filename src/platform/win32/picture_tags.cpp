#include "platform/picture_tags.h"

#include <shlwapi.h>

#include <memory>

#include "platform/gdiplus.h"

namespace tessaron {
namespace {

std::vector<PictureTag> readItems(IStream& stream) {
  std::vector<PictureTag> tags;
  Gdiplus::Image image(&stream);
  UINT size = 0, count = 0;
  if (image.GetPropertySize(&size, &count) != Gdiplus::Ok || size == 0) return tags;
  const auto buffer = std::make_unique<std::byte[]>(size);
  auto* const items = reinterpret_cast<Gdiplus::PropertyItem*>(buffer.get());
  if (image.GetAllPropertyItems(size, count, items) != Gdiplus::Ok) return tags;
  for (const Gdiplus::PropertyItem& item : std::span(items, count)) {
    const auto* const value = static_cast<const std::byte*>(item.value);
    tags.push_back({static_cast<std::uint16_t>(item.id), item.type, {value, value + item.length}});
  }
  return tags;
}

}  // namespace

std::vector<PictureTag> decodePictureTags(std::span<const std::byte> tiff) {
  if (!startGdiplus()) return {};
  IStream* const stream =
      SHCreateMemStream(reinterpret_cast<const BYTE*>(tiff.data()), static_cast<UINT>(tiff.size()));
  if (!stream) return {};
  std::vector<PictureTag> tags = readItems(*stream);
  stream->Release();
  return tags;
}

void preparePictureTags() { startGdiplus(); }

}  // namespace tessaron
