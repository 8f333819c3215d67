#pragma once
// Lists of images of one size. On Windows they are the common controls' own, so that an application
// can give them to its views; elsewhere they keep 32-bit pixels by the same rules.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/types.h"
#include "tessaron_export.h"

#ifdef _WIN32
#include <commctrl.h>
#else
struct _IMAGELIST;
using HIMAGELIST = _IMAGELIST*;
#endif

namespace ATL {

/// A resource by its name or by its number.
class _U_STRINGorID {
 public:
  _U_STRINGorID(const char16_t* name) : m_lpstr(name) {}
  _U_STRINGorID(unsigned id) : m_lpstr(reinterpret_cast<const char16_t*>(std::uintptr_t{id})) {}
  const char16_t* m_lpstr;  ///< below 0x10000: a number
};

}  // namespace ATL

namespace tessaron {

/// An image: rows from top to bottom, each pixel alpha in the highest byte, then red, green, blue.
struct Pixels {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> argb;
};

/// How images that come into a list get their transparency.
enum class Transparency {
  Alpha,    ///< from their alpha channel; an image without any alpha is opaque
  Magenta,  ///< pixels of RGB 255, 0, 255 are transparent, all others opaque
};

/// Each function: one thread at a time per list; other lists may be in use meanwhile.
///
/// An empty list for images of `width` x `height` pixels that makes room for `initial` of them, and
/// then for `grow` more at a time. With Alpha the images have 32 bits a pixel, with Magenta 24 and
/// a mask. The caller destroys it. Null on failure.
TESSARON_API HIMAGELIST createImageList(int width, int height, Transparency transparency,
                                        int initial, int grow);

/// A list made of a strip among the library's bitmaps, which is as high as its images; magenta is
/// transparent. The caller destroys it. Null when there is no such bitmap.
TESSARON_API HIMAGELIST loadImageList(ATL::_U_STRINGorID bitmap, int width);

/// Null is allowed.
TESSARON_API void destroyImageList(HIMAGELIST list);

/// False, with both sizes zero, when `list` is none.
TESSARON_API bool imageListSize(HIMAGELIST list, int& width, int& height);

/// How many images there are; 0 when `list` is none.
TESSARON_API int imageCount(HIMAGELIST list);

TESSARON_API void removeAllImages(HIMAGELIST list);

/// Appends the images of a strip among the library's bitmaps, from left to right. False when there
/// is no such bitmap.
TESSARON_API bool addBitmap(HIMAGELIST list, ATL::_U_STRINGorID bitmap, Transparency transparency);

/// Appends the images of a strip, from left to right.
TESSARON_API bool addPixels(HIMAGELIST list, const Pixels& strip, Transparency transparency);

/// Makes an image of exactly `width` x `height` of an icon file's bytes. False when there is none
/// in it.
using IconDecoder = bool (*)(std::span<const std::byte> file, int width, int height, Pixels& icon);

/// Appends the icon in a file, at the size of the list's images: as the system loads it, or where
/// it loads none, as `decode` does. False when there is none.
TESSARON_API bool addIconFile(HIMAGELIST list, std::u16string_view path, IconDecoder decode);

/// The image at `index`, which must be below the count. Transparent pixels are zero.
TESSARON_API Pixels imagePixels(HIMAGELIST list, int index);

}  // namespace tessaron
