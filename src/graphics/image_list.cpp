#include "graphics/image_list.h"

#include <algorithm>
#include <atomic>
#include <string_view>

#include "graphics/image_list_internal.h"
#include "platform/text.h"
#include "support/pictures/icon_file.h"
#include "support/pictures/loading.h"

using tessaron::Transparency;

namespace {

// For all lists of the process; set before other threads fill lists.
constinit std::atomic<const bool*> alphaFlag = nullptr;

Transparency transparency() {
  const bool* flag = alphaFlag;
  return flag && *flag ? Transparency::Alpha : Transparency::Magenta;
}

std::u16string ending(const std::u16string& path) {
  std::u16string text = path.substr(path.size() - std::min<std::size_t>(path.size(), 3));
  std::transform(text.begin(), text.end(), text.begin(), tessaron::lowerCase);
  return text;
}

}  // namespace

void tessaron::followAlphaFlag(const bool* flag) { alphaFlag = flag; }

CImageListEx::CImageListEx(HIMAGELIST list) : imageList(list) {}
CImageListEx::CImageListEx(const CImageListEx&) = default;
CImageListEx& CImageListEx::operator=(const CImageListEx&) = default;
CImageListEx::~CImageListEx() = default;

void CImageListEx::Reload(ATL::_U_STRINGorID bitmap, const std::vector<std::u16string>& files) {
  tessaron::removeAllImages(imageList);
  tessaron::addBitmap(imageList, bitmap, transparency());
  for (const std::u16string& path : files) {
    const std::u16string kind = ending(path);
    if (kind == u"ico") InsertIconEx(path, -1);
    if (kind == u"bmp" || kind == u"png") InsertImageEx(path, -1);
  }
}

void CImageListEx::InsertIconEx(const std::u16string& path, int /*index*/) {
  tessaron::addIconFile(imageList, path, tessaron::decodeIcon);
}

void CImageListEx::InsertImageEx(const std::u16string& path, int /*index*/) {
  int width = 0;
  int height = 0;
  fipImage picture;
  tessaron::Pixels pixels;
  if (tessaron::imageListSize(imageList, width, height) && tessaron::loadPicture(path, picture) &&
      tessaron::scaleTo(width, height, picture, pixels))
    tessaron::addPixels(imageList, pixels, transparency());
}
