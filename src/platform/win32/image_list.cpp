#include "platform/image_list.h"

#include <string>

#include "platform/win32/wide.h"

namespace tessaron {
namespace {

constexpr COLORREF kMagenta = RGB(255, 0, 255);
constexpr std::uint32_t kOpaque = 0xFF000000;

// The library itself, wherever it was linked into.
HINSTANCE resourceModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&resourceModule), &module);
  return module;
}

/// Adds a bitmap, which it deletes.
bool addAndDelete(HIMAGELIST list, HBITMAP bitmap, Transparency transparency) {
  if (!bitmap) return false;
  const int index = transparency == Transparency::Alpha
                        ? ImageList_Add(list, bitmap, nullptr)
                        : ImageList_AddMasked(list, bitmap, kMagenta);
  DeleteObject(bitmap);
  return index >= 0;
}

BITMAPINFO headerOf(int width, int height) {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof info.bmiHeader;
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = -height;  // from top to bottom
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  return info;
}

}  // namespace

HIMAGELIST createImageList(int width, int height, Transparency transparency, int initial,
                           int grow) {
  const UINT flags = transparency == Transparency::Alpha ? ILC_COLOR32 : ILC_COLOR24 | ILC_MASK;
  return ImageList_Create(width, height, flags, initial, grow);
}

HIMAGELIST loadImageList(ATL::_U_STRINGorID bitmap, int width) {
  return ImageList_LoadImageW(resourceModule(), wide(bitmap.m_lpstr), width, 0, kMagenta,
                              IMAGE_BITMAP, LR_CREATEDIBSECTION);
}

void destroyImageList(HIMAGELIST list) {
  if (list) ImageList_Destroy(list);
}

bool imageListSize(HIMAGELIST list, int& width, int& height) {
  width = height = 0;
  return list && ImageList_GetIconSize(list, &width, &height);
}

int imageCount(HIMAGELIST list) { return list ? ImageList_GetImageCount(list) : 0; }

void removeAllImages(HIMAGELIST list) {
  if (list) ImageList_Remove(list, -1);
}

bool addBitmap(HIMAGELIST list, ATL::_U_STRINGorID bitmap, Transparency transparency) {
  return list &&
         addAndDelete(list, LoadBitmapW(resourceModule(), wide(bitmap.m_lpstr)), transparency);
}

bool addPixels(HIMAGELIST list, const Pixels& strip, Transparency transparency) {
  if (!list) return false;
  std::vector<std::uint32_t> pixels = strip.argb;
  if (transparency == Transparency::Magenta)  // which is not found with a byte above it
    for (std::uint32_t& pixel : pixels) pixel &= ~kOpaque;
  const HWND window = GetActiveWindow();
  const HDC screen = GetDC(window);
  const BITMAPINFO info = headerOf(strip.width, strip.height);
  const HBITMAP bitmap =
      CreateDIBitmap(screen, &info.bmiHeader, CBM_INIT, pixels.data(), &info, DIB_RGB_COLORS);
  const bool added = addAndDelete(list, bitmap, transparency);
  ReleaseDC(window, screen);
  return added;
}

bool addIconFile(HIMAGELIST list, std::u16string_view path, IconDecoder /*decode*/) {
  int width = 0;
  int height = 0;
  if (!imageListSize(list, width, height)) return false;
  const std::u16string name(path);
  const auto icon = static_cast<HICON>(
      LoadImageW(nullptr, wide(name), IMAGE_ICON, width, height, LR_LOADFROMFILE));
  if (!icon) return false;
  const int index = ImageList_ReplaceIcon(list, -1, icon);
  DestroyIcon(icon);
  return index >= 0;
}

Pixels imagePixels(HIMAGELIST list, int index) {
  Pixels pixels;
  IMAGEINFO info{};
  if (!imageListSize(list, pixels.width, pixels.height) ||
      !ImageList_GetImageInfo(list, index, &info))
    return pixels;
  BITMAP whole{};
  GetObjectW(info.hbmImage, sizeof whole, &whole);
  const auto read = [&](HBITMAP bitmap) {
    std::vector<std::uint32_t> all(static_cast<std::size_t>(whole.bmWidth) *
                                   static_cast<std::size_t>(whole.bmHeight));
    BITMAPINFO header = headerOf(whole.bmWidth, whole.bmHeight);
    const HDC screen = GetDC(nullptr);
    GetDIBits(screen, bitmap, 0, static_cast<UINT>(whole.bmHeight), all.data(), &header,
              DIB_RGB_COLORS);
    ReleaseDC(nullptr, screen);
    return all;
  };
  const std::vector<std::uint32_t> image = read(info.hbmImage);
  const std::vector<std::uint32_t> mask =
      info.hbmMask ? read(info.hbmMask) : std::vector<std::uint32_t>(image.size());
  std::uint32_t alpha = 0;
  for (int y = 0; y < pixels.height; ++y) {
    for (int x = 0; x < pixels.width; ++x) {
      const int row = info.rcImage.top + y;
      const auto at = static_cast<std::size_t>(row) * static_cast<std::size_t>(whole.bmWidth) +
                      static_cast<std::size_t>(info.rcImage.left + x);
      const bool masked = (mask[at] & ~kOpaque) != 0;
      pixels.argb.push_back(masked ? 0 : image[at]);
      alpha |= image[at] & kOpaque;
      if (info.hbmMask && !masked) pixels.argb.back() |= kOpaque;
    }
  }
  for (std::uint32_t& pixel : pixels.argb) {
    if (!info.hbmMask && alpha == 0) pixel |= kOpaque;
    if (!(pixel & kOpaque)) pixel = 0;
  }
  return pixels;
}

}  // namespace tessaron
