#pragma once
// The few classes of GDI+ in use. On Windows they are the system's own, so that an application can
// go on drawing on a chart's canvas with its own GDI+ code. Elsewhere they have the same names,
// members and results, over the flat interface of libgdiplus, which is loaded when it is first
// needed. As in the system's, every object keeps the status of its last failed call until it is
// asked for it.

#include <cstdint>
#include <string>

#include "platform/types.h"
#include "tessaron_export.h"

#ifdef _WIN32
// The second header needs the first.
// clang-format off
#include <objidl.h>
#include <gdiplus.h>
// clang-format on
#else

#define PixelFormat24bppRGB 0x21808  // a macro on Windows, too

namespace Gdiplus {

enum Status {
  Ok = 0,
  GenericError = 1,
  InvalidParameter = 2,
  OutOfMemory = 3,
  GdiplusNotInitialized = 18,  ///< libgdiplus is not installed
};
enum SmoothingMode { SmoothingModeAntiAlias = 4 };
enum StringAlignment { StringAlignmentNear = 0 };
enum StringTrimming { StringTrimmingEllipsisCharacter = 3 };
enum FontStyle { FontStyleRegular = 0 };
enum Unit { UnitPoint = 3 };

// What the flat interface calls its objects.
struct GpImage;
struct GpGraphics;
struct GpBrush;
struct GpFontFamily;
struct GpFont;
struct GpStringFormat;
struct EncoderParameters;

/// A color: alpha in the highest byte, then red, green, blue.
class Color {
 public:
  explicit Color(std::uint32_t argb) : argb_(argb) {}
  Color(std::uint8_t red, std::uint8_t green, std::uint8_t blue)
      : argb_(0xFF000000U | static_cast<std::uint32_t>(red << 16 | green << 8 | blue)) {}
  std::uint32_t GetValue() const { return argb_; }

 private:
  std::uint32_t argb_;
};

struct RectF {
  RectF(float x, float y, float width, float height) : X(x), Y(y), Width(width), Height(height) {}
  float X, Y, Width, Height;
};

/// An image encoder. The texts belong to the array that it came in.
struct ImageCodecInfo {
  CLSID Clsid;
  GUID FormatID;
  const char16_t* CodecName;
  const char16_t* DllName;
  const char16_t* FormatDescription;
  const char16_t* FilenameExtension;
  const char16_t* MimeType;
  std::uint32_t Flags;
  std::uint32_t Version;
  std::uint32_t SigCount;
  std::uint32_t SigSize;
  const std::uint8_t* SigPattern;
  const std::uint8_t* SigMask;
};

/// How many encoders there are, and the bytes that their descriptions take.
Status GetImageEncodersSize(unsigned* count, unsigned* bytes);
/// Fills `encoders`, which has room for `bytes` bytes.
Status GetImageEncoders(unsigned count, unsigned bytes, ImageCodecInfo* encoders);

/// What all the classes share: a native object, which is theirs, and a status.
template <typename Native>
class Object {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  /// The status of the last call that failed since this was last asked; Ok when none did.
  Status GetLastStatus() const {
    const Status status = status_;
    status_ = Ok;
    return status;
  }

 protected:
  Object() = default;
  ~Object() = default;
  Status keep(Status status) const {
    if (status != Ok) status_ = status;
    return status;
  }
  Native* native_ = nullptr;

 private:
  friend class Graphics;
  friend class Font;
  mutable Status status_ = Ok;
};

class Bitmap : public Object<GpImage> {
 public:
  /// Pixels are black until they are drawn on.
  Bitmap(int width, int height, int format);
  ~Bitmap();
  unsigned GetWidth();   ///< pixels; 0 for a bitmap that could not be made
  unsigned GetHeight();  ///< pixels; 0 for a bitmap that could not be made
  Status Save(const char16_t* path, const CLSID* encoder, const EncoderParameters* parameters);
  /// The same into memory, for which the system's class has streams.
  Status Save(std::string& bytes, const CLSID* encoder, const EncoderParameters* parameters);
};

class Brush : public Object<GpBrush> {
 public:
  ~Brush();

 protected:
  Brush() = default;
};

class SolidBrush : public Brush {
 public:
  explicit SolidBrush(const Color& color);
};

class FontFamily : public Object<GpFontFamily> {
 public:
  explicit FontFamily(const char16_t* name);
  ~FontFamily();
  bool IsAvailable() const { return native_ != nullptr; }
  /// Never deleted; null when there is no font at all.
  static const FontFamily* GenericSansSerif();

 private:
  FontFamily() = default;
};

class Font : public Object<GpFont> {
 public:
  Font(const FontFamily* family, float size, int style, Unit unit);
  ~Font();
};

class StringFormat : public Object<GpStringFormat> {
 public:
  StringFormat();
  ~StringFormat();
  Status SetAlignment(StringAlignment alignment);
  Status SetTrimming(StringTrimming trimming);
};

/// What draws on a bitmap, which must outlive it. Pies and rectangles are given by their bounding
/// boxes in pixels, angles in degrees clockwise from the right.
class Graphics : public Object<GpGraphics> {
 public:
  explicit Graphics(Bitmap* bitmap);
  ~Graphics();
  Status Clear(const Color& color);
  Status SetSmoothingMode(SmoothingMode mode);
  Status FillPie(const Brush* brush, int x, int y, int width, int height, float start, float sweep);
  Status FillRectangle(const Brush* brush, int x, int y, int width, int height);
  Status DrawString(const char16_t* text, int length, const Font* font, const RectF& box,
                    const StringFormat* format, const Brush* brush);
};

}  // namespace Gdiplus
#endif

namespace tessaron {

/// Fills `bytes` with the encoded bitmap. False on failure.
TESSARON_API bool encodeBitmap(Gdiplus::Bitmap& bitmap, const CLSID& encoder, std::string& bytes);

/// Makes GDI+ ready; the first call does it, from whichever thread it comes. It stays so until the
/// process ends. False when there is no GDI+.
bool startGdiplus();

/// Text as the classes above take it.
#ifdef _WIN32
inline const wchar_t* gdiplusText(const char16_t* text) {
  static_assert(sizeof(wchar_t) == sizeof(char16_t));
  return reinterpret_cast<const wchar_t*>(text);
}
#else
inline const char16_t* gdiplusText(const char16_t* text) { return text; }
#endif

}  // namespace tessaron
