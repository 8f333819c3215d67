#include "platform/image_list.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "platform/file.h"

/// All images of a list, one after another.
struct _IMAGELIST {
  int width;
  int height;
  tessaron::Transparency transparency;
  std::vector<std::uint32_t> argb;

  std::size_t imageSize() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  }
};

namespace tessaron {
namespace {

constexpr std::uint32_t kOpaque = 0xFF000000;
constexpr std::uint32_t kMagenta = 0xFF00FF;

struct BitmapResource {
  std::uintptr_t id;
  std::span<const std::uint8_t> file;
};

#include "resources/bitmaps.inc"

// A resource's number; 0 for a name that is none.
std::uintptr_t numberOf(ATL::_U_STRINGorID resource) {
  const auto number = reinterpret_cast<std::uintptr_t>(resource.m_lpstr);
  if (number < 0x10000 || resource.m_lpstr[0] != u'#') return number < 0x10000 ? number : 0;
  std::uintptr_t parsed = 0;
  for (const char16_t* at = resource.m_lpstr + 1; *at >= u'0' && *at <= u'9'; ++at)
    parsed = std::min<std::uintptr_t>(parsed * 10 + (*at - u'0'), 0x10000);
  return parsed;
}

bool loadBitmap(ATL::_U_STRINGorID resource, Pixels& bitmap) {
  const std::uintptr_t id = numberOf(resource);
  const auto found = std::find_if(std::begin(kBitmaps), std::end(kBitmaps),
                                  [&](const BitmapResource& known) { return known.id == id; });
  if (found == std::end(kBitmaps)) return false;
  // The library's own: rows from bottom to top of whole words, 24 or 32 bits a pixel.
  constexpr std::size_t kPixelsAt = 54;
  bitmap.width = found->file[18] | found->file[19] << 8;
  bitmap.height = found->file[22] | found->file[23] << 8;
  const std::size_t step = found->file[28] / 8;
  const auto width = static_cast<std::size_t>(bitmap.width);
  for (auto row = static_cast<std::size_t>(bitmap.height); row-- > 0;) {
    for (std::size_t i = 0; i < width; ++i) {
      const std::uint8_t* pixel = &found->file[kPixelsAt + (row * width + i) * step];
      const std::uint32_t alpha = step == 4 ? pixel[3] : 0;
      bitmap.argb.push_back(alpha << 24 | static_cast<std::uint32_t>(pixel[2]) << 16 |
                            static_cast<std::uint32_t>(pixel[1]) << 8 | pixel[0]);
    }
  }
  return true;
}

// Gives an image the transparency that it is to have.
void makeTransparent(std::span<std::uint32_t> pixels, Transparency transparency) {
  if (transparency == Transparency::Magenta) {
    for (std::uint32_t& pixel : pixels)
      pixel = (pixel & ~kOpaque) == kMagenta ? 0 : pixel | kOpaque;
  } else if (std::none_of(pixels.begin(), pixels.end(), [](auto p) { return p & kOpaque; })) {
    for (std::uint32_t& pixel : pixels) pixel |= kOpaque;
  } else {
    for (std::uint32_t& pixel : pixels)
      if (!(pixel & kOpaque)) pixel = 0;
  }
}

}  // namespace

HIMAGELIST createImageList(int width, int height, Transparency transparency, int initial,
                           int /*grow*/) {
  if (width <= 0 || height <= 0 || initial < 0) return nullptr;
  auto* list = new _IMAGELIST{width, height, transparency, {}};
  list->argb.reserve(list->imageSize() * static_cast<std::size_t>(initial));
  return list;
}

HIMAGELIST loadImageList(ATL::_U_STRINGorID bitmap, int width) {
  Pixels strip;
  if (width <= 0 || !loadBitmap(bitmap, strip)) return nullptr;
  HIMAGELIST list = createImageList(width, strip.height, Transparency::Magenta, 0, 0);
  addPixels(list, strip, Transparency::Magenta);
  return list;
}

void destroyImageList(HIMAGELIST list) { delete list; }

bool imageListSize(HIMAGELIST list, int& width, int& height) {
  width = list ? list->width : 0;
  height = list ? list->height : 0;
  return list != nullptr;
}

int imageCount(HIMAGELIST list) {
  return list ? static_cast<int>(list->argb.size() / list->imageSize()) : 0;
}

void removeAllImages(HIMAGELIST list) {
  if (list) list->argb.clear();
}

bool addBitmap(HIMAGELIST list, ATL::_U_STRINGorID bitmap, Transparency transparency) {
  Pixels strip;
  return list && loadBitmap(bitmap, strip) && addPixels(list, strip, transparency);
}

bool addPixels(HIMAGELIST list, const Pixels& strip, Transparency transparency) {
  if (!list) return false;
  const auto stripWidth = static_cast<std::size_t>(strip.width);
  const auto width = static_cast<std::size_t>(list->width);
  const auto height = static_cast<std::size_t>(std::min(strip.height, list->height));
  for (std::size_t left = 0; left + width <= stripWidth; left += width) {
    const std::size_t begin = list->argb.size();
    for (std::size_t row = 0; row < height; ++row) {
      const auto from = strip.argb.begin() + static_cast<std::ptrdiff_t>(row * stripWidth + left);
      list->argb.insert(list->argb.end(), from, from + list->width);
    }
    list->argb.resize(begin + list->imageSize());
    makeTransparent(std::span(list->argb).subspan(begin), transparency);
  }
  return true;
}

bool addIconFile(HIMAGELIST list, std::u16string_view path, IconDecoder decode) {
  std::error_code error;
  const std::unique_ptr<File> file = list ? openFile(path, {}, error) : nullptr;
  std::string bytes;
  Pixels icon;
  if (!file || !readToEnd(*file, bytes) ||
      !decode(std::as_bytes(std::span(bytes)), list->width, list->height, icon))
    return false;
  if (list->transparency == Transparency::Magenta)  // no part of a pixel can be transparent
    for (std::uint32_t& pixel : icon.argb) pixel = pixel & kOpaque ? pixel | kOpaque : 0;
  return addPixels(list, icon, Transparency::Alpha);
}

Pixels imagePixels(HIMAGELIST list, int index) {
  Pixels pixels{list->width, list->height, {}};
  const auto begin = list->argb.begin() + index * static_cast<std::ptrdiff_t>(list->imageSize());
  pixels.argb.assign(begin, begin + static_cast<std::ptrdiff_t>(list->imageSize()));
  return pixels;
}

}  // namespace tessaron
