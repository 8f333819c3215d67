#include "platform/picture_tags.h"

#include "platform/posix/exif_module.h"
#include "platform/posix/loaded_module.h"

namespace tessaron {
namespace {

TessaronReadExif module() {
  static const auto readExif =
      reinterpret_cast<TessaronReadExif>(loadFromModule("exif", kReadExif));
  return readExif;
}

}  // namespace

std::vector<PictureTag> decodePictureTags(std::span<const std::byte> tiff) {
  std::vector<PictureTag> tags;
  if (!module()) return tags;
  const auto found = [](void* context, std::uint16_t number, std::uint16_t type,
                        const std::byte* value, std::size_t size) {
    static_cast<std::vector<PictureTag>*>(context)->push_back(
        {number, type, {value, value + size}});
  };
  module()(tiff.data(), tiff.size(), found, &tags);
  return tags;
}

void preparePictureTags() { module(); }

}  // namespace tessaron
